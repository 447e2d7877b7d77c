// The command "print".
#pragma once

#include "inspect/request.h"
#include "inspect/screen.h"

namespace tavrix::inspect {

// Prints what a run would hand to the restore tools.
int print(const Request& request, Screen& screen);

}  // namespace tavrix::inspect
