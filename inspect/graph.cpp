// The program of a hook in the language of Graphviz.
#include "inspect/graph.h"

#include "inspect/next_run.h"
#include "inspect/program_graph.h"

namespace tavrix::inspect {

int graph(const Request& request, Screen& screen) {
  readGraph(hookOf(request).makeProgram(), request.simplified);
  screen.text("digraph {}\n");
  return kFine;
}

}  // namespace tavrix::inspect
