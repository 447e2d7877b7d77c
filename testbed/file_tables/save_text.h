// The text that a save tool prints for a table.
#pragma once

#include <string>

#include "testbed/file_tables/table_model.h"

namespace file_tables {

// The table in save format, every line ended by a newline: comment, table line, chain
// declarations, rules grouped by chain in the order of the declarations, "COMMIT", comment.
// User chains come in byte order of their names, as the real tools print them. The comments
// carry no date, so that two outputs of one table are equal.
std::string saveText(const Table& table);

}  // namespace file_tables
