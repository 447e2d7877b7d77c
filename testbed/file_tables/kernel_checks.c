/* The loop check walks from every hook and notes which rules it reaches. Then every match and
 * target is compared with its row in the list of limits. kernel_checks.h says what this stands in
 * for. */
#include "testbed/file_tables/kernel_checks.h"

#include <errno.h>
#include <linux/netfilter/xt_NFQUEUE.h>
#include <linux/netfilter/xt_TCPMSS.h>
#include <linux/netfilter/xt_limit.h>
#include <linux/netfilter/xt_tcpudp.h>
#include <linux/netfilter_ipv4/ipt_REJECT.h>
#include <linux/netfilter_ipv6/ip6t_REJECT.h>
#include <stdlib.h>
#include <string.h>

#define HOOK(name) (1U << NF_INET_##name)
#define TCP_SYN 0x02

/* One match or target of a rule. */
struct use {
  const struct table* table;
  const struct rule* rule;
  const void* data;
};

static int check_multiport(const struct use* use) {
  switch (use->rule->protocol) {
    case IPPROTO_TCP:
    case IPPROTO_UDP:
    case IPPROTO_UDPLITE:
    case IPPROTO_SCTP:
    case IPPROTO_DCCP:
      return 0;
    default:
      return EINVAL;
  }
}

/* The kernel holds the time that a full burst stands for in 32 bits: about a day and a half. */
static int check_limit(const struct use* use) {
  const uint64_t longest = (uint64_t)134217 * XT_LIMIT_SCALE;
  const struct xt_rateinfo* limit = use->data;
  return limit->burst == 0 || (uint64_t)limit->avg * limit->burst > longest ? ERANGE : 0;
}

/* Only TCP can be reset. */
static int check_reject(const struct use* use) {
  const struct ipt_reject_info* reject = use->data;
  return reject->with == IPT_TCP_RESET && use->rule->protocol != IPPROTO_TCP ? EINVAL : 0;
}

static int check_reject_ipv6(const struct use* use) {
  const struct ip6t_reject_info* reject = use->data;
  return reject->with == IP6T_TCP_RESET && use->rule->protocol != IPPROTO_TCP ? EINVAL : 0;
}

static int check_queue(const struct use* use) {
  const struct xt_NFQ_info_v1* queue = use->data;
  if (queue->queues_total == 0) return EINVAL;
  return queue->queuenum + queue->queues_total - 1 > UINT16_MAX ? ERANGE : 0;
}

/* Only a packet that begins a connection has the segment size: the rule must match no others. */
static bool matches_only_syn(const struct use* use) {
  const struct xt_entry_match* match = NULL;
  while ((match = next_match(use->table, use->rule, match)) != NULL) {
    const void* data = match->data;
    const struct xt_tcp* tcp = data;
    if (strcmp(match->u.user.name, "tcp") == 0 && (tcp->flg_cmp & TCP_SYN) != 0 &&
        (tcp->invflags & XT_TCP_INV_FLAGS) == 0) {
      return true;
    }
  }
  return false;
}

static int check_mss(const struct use* use) {
  const unsigned with_route = HOOK(FORWARD) | HOOK(LOCAL_OUT) | HOOK(POST_ROUTING);
  const struct xt_tcpmss_info* segment = use->data;
  const bool unknown_route =
      segment->mss == XT_TCPMSS_CLAMP_PMTU && (use->rule->hooks & ~with_route) != 0;
  return unknown_route || !matches_only_syn(use) ? EINVAL : 0;
}

/* Where the kernel takes an extension. */
struct limits {
  const char* name;
  int domain;         /* the only one; 0: both */
  const char* table;  /* the only one; null: all */
  unsigned hooks;     /* 0: all */
  uint16_t protocol;  /* that the rule must demand; 0: none */
  uint16_t data_size; /* at least, of what the check looks at */
  int (*check)(const struct use* use);
};

static const struct limits match_limits[] = {
    {.name = "comment"},
    {.name = "connbytes"},
    {.name = "connmark"},
    {.name = "conntrack"},
    {.name = "dscp"},
    {.name = "helper"},
    {.name = "hl", .domain = AF_INET6},
    {.name = "icmp", .domain = AF_INET, .protocol = IPPROTO_ICMP},
    {.name = "icmp6", .domain = AF_INET6, .protocol = IPPROTO_ICMPV6},
    {.name = "iprange"},
    {.name = "length"},
    {.name = "limit", .data_size = sizeof(struct xt_rateinfo), .check = check_limit},
    {.name = "mac", .hooks = HOOK(PRE_ROUTING) | HOOK(LOCAL_IN) | HOOK(FORWARD)},
    {.name = "mark"},
    {.name = "multiport", .check = check_multiport},
    {.name = "pkttype"},
    {.name = "set"},
    {.name = "state"},
    {.name = "statistic"},
    {.name = "tcp", .protocol = IPPROTO_TCP, .data_size = sizeof(struct xt_tcp)},
    {.name = "tos"},
    {.name = "ttl", .domain = AF_INET},
    {.name = "udp", .protocol = IPPROTO_UDP},
};

