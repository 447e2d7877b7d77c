// The live tables beside those of the next run.
#include "inspect/diff.h"

#include <string>
#include <vector>

#include "inspect/next_run.h"
#include "inspect/table.h"
#include "inspect/table_comparison.h"

namespace tavrix::inspect {

int diff(const Request& request, Screen& screen) {
  bool isSame = true;
  for (const LiveTable& live : readLiveTables(request)) {
    const std::string next = nextText(live);
    // The next one first, so that the tool's errors name the lines that "print" shows.
    const std::vector<RuleWords> words = wordsOfTool(live.pass->tool, {next, live.text});
    isSame &= showDifferences(readTable(live.text, words[1]), readTable(next, words[0]),
                              titleOf(*live.pass), screen);
  }
  return isSame ? kFine : kDifference;
}

}  // namespace tavrix::inspect
