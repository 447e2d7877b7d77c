/* Reads what the entries of a table say, and refuses what is not laid out as it has to be. */
#include "testbed/file_tables/table.h"

#include <errno.h>
#include <stdlib.h>
#include <string.h>

#define ALIGNMENT __alignof__(struct _xt_align)
#define HOOK(name) (1U << NF_INET_##name)

const struct family ipv4_family = {"iptables", IPPROTO_IP, sizeof(struct ipt_entry)};
const struct family ipv6_family = {"ip6tables", IPPROTO_IPV6, sizeof(struct ip6t_entry)};

_Static_assert(sizeof(struct ipt_getinfo) == sizeof(struct ip6t_getinfo) &&
                   sizeof(struct ipt_get_entries) == sizeof(struct ip6t_get_entries) &&
                   sizeof(struct ipt_replace) == sizeof(struct ip6t_replace),
               "the structures of one family serve for both");

static const struct table_layout layouts[] = {
    {"raw", HOOK(PRE_ROUTING) | HOOK(LOCAL_OUT)},
    {"mangle", HOOK(PRE_ROUTING) | HOOK(LOCAL_IN) | HOOK(FORWARD) | HOOK(LOCAL_OUT) |
                   HOOK(POST_ROUTING)},
    {"nat", HOOK(PRE_ROUTING) | HOOK(LOCAL_IN) | HOOK(LOCAL_OUT) | HOOK(POST_ROUTING)},
    {"filter", HOOK(LOCAL_IN) | HOOK(FORWARD) | HOOK(LOCAL_OUT)},
    {"security", HOOK(LOCAL_IN) | HOOK(FORWARD) | HOOK(LOCAL_OUT)},
};
const char table_names[] = "raw\nmangle\nnat\nfilter\nsecurity\n";

const struct table_layout* find_layout(const char* name) {
  for (size_t i = 0; i < sizeof layouts / sizeof *layouts; ++i) {
    if (strcmp(layouts[i].name, name) == 0) return &layouts[i];
  }
  return NULL;
}

/* The head of an entry, of either family. */
struct entry_head {
  uint16_t target_offset;
  uint16_t next_offset;
  uint8_t protocol; /* as in struct rule */
  bool takes_every_address;
};

static struct entry_head head_of(const struct table* table, uint32_t offset) {
  const void* at = table->entries + offset;
  if (table->family == &ipv4_family) {
    static const struct ipt_ip every;
    const struct ipt_entry* entry = at;
    const bool inverted = (entry->ip.invflags & IPT_INV_PROTO) != 0;
    return (struct entry_head){entry->target_offset, entry->next_offset,
                               inverted ? 0 : (uint8_t)entry->ip.proto,
                               memcmp(&entry->ip, &every, sizeof every) == 0};
  }
  static const struct ip6t_ip6 every;
  const struct ip6t_entry* entry = at;
  const bool inverted = (entry->ipv6.invflags & IP6T_INV_PROTO) != 0;
  return (struct entry_head){entry->target_offset, entry->next_offset,
                             inverted ? 0 : (uint8_t)entry->ipv6.proto,
                             memcmp(&entry->ipv6, &every, sizeof every) == 0};
}

const struct xt_entry_target* rule_target(const struct table* table, const struct rule* rule) {
  const void* at = table->entries + rule->offset + rule->target_offset;
  return at;
}

const struct xt_entry_match* next_match(const struct table* table, const struct rule* rule,
                                        const struct xt_entry_match* previous) {
  const unsigned char* at = (const unsigned char*)previous;
  at = previous == NULL ? table->entries + rule->offset + table->family->entry_size
                        : at + previous->u.match_size;
  const void* match = at;
  return match == (const void*)rule_target(table, rule) ? NULL : match;
}

struct xt_counters* rule_counters(const struct table* table, const struct rule* rule) {
  /* Both families have them last in the head. */
  void* at = table->entries + rule->offset + table->family->entry_size - sizeof(struct xt_counters);
  return at;
}

