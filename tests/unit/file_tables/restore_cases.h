// Restore texts, good and bad, on which the file tables must decide as the kernel's tools do.
#pragma once

#include <string>
#include <vector>

#include "testbed/file_tables/table_layout.h"

namespace file_tables {

// A family's own texts: addresses, set names and the like are put in.
std::vector<std::string> structureCases(
    Family family);  // line kinds, chains, loops, several tables
std::vector<std::string> ruleOptionCases(Family family);  // the options that belong to no extension
std::vector<std::string> matchCases(Family family);
std::vector<std::string> targetCases(Family family);
std::vector<std::string> setCases(Family family);  // need the set that setName() names

std::string setName(Family family);

// A text on which the file tables decide otherwise, and why.
struct Difference {
  std::string text;
  std::string reason;
};
std::vector<Difference> deliberateDifferences(Family family);

}  // namespace file_tables
