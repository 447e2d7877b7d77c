// The notation of the case tables, and its expansion into whole restore texts.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "testbed/file_tables/table_layout.h"

namespace file_tables {

// One rule per variant: "-A CHAIN PREFIX VARIANT" in the table. " | " stands between variants.
struct OptionGroup {
  std::string table;
  std::string chain;
  std::string prefix;
  std::string variants;
};

// Puts the family's own values in: %A, %B and %C are addresses in rising order (A, C, B), %S is a
// set's name, %L20% is a word of 20 letters.
std::string fillIn(std::string_view text, Family family);

// A text of one table with one rule.
std::string ruleText(std::string_view table, std::string_view chain, std::string_view options);

std::vector<std::string> expandGroups(const std::vector<OptionGroup>& groups, Family family);

}  // namespace file_tables
