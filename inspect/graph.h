// The command "graph".
#pragma once

#include "inspect/request.h"
#include "inspect/screen.h"

namespace tavrix::inspect {

// Prints the program of the hook that the request's two words name as a graph in DOT.
int graph(const Request& request, Screen& screen);

}  // namespace tavrix::inspect
