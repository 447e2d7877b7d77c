// The command "explain".
#pragma once

#include "inspect/request.h"
#include "inspect/screen.h"

namespace tavrix::inspect {

// Shows what happens to a described packet in a hooked chain, and why.
int explain(const Request& request, Screen& screen);

}  // namespace tavrix::inspect
