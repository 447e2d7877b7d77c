// The live tables beside those of the next run.
#include "inspect/diff.h"

#include "inspect/next_run.h"

namespace tavrix::inspect {

int diff(const Request& request, Screen& screen) {
  for (const LiveTable& live : readLiveTables(request)) {
    if (live.text != nextText(live)) screen.line(titleOf(*live.pass) + " differs");
  }
  return kFine;
}

}  // namespace tavrix::inspect
