// The command "diff".
#pragma once

#include "inspect/request.h"
#include "inspect/screen.h"

namespace tavrix::inspect {

// Shows what a run would change in the tables.
int diff(const Request& request, Screen& screen);

}  // namespace tavrix::inspect
