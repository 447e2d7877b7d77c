/* One table as the save and restore tools hand it to the kernel: entries one after the other, laid
 * out by the tools' own library, and the places of the hooks in them. */
#pragma once

#include <netinet/in.h>
#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>

#include <linux/netfilter_ipv4/ip_tables.h>
#include <linux/netfilter_ipv6/ip6_tables.h>

struct family {
  const char* tool; /* the name of its tools */
  int level;        /* of its socket options */
  size_t entry_size;
};
extern const struct family ipv4_family;
extern const struct family ipv6_family;

/* What an entry says, as far as the checks ask for it. */
struct rule {
  uint32_t offset; /* of its entry in the table; the next two count from the entry */
  uint32_t target_offset;
  uint32_t next_offset;
  uint32_t destination; /* the index of the rule that it jumps or goes to, or NO_RULE */
  uint8_t protocol;     /* that a packet must have; 0: any, or all but one */
  uint8_t hooks;        /* from which it is reached, one bit for each; see kernel_checks.h */
  bool on_path;         /* is being walked by the loop check */
  bool is_final;        /* a verdict for every packet: what follows in the chain is never reached */
};
#define NO_RULE UINT32_MAX

struct table {
  const struct family* family;
  struct ipt_getinfo info; /* the IPv6 structure has the same shape */
  unsigned char* entries;  /* info.size bytes */
  struct rule* rules;      /* info.num_entries of them, read from the entries */
};

/* A kind of table. */
struct table_layout {
  const char* name;
  unsigned hooks; /* one bit for each */
};
/* Null when there is no such table. */
const struct table_layout* find_layout(const char* name);
/* The names of all tables, a line for each. */
extern const char table_names[];

/* The functions below return 0 or the error number that the kernel gives. */

/* Makes the table that was never replaced: every hook accepts. */
int make_initial_table(struct table* table, const struct family* family,
                       const struct table_layout* layout);
/* Fills table->rules from the other members. EINVAL unless every size and offset is sound: then
 * nothing that follows reads outside the entries. */
int read_rules(struct table* table);
void free_table(struct table* table);

/* The rule whose entry begins at that offset; NO_RULE when there is none. */
uint32_t rule_index_at(const struct table* table, uint32_t offset);
const struct xt_entry_target* rule_target(const struct table* table, const struct rule* rule);
/* The match after `previous`, the first for NULL; NULL after the last. */
const struct xt_entry_match* next_match(const struct table* table, const struct rule* rule,
                                        const struct xt_entry_match* previous);
struct xt_counters* rule_counters(const struct table* table, const struct rule* rule);
