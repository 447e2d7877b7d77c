/* Reads what the entries of a table say, and refuses those that are not laid out as they must be.
 * table.h says what this stands in for. */
#include "testbed/file_tables/table.h"

#include <errno.h>
#include <stdlib.h>
#include <string.h>

#define HOOK(name) (1U << NF_INET_##name)
#define VERDICT_SIZE XT_ALIGN(sizeof(struct xt_standard_target))
#define ERROR_SIZE XT_ALIGN(sizeof(struct xt_error_target))

const struct family ipv4_family = {
    .tool = "iptables",
    .domain = AF_INET,
    .head_size = sizeof(struct ipt_entry),
    .conditions_size = sizeof(struct ipt_ip),
    .protocol = offsetof(struct ipt_entry, ip.proto),
    .inversions = offsetof(struct ipt_entry, ip.invflags),
    .target_offset = offsetof(struct ipt_entry, target_offset),
    .next_offset = offsetof(struct ipt_entry, next_offset),
};
const struct family ipv6_family = {
    .tool = "ip6tables",
    .domain = AF_INET6,
    .head_size = sizeof(struct ip6t_entry),
    .conditions_size = sizeof(struct ip6t_ip6),
    .protocol = offsetof(struct ip6t_entry, ipv6.proto),
    .inversions = offsetof(struct ip6t_entry, ipv6.invflags),
    .target_offset = offsetof(struct ip6t_entry, target_offset),
    .next_offset = offsetof(struct ip6t_entry, next_offset),
};
_Static_assert(sizeof(struct ipt_getinfo) == sizeof(struct ip6t_getinfo) &&
                   sizeof(struct ipt_get_entries) == sizeof(struct ip6t_get_entries) &&
                   sizeof(struct ipt_replace) == sizeof(struct ip6t_replace),
               "the structures of one family serve for both");

static const struct layout {
  const char* name;
  unsigned hooks;
} layouts[] = {
    {"raw", HOOK(PRE_ROUTING) | HOOK(LOCAL_OUT)},
    {"mangle",
     HOOK(PRE_ROUTING) | HOOK(LOCAL_IN) | HOOK(FORWARD) | HOOK(LOCAL_OUT) | HOOK(POST_ROUTING)},
    {"nat", HOOK(PRE_ROUTING) | HOOK(LOCAL_IN) | HOOK(LOCAL_OUT) | HOOK(POST_ROUTING)},
    {"filter", HOOK(LOCAL_IN) | HOOK(FORWARD) | HOOK(LOCAL_OUT)},
};
const char table_names[] = "raw\nmangle\nnat\nfilter\n";

static const struct layout* find_layout(const char* name) {
  for (size_t i = 0; i < sizeof layouts / sizeof *layouts; ++i) {
    if (strcmp(layouts[i].name, name) == 0) return &layouts[i];
  }
  return NULL;
}

const struct xt_entry_target* rule_target(const struct table* table, const struct rule* rule) {
  const void* target = table->entries + rule->offset + rule->target_offset;
  return target;
}

const struct xt_entry_match* next_match(const struct table* table, const struct rule* rule,
                                        const struct xt_entry_match* previous) {
  const void* next = previous == NULL ? table->entries + rule->offset + table->family->head_size
                                      : (const unsigned char*)previous + previous->u.match_size;
  return next == rule_target(table, rule) ? NULL : next;
}

static bool is_aligned(size_t offset) {
  return offset % __alignof__(struct _xt_align) == 0;
}

static bool matches_are_sound(const struct table* table, const struct rule* rule) {
  size_t at = table->family->head_size;
  while (at < rule->target_offset) {
    const void* match_at = table->entries + rule->offset + at;
    const struct xt_entry_match* match = match_at;
    const size_t left = rule->target_offset - at;
    if (left < sizeof *match || match->u.match_size < sizeof *match || match->u.match_size > left ||
        !is_aligned(match->u.match_size)) {
      return false;
    }
    at += match->u.match_size;
  }
  return true;
}

/* A target that is a verdict, a jump or a goto. */
static bool is_standard(const struct xt_entry_target* target) {
  return strcmp(target->u.user.name, XT_STANDARD_TARGET) == 0;
}

/* A negative one is a verdict, another one the offset of the destination. */
static int verdict_of(const struct xt_entry_target* target) {
  const void* standard = target;
  return ((const struct xt_standard_target*)standard)->verdict;
}

static bool is_policy(int verdict) {
  return verdict == -NF_DROP - 1 || verdict == -NF_ACCEPT - 1;
}

static bool target_is_sound(const struct table* table, const struct rule* rule) {
  const void* target_at = rule_target(table, rule);
  const struct xt_entry_target* target = target_at;
  const struct xt_error_target* error = target_at;
  const size_t room = (size_t)rule->next_offset - rule->target_offset;
  if (target->u.target_size < sizeof *target || target->u.target_size > room ||
      memchr(target->u.user.name, '\0', sizeof target->u.user.name) == NULL) {
    return false;
  }
  if (strcmp(target->u.user.name, XT_ERROR_TARGET) == 0) {
    return room == ERROR_SIZE && memchr(error->errorname, '\0', sizeof error->errorname) != NULL;
  }
  if (!is_standard(target)) return true;
  const int verdict = room == VERDICT_SIZE ? verdict_of(target) : 0;
  return verdict > 0 || is_policy(verdict) || verdict == -NF_QUEUE - 1 || verdict == XT_RETURN;
}

