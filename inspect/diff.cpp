// The live tables beside those of the next run.

#include <stdexcept>
#include <string>
#include <vector>

#include "inspect/commands.h"
#include "inspect/next_run.h"
#include "inspect/table.h"
#include "inspect/table_comparison.h"

namespace tavrix::inspect {
namespace {

// The next text first, so that the tool's errors name lines of that one.
std::vector<RuleWords> listedRules(const LiveTable& live, const std::string& next) {
  try {
    return wordsOfTool(live.pass->tool, {next, live.text});
  } catch (const std::runtime_error& error) {
    throw std::runtime_error(titleOf(*live.pass) + ": " + error.what());
  }
}

}  // namespace

int diff(const Request& request, Screen& screen) {
  bool isSame = true;
  for (const LiveTable& live : readLiveTables(request)) {
    const std::string next = nextText(live);
    const std::vector<RuleWords> words = listedRules(live, next);
    isSame &= showDifferences(readTable(live.text, words[1]), readTable(next, words[0]),
                              titleOf(*live.pass), screen);
  }
  if (isSame) screen.remark("No difference.");
  return isSame ? kFine : kDifference;
}

}  // namespace tavrix::inspect
