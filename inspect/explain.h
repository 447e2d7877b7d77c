// The command "explain". Not offered yet: it is not in the table of commands.
#pragma once

#include "inspect/request.h"
#include "inspect/screen.h"

namespace tavrix::inspect {

int explain(const Request& request, Screen& screen);

}  // namespace tavrix::inspect