static bool matches_are_sound(const struct table* table, const struct rule* rule) {
  uint32_t at = (uint32_t)table->family->entry_size;
  while (at < rule->target_offset) {
    const void* match_at = table->entries + rule->offset + at;
    const struct xt_entry_match* match = match_at;
    const uint32_t left = rule->target_offset - at;
    if (left < sizeof *match || match->u.match_size < sizeof *match ||
        match->u.match_size > left || match->u.match_size % ALIGNMENT != 0) {
      return false;
    }
    at += match->u.match_size;
  }
  return true;
}

/* The tools' library has no names of its own for the two targets that are no extensions. */
static bool is_standard(const struct xt_entry_target* target) {
  return strcmp(target->u.user.name, XT_STANDARD_TARGET) == 0;
}

static bool is_verdict(int number) {
  return number == -NF_DROP - 1 || number == -NF_ACCEPT - 1 || number == -NF_QUEUE - 1 ||
         number == XT_RETURN;
}

static int verdict_of(const struct xt_entry_target* target) {
  const void* at = target;
  const struct xt_standard_target* standard = at;
  return standard->verdict;
}

static bool target_is_sound(const struct table* table, const struct rule* rule) {
  const struct xt_entry_target* target = rule_target(table, rule);
  const uint32_t room = rule->next_offset - rule->target_offset;
  if (target->u.target_size < sizeof *target || target->u.target_size > room ||
      memchr(target->u.user.name, '\0', sizeof target->u.user.name) == NULL) {
    return false;
  }
  if (is_standard(target)) {
    return room == XT_ALIGN(sizeof(struct xt_standard_target)) &&
           (verdict_of(target) > 0 || is_verdict(verdict_of(target)));
  }
  if (strcmp(target->u.user.name, XT_ERROR_TARGET) == 0) {
    const void* at = target;
    const struct xt_error_target* error = at;
    return room == XT_ALIGN(sizeof *error) &&
           memchr(error->errorname, '\0', sizeof error->errorname) != NULL;
  }
  return true;
}

static bool read_rule(const struct table* table, uint32_t offset, struct rule* rule) {
  const uint32_t left = table->info.size - offset;
  if (offset % ALIGNMENT != 0 || left < table->family->entry_size) return false;
  const struct entry_head head = head_of(table, offset);
  *rule = (struct rule){.offset = offset,
                        .target_offset = head.target_offset,
                        .next_offset = head.next_offset,
                        .destination = NO_RULE,
                        .protocol = head.protocol};
  if (head.next_offset > left || head.target_offset < table->family->entry_size ||
      head.target_offset % ALIGNMENT != 0 ||
      head.target_offset + sizeof(struct xt_entry_target) > head.next_offset ||
      !matches_are_sound(table, rule) || !target_is_sound(table, rule)) {
    return false;
  }
  const struct xt_entry_target* target = rule_target(table, rule);
  rule->is_final = is_standard(target) && is_verdict(verdict_of(target)) &&
                   head.target_offset == table->family->entry_size && head.takes_every_address;
  return true;
}

static int compare_offsets(const void* key, const void* element) {
  const uint32_t offset = *(const uint32_t*)key;
  const struct rule* rule = element;
  return (offset > rule->offset) - (offset < rule->offset);
}

uint32_t rule_index_at(const struct table* table, uint32_t offset) {
  const struct rule* rule = bsearch(&offset, table->rules, table->info.num_entries,
                                    sizeof *table->rules, compare_offsets);
  return rule == NULL ? NO_RULE : (uint32_t)(rule - table->rules);
}

static bool find_destinations(const struct table* table) {
  for (uint32_t i = 0; i < table->info.num_entries; ++i) {
    const struct xt_entry_target* target = rule_target(table, &table->rules[i]);
    if (!is_standard(target) || is_verdict(verdict_of(target))) continue;
    const uint32_t destination = rule_index_at(table, (uint32_t)verdict_of(target));
    if (destination == NO_RULE) return false;
    table->rules[i].destination = destination;
  }
  return true;
}

