// The texts of the next run, whole.

#include <sstream>
#include <string>

#include "inspect/commands.h"
#include "inspect/next_run.h"
#include "ipt_compiler/generated_marks.h"

namespace tavrix::inspect {

int print(const Request& request, Screen& screen) {
  const std::vector<LiveTable> tables = readLiveTables(request);
  for (const LiveTable& live : tables) {
    std::istringstream lines(nextText(live));
    if (tables.size() > 1) {
      screen.line("# " + titleOf(*live.pass) + ", for " + std::string(live.pass->tool) + "-restore",
                  Look::kTitle);
    }
    for (std::string line; std::getline(lines, line);) {
      const bool isGenerated =
          line.find(kRuleMark) != std::string::npos || line.find(kChainPrefix) != std::string::npos;
      screen.line(line, isGenerated ? Look::kAdded : Look::kPlain);
    }
  }
  return kFine;
}

}  // namespace tavrix::inspect
