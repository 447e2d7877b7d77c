// Reads one rule line ("-A CHAIN ...") of a restore text into rules and checks what the real tools
// check without the kernel: options, arguments, how they go together, that a jump's chain exists.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "testbed/file_tables/rule_tokens.h"
#include "testbed/file_tables/table_model.h"

namespace file_tables {

struct ParsedRuleLine {
  std::string chain;
  // One rule per pair of a source and a destination; none when the line is for the other family.
  std::vector<Rule> rules;
  // The tools find some faults only when they hand the rule over to the table; those end the
  // restore with status 1 and no text but the line's number.
  bool refusedByTable = false;
};

// `line` comes without its newline, and without a counter in front. The table is only read.
// Throws ParameterProblem with the tool's message.
ParsedRuleLine parseRuleLine(std::string_view line, const Table& table);

}  // namespace file_tables
