// What the kernel looks at when a whole table is handed over: loops between chains, and matches
// and targets in a table or behind a hook where they are not allowed.
#pragma once

#include "testbed/file_tables/table_model.h"

namespace file_tables {

// True when the kernel would take the table. Like the kernel it looks for loops, and for the
// hooks that a rule is reached from, only in what the built-in chains lead to; a rule behind an
// unconditional verdict is reached from nowhere.
bool kernelAccepts(const Table& table);

}  // namespace file_tables
