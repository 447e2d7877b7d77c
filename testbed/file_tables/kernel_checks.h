/* What only the kernel checks when it is given a table: the tools have refused wrong options
 * before.
 */
#pragma once

#include "testbed/file_tables/table.h"

/* Looks at a table whose rules have been read. Returns 0, or the error number with which the kernel
 * refuses it. */
int find_objection(struct table* table);

/* Whether there is a match or target of that name in the family. */
bool is_extension(const struct family* family, bool is_target, const char* name);
