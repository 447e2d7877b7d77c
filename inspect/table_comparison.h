// What changes from one table to the next, by chains and rules.
#pragma once

#include <vector>

#include "inspect/screen.h"
#include "inspect/table.h"

namespace tavrix::inspect {

// Prints, under the title, the rules that go (-) and come (+). They stand below the chain and the
// rules that lead to them. The chains with generated names are compared by what they hold: how many
// of them only get another number is said in one line. Nothing is printed if the tables hold the
// same. Returns whether they do.
bool showDifferences(const std::vector<TableChain>& live, const std::vector<TableChain>& next,
                     const std::string& title, Screen& screen);

}  // namespace tavrix::inspect
