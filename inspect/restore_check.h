// What the restore tools refuse.
#pragma once

#include <vector>

#include "inspect/finding.h"
#include "inspect/request.h"

namespace tavrix::inspect {

// Hands what a run would restore to the restore tool in its test mode, table by table, again and
// again without the rules that it has refused. Adds what it refuses to the findings; what a run
// stops at is not said twice. Texts have to be noted by `texts`, errors too. Throws what
// readLiveTables throws, and std::runtime_error if a tool fails and names no line.
void addRefusals(std::vector<Finding>& findings, const Request& request, const NotedTexts& texts);

}  // namespace tavrix::inspect
