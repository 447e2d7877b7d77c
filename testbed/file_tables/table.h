/* One table as the tools hand it to the kernel: entries one after the other, laid out by the tools'
 * own library, and the places of the hooks in them. Stands in for the kernel's reading of a table,
 * and leaves out what only packets need. kernel_checks.h has the rest of the checks. */
#pragma once

#include <netinet/in.h>
#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>

#include <linux/netfilter_ipv4/ip_tables.h>
#include <linux/netfilter_ipv6/ip6_tables.h>

/* An entry begins with its conditions and ends with its target; between them are its matches. The
 * families differ in the conditions. */
struct family {
  const char* tool; /* the name of its tools */
  int domain;       /* AF_INET or AF_INET6 */
  size_t head_size; /* up to the first match */
  size_t conditions_size;
  /* Where these numbers are in an entry. */
  size_t protocol, inversions, target_offset, next_offset;
};
extern const struct family ipv4_family;
extern const struct family ipv6_family;

/* What an entry says, as far as the checks ask for it. */
struct rule {
  uint32_t offset; /* of its entry in the table; the next two count from the entry */
  uint16_t target_offset;
  uint16_t next_offset;
  uint32_t destination; /* the index of the rule that it jumps or goes to, or NO_RULE */
  uint16_t protocol;    /* that a packet must have; 0: any, or all but one */
  uint8_t hooks;        /* that lead to it, one bit for each */
  bool is_walked;       /* for the loop check */
  bool is_final;        /* a verdict for every packet: what follows is never reached */
};
#define NO_RULE UINT32_MAX

struct table {
  const struct family* family;
  struct ipt_getinfo info; /* the IPv6 structure has the same shape */
  unsigned char* entries;  /* info.size bytes */
  struct rule* rules;      /* info.num_entries of them */
};

/* The names of all tables, a line for each. */
extern const char table_names[];

/* Makes a table that was never replaced: every hook accepts. Returns 0 or the kernel's error
 * number: ENOENT if there is no table of that name. */
int make_initial_table(struct table* table, const struct family* family, const char* name);
/* Fills table->rules from the other members. EINVAL unless every size and offset is sound: then
 * nothing that is done with the table reads outside the entries. */
int read_rules(struct table* table);
void free_table(struct table* table);

/* The index of the rule whose entry begins there, or NO_RULE. */
uint32_t rule_index_at(const struct table* table, uint32_t offset);
const struct xt_entry_target* rule_target(const struct table* table, const struct rule* rule);
/* The match after `previous`, the first for NULL; NULL after the last. */
const struct xt_entry_match* next_match(const struct table* table, const struct rule* rule,
                                        const struct xt_entry_match* previous);
