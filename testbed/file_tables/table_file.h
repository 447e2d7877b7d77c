/* Stands in for the kernel's memory of its tables: each is in a file of its own, such as
 * "iptables.nat", in the directory that the environment variable TESTBED_TABLES names; beside them
 * is "ip_sets.names" with the names of the IP sets. Leaves out what is in those sets. The directory
 * is made if it is missing. Whatever is wrong with it ends the program, with a message. */
#pragma once

#include <linux/netfilter/ipset/ip_set.h>

#include "testbed/file_tables/table.h"

/* Reads a table and its rules; the initial one if there is no file. Returns 0 or an error number:
 * ENOENT if there is no table of that name. The caller frees the table in any case. */
int load_table(struct table* table, const struct family* family, const char* name);

/* Replaces the file in one step: a program that is killed meanwhile leaves the old one. */
void store_table(const struct table* table);

/* The number of an IP set, whose name is padded with zeros. Every set exists: a new name is noted.
 */
unsigned ip_set_number(const char name[IPSET_MAXNAMELEN]);
/* False if no set has that number. */
bool ip_set_name(unsigned number, char name[IPSET_MAXNAMELEN]);
