// The command "explain".
#include "inspect/explain.h"

namespace tavrix::inspect {

int explain(const Request& /*request*/, Screen& /*screen*/) {
  return kError;
}

}  // namespace tavrix::inspect
