// Prints a rule graph in a form that does not depend on addresses, so that tests compare graphs as
// text: before and after a pass, built one way and built another.
#pragma once

#include <string>

#include "ipt_compiler/ir_graph.h"

namespace test_support {

// One line per node that can be reached from `first`, in depth-first order, the next node before
// the no-match one; the numbers are that order:
//
//   0: "-j A" "-j B" if "-p tcp -4" then 1 else 2
//   1: then 2
//   2: end
//
// "(count N)" follows the matches when the element count is not their number, "exit" the targets
// of a node that is marked so.
std::string graphText(const tavrix::ProxyIrNode::Pointer& first);

// The graph of a text in that form, whatever the order of its lines; line 0 is the node returned.
// All other nodes are held by their predecessors only. For tests: throws std::runtime_error for
// any other text.
tavrix::ProxyIrNode::Pointer graphOf(const std::string& text);

// A line for each reachable node whose predecessor count is not the number of slots of reachable
// nodes that point at it; empty when all counts are exact.
std::string wrongPredecessorCounts(const tavrix::ProxyIrNode::Pointer& first);

// The items of a list with kinds, and the element count when it is not their number:
// "3 -p tcp | 10 -m mark --mark 1 (count 1)".
std::string listText(const tavrix::IptMatchList& list);

}  // namespace test_support
