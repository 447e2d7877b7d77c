// The commands, each in a file of its own name. They print to the screen and return an exit status
// of request.h. They throw a std::exception for what ends them.
#pragma once

#include "inspect/request.h"
#include "inspect/screen.h"

namespace tavrix::inspect {

// Prints what a run would hand to the restore tools.
int print(const Request& request, Screen& screen);

// Shows what a run would change in the tables.
int diff(const Request& request, Screen& screen);

// Shows everything that is wrong with the configuration.
int check(const Request& request, Screen& screen);

// Shows what happens to a described packet in the chain that the request's first two words name,
// and why.
int explain(const Request& request, Screen& screen);

// Prints the program of the chain that the request's two words name as a graph in DOT.
int graph(const Request& request, Screen& screen);

}  // namespace tavrix::inspect
