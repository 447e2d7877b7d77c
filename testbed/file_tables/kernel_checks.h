/* Stands in for the kernel's own checks of a table. Leaves out what the tools themselves refuse,
 * and every match and target that is not in the list of limits: those it takes for unknown. */
#pragma once

#include "testbed/file_tables/table.h"

/* Looks at a table whose rules have been read. Returns 0, or the error number with which the kernel
 * refuses it. */
int find_objection(struct table* table);

/* Whether there is a match or target of that name in the family. */
bool is_extension(const struct family* family, bool is_target, const char* name);
