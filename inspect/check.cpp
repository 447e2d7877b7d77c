// The command "check".
#include "inspect/check.h"

namespace tavrix::inspect {

int check(const Request& /*request*/, Screen& /*screen*/) {
  return kError;
}

}  // namespace tavrix::inspect
