// The next run, taken apart: which passes it has, what it would read and what it would write. Made
// of the same schedule and stages as the run itself.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "firewall_cpp/schedule.h"
#include "inspect/request.h"

namespace tavrix::inspect {

// A table as it is now.
struct LiveTable {
  const Pass* pass;
  std::string text;  // as the save tool prints it
};

// The tables of the passes that the request selects, in the order of a run. Read under the
// xtables lock, which is free again afterwards; without it if the user may not open its file.
// Throws std::runtime_error if the lock or a save tool cannot be had or a save tool fails.
std::vector<LiveTable> readLiveTables(const Request& request);

// What a run would hand to the restore tool for that table. Builds the programs of the pass as a
// run does, and throws what a run would throw.
std::string nextText(const LiveTable& live);

// The hook that the request's first two words name: a table and a chain. Throws
// std::invalid_argument, with the hooks that there are, if no run puts rules there.
const HookPlan& hookOf(const Request& request);

// "IPv4 filter": how a pass is called in what users read.
std::string titleOf(const Pass& pass);

}  // namespace tavrix::inspect