/* A hook begins at a rule and ends at its policy. */
static bool hooks_are_sound(const struct table* table) {
  for (unsigned hook = 0; hook < NF_INET_NUMHOOKS; ++hook) {
    if ((table->info.valid_hooks & 1U << hook) == 0) continue;
    const uint32_t policy = rule_index_at(table, table->info.underflow[hook]);
    if (rule_index_at(table, table->info.hook_entry[hook]) == NO_RULE || policy == NO_RULE ||
        !table->rules[policy].is_final) {
      return false;
    }
    const int verdict = verdict_of(rule_target(table, &table->rules[policy]));
    if (verdict != -NF_DROP - 1 && verdict != -NF_ACCEPT - 1) return false;
  }
  return true;
}

int read_rules(struct table* table) {
  const struct table_layout* layout = find_layout(table->info.name);
  if (layout == NULL || table->info.valid_hooks != layout->hooks ||
      table->info.num_entries > table->info.size / table->family->entry_size) {
    return EINVAL;
  }
  table->rules = calloc(table->info.num_entries + 1, sizeof *table->rules);
  if (table->rules == NULL) return ENOMEM;
  uint32_t offset = 0;
  uint32_t count = 0;
  while (offset < table->info.size && count < table->info.num_entries) {
    struct rule* rule = &table->rules[count++];
    if (!read_rule(table, offset, rule)) return EINVAL;
    offset += rule->next_offset;
  }
  const bool complete = offset == table->info.size && count == table->info.num_entries;
  return complete && find_destinations(table) && hooks_are_sound(table) ? 0 : EINVAL;
}

/* Appends an entry without conditions and returns where its target begins. */
static void* append_entry(struct table* table, size_t target_size, const char* target_name) {
  const struct family* family = table->family;
  const uint16_t next_offset = (uint16_t)(family->entry_size + target_size);
  void* at = table->entries + table->info.size;
  if (family == &ipv4_family) {
    struct ipt_entry* entry = at;
    entry->target_offset = (uint16_t)family->entry_size;
    entry->next_offset = next_offset;
  } else {
    struct ip6t_entry* entry = at;
    entry->target_offset = (uint16_t)family->entry_size;
    entry->next_offset = next_offset;
  }
  void* target_at = table->entries + table->info.size + family->entry_size;
  struct xt_entry_target* target = target_at;
  target->u.target_size = (uint16_t)target_size;
  strcpy(target->u.user.name, target_name);
  table->info.size += next_offset;
  ++table->info.num_entries;
  return target_at;
}

int make_initial_table(struct table* table, const struct family* family,
                       const struct table_layout* layout) {
  *table = (struct table){.family = family, .info = {.valid_hooks = layout->hooks}};
  strcpy(table->info.name, layout->name);
  const size_t verdict_size = XT_ALIGN(sizeof(struct xt_standard_target));
  const size_t end_size = XT_ALIGN(sizeof(struct xt_error_target));
  table->entries = calloc(NF_INET_NUMHOOKS + 1, family->entry_size + end_size);
  if (table->entries == NULL) return ENOMEM;
  for (unsigned hook = 0; hook < NF_INET_NUMHOOKS; ++hook) {
    if ((layout->hooks & 1U << hook) == 0) continue;
    table->info.hook_entry[hook] = table->info.underflow[hook] = table->info.size;
    struct xt_standard_target* policy = append_entry(table, verdict_size, XT_STANDARD_TARGET);
    policy->verdict = -NF_ACCEPT - 1;
  }
  struct xt_error_target* end = append_entry(table, end_size, XT_ERROR_TARGET);
  strcpy(end->errorname, XT_ERROR_TARGET);
  return read_rules(table);
}

void free_table(struct table* table) {
  free(table->entries);
  free(table->rules);
}
