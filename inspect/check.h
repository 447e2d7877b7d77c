// The command "check".
#pragma once

#include "inspect/request.h"
#include "inspect/screen.h"

namespace tavrix::inspect {

// Shows everything that is wrong with the configuration.
int check(const Request& request, Screen& screen);

}  // namespace tavrix::inspect