static uint16_t number_at(const unsigned char* at) {
  uint16_t number = 0;
  memcpy(&number, at, sizeof number);
  return number;
}

static bool has_conditions(const struct family* family, const unsigned char* entry) {
  for (size_t i = 0; i < family->conditions_size; ++i) {
    if (entry[i] != 0) return true;
  }
  return false;
}

static bool read_rule(const struct table* table, uint32_t offset, struct rule* rule) {
  const struct family* family = table->family;
  const unsigned char* entry = table->entries + offset;
  const uint32_t left = table->info.size - offset;
  if (!is_aligned(offset) || left < family->head_size) return false;
  *rule = (struct rule){.offset = offset,
                        .target_offset = number_at(entry + family->target_offset),
                        .next_offset = number_at(entry + family->next_offset),
                        .destination = NO_RULE};
  if ((entry[family->inversions] & XT_INV_PROTO) == 0) {
    rule->protocol = number_at(entry + family->protocol);
  }
  if (rule->next_offset > left || rule->target_offset < family->head_size ||
      !is_aligned(rule->target_offset) ||
      rule->target_offset + sizeof(struct xt_entry_target) > rule->next_offset ||
      !matches_are_sound(table, rule) || !target_is_sound(table, rule)) {
    return false;
  }
  const struct xt_entry_target* target = rule_target(table, rule);
  rule->is_final = is_standard(target) && verdict_of(target) < 0 &&
                   rule->target_offset == family->head_size && !has_conditions(family, entry);
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
    struct rule* rule = &table->rules[i];
    const struct xt_entry_target* target = rule_target(table, rule);
    if (!is_standard(target) || verdict_of(target) < 0) continue;
    rule->destination = rule_index_at(table, (uint32_t)verdict_of(target));
    if (rule->destination == NO_RULE) return false;
  }
  return true;
}

/* A hook begins at a rule and ends at its policy. */
static bool hooks_are_sound(const struct table* table) {
  for (unsigned hook = 0; hook < NF_INET_NUMHOOKS; ++hook) {
    if ((table->info.valid_hooks & 1U << hook) == 0) continue;
    const uint32_t policy = rule_index_at(table, table->info.underflow[hook]);
    if (rule_index_at(table, table->info.hook_entry[hook]) == NO_RULE || policy == NO_RULE ||
        !table->rules[policy].is_final ||
        !is_policy(verdict_of(rule_target(table, &table->rules[policy])))) {
      return false;
    }
  }
  return true;
}

int read_rules(struct table* table) {
  const struct layout* layout = find_layout(table->info.name);
  if (layout == NULL) return ENOENT;
  if (table->info.valid_hooks != layout->hooks ||
      table->info.num_entries > table->info.size / table->family->head_size) {
    return EINVAL;
  }
  table->rules = calloc(table->info.num_entries + 1, sizeof *table->rules);
  if (table->rules == NULL) return ENOMEM;
  uint32_t offset = 0;
  for (uint32_t i = 0; i < table->info.num_entries; ++i) {
    if (!read_rule(table, offset, &table->rules[i])) return EINVAL;
    offset += table->rules[i].next_offset;
  }
  const bool is_complete = offset == table->info.size;
  return is_complete && find_destinations(table) && hooks_are_sound(table) ? 0 : EINVAL;
}

/* Appends an entry without conditions and returns where its target is. */
static void* append_entry(struct table* table, size_t target_size, const char* target_name) {
  const struct family* family = table->family;
  unsigned char* entry = table->entries + table->info.size;
  const uint16_t target_offset = (uint16_t)family->head_size;
  const uint16_t next_offset = (uint16_t)(family->head_size + target_size);
  memcpy(entry + family->target_offset, &target_offset, sizeof target_offset);
  memcpy(entry + family->next_offset, &next_offset, sizeof next_offset);
  void* target_at = entry + target_offset;
  struct xt_entry_target* target = target_at;
  target->u.target_size = (uint16_t)target_size;
  strcpy(target->u.user.name, target_name);
  table->info.size += next_offset;
  ++table->info.num_entries;
  return target_at;
}

int make_initial_table(struct table* table, const struct family* family, const char* name) {
  *table = (struct table){.family = family};
  const struct layout* layout = find_layout(name);
  if (layout == NULL) return ENOENT;
  strcpy(table->info.name, layout->name);
  table->info.valid_hooks = layout->hooks;
  table->entries = calloc(NF_INET_NUMHOOKS + 1, family->head_size + ERROR_SIZE);
  if (table->entries == NULL) return ENOMEM;
  for (unsigned hook = 0; hook < NF_INET_NUMHOOKS; ++hook) {
    if ((layout->hooks & 1U << hook) == 0) continue;
    table->info.hook_entry[hook] = table->info.underflow[hook] = table->info.size;
    struct xt_standard_target* policy = append_entry(table, VERDICT_SIZE, XT_STANDARD_TARGET);
    policy->verdict = -NF_ACCEPT - 1;
  }
  struct xt_error_target* end = append_entry(table, ERROR_SIZE, XT_ERROR_TARGET);
  strcpy(end->errorname, XT_ERROR_TARGET);
  return read_rules(table);
}

void free_table(struct table* table) {
  free(table->entries);
  free(table->rules);
}