#define FILTER_HOOKS (HOOK(LOCAL_IN) | HOOK(FORWARD) | HOOK(LOCAL_OUT))
static const struct limits target_limits[] = {
    {.name = XT_STANDARD_TARGET},
    {.name = XT_ERROR_TARGET},
    {.name = "CONNMARK"},
    {.name = "DNAT", .table = "nat", .hooks = HOOK(PRE_ROUTING) | HOOK(LOCAL_OUT)},
    {.name = "DSCP", .table = "mangle"},
    {.name = "HL", .domain = AF_INET6, .table = "mangle"},
    {.name = "LOG"},
    {.name = "MARK"},
    {.name = "MASQUERADE", .table = "nat", .hooks = HOOK(POST_ROUTING)},
    {.name = "NFLOG"},
    {.name = "NFQUEUE", .data_size = sizeof(struct xt_NFQ_info_v1), .check = check_queue},
    {.name = "REDIRECT", .table = "nat", .hooks = HOOK(PRE_ROUTING) | HOOK(LOCAL_OUT)},
    {.name = "REJECT",
     .domain = AF_INET,
     .table = "filter",
     .hooks = FILTER_HOOKS,
     .data_size = sizeof(struct ipt_reject_info),
     .check = check_reject},
    {.name = "REJECT",
     .domain = AF_INET6,
     .table = "filter",
     .hooks = FILTER_HOOKS,
     .data_size = sizeof(struct ip6t_reject_info),
     .check = check_reject_ipv6},
    {.name = "SET"},
    {.name = "SNAT", .table = "nat", .hooks = HOOK(POST_ROUTING) | HOOK(LOCAL_IN)},
    {.name = "TCPMSS",
     .protocol = IPPROTO_TCP,
     .data_size = sizeof(struct xt_tcpmss_info),
     .check = check_mss},
    {.name = "TRACE", .table = "raw"},
    {.name = "TTL", .domain = AF_INET, .table = "mangle"},
};

#define COUNT(array) (sizeof(array) / sizeof *(array))

static const struct limits* find_limits(const struct family* family, bool is_target,
                                        const char* name) {
  const struct limits* rows = is_target ? target_limits : match_limits;
  const size_t count = is_target ? COUNT(target_limits) : COUNT(match_limits);
  for (size_t i = 0; i < count; ++i) {
    if (strncmp(rows[i].name, name, XT_EXTENSION_MAXNAMELEN) == 0 &&
        (rows[i].domain == 0 || rows[i].domain == family->domain)) {
      return &rows[i];
    }
  }
  return NULL;
}

bool is_extension(const struct family* family, bool is_target, const char* name) {
  return find_limits(family, is_target, name) != NULL;
}

static int check_use(const struct limits* limits, const struct use* use, size_t data_size) {
  if (limits == NULL) return ENOENT;
  const bool wrong_table =
      limits->table != NULL && strcmp(limits->table, use->table->info.name) != 0;
  const bool wrong_hook = limits->hooks != 0 && (use->rule->hooks & ~limits->hooks) != 0;
  const bool wrong_protocol = limits->protocol != 0 && limits->protocol != use->rule->protocol;
  if (data_size < limits->data_size || wrong_table || wrong_hook || wrong_protocol) return EINVAL;
  return limits->check == NULL ? 0 : limits->check(use);
}

static int check_rule(const struct table* table, const struct rule* rule) {
  struct use use = {table, rule, NULL};
  const struct xt_entry_match* match = NULL;
  while ((match = next_match(table, rule, match)) != NULL) {
    use.data = match->data;
    const int error = check_use(find_limits(table->family, false, match->u.user.name), &use,
                                match->u.match_size - sizeof *match);
    if (error != 0) return error;
  }
  const struct xt_entry_target* target = rule_target(table, rule);
  use.data = target->data;
  return check_use(find_limits(table->family, true, target->u.user.name), &use,
                   target->u.target_size - sizeof *target);
}

/* Marks the rules from `first` on, up to `end`, as no longer being walked. */
static void leave_chain(struct table* table, uint32_t first, uint32_t end) {
  for (uint32_t i = first; i < end; ++i) table->rules[i].is_walked = false;
}

/* Walks every way from one hook, and no rule twice. Like the kernel, it takes a goto for a jump
 * that comes back. False if a way runs in a loop or over the table's end. `jumps` has room for
 * every rule: those of the jumps that the walk has not come back from. */
static bool walk_from_hook(struct table* table, unsigned hook, uint32_t start, uint32_t* jumps) {
  const uint8_t bit = (uint8_t)(1U << hook);
  uint32_t depth = 0;
  uint32_t at = start;
  for (;;) {
    if (at == table->info.num_entries || table->rules[at].is_walked) return false;
    struct rule* rule = &table->rules[at];
    const bool is_new = (rule->hooks & bit) == 0;
    rule->hooks |= bit;
    if (is_new && !rule->is_final) {
      rule->is_walked = true;
      if (rule->destination == NO_RULE) {
        ++at;
      } else {
        jumps[depth++] = at;
        at = rule->destination;
      }
      continue;
    }
    if (depth == 0) break;
    const uint32_t jump = jumps[--depth];
    leave_chain(table, table->rules[jump].destination, at);
    at = jump + 1;
  }
  leave_chain(table, start, at);
  return true;
}

static int find_loop(struct table* table) {
  uint32_t* jumps = calloc(table->info.num_entries, sizeof *jumps);
  if (jumps == NULL) return ENOMEM;
  bool sound = true;
  for (unsigned hook = 0; hook < NF_INET_NUMHOOKS && sound; ++hook) {
    if ((table->info.valid_hooks & 1U << hook) == 0) continue;
    const uint32_t start = rule_index_at(table, table->info.hook_entry[hook]);
    sound = walk_from_hook(table, hook, start, jumps);
  }
  free(jumps);
  return sound ? 0 : ELOOP;
}

int find_objection(struct table* table) {
  int error = find_loop(table);
  for (uint32_t i = 0; i < table->info.num_entries && error == 0; ++i) {
    error = check_rule(table, &table->rules[i]);
  }
  return error;
}
