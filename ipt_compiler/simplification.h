// Makes a rule program smaller without changing what it does: bypasses junctions, joins the targets
// of consecutive rules and fuses consecutive conditions, until nothing changes.
#pragma once

#include <unordered_map>

#include "ipt_compiler/ir_graph.h"

namespace tavrix {

// Simplifies the graph between the two nodes in place and marks last as the exit. Neither first nor
// last is removed. Throws std::invalid_argument if a node is part of another analysis.
void simplify(const ProxyIrNode::Pointer& first, const ProxyIrNode::Pointer& last);

// Where chains of junctions end, remembered for one walk over the graph, so that a long chain is
// not followed anew from every edge into it. What is remembered stays right: in topological order
// all edges into a chain are looked at before one of its nodes changes.
class JunctionChains {
 public:
  // The first node after `junction` that is no junction.
  const ProxyIrNode::Pointer& endOf(ProxyIrNode& junction);

 private:
  // Per junction that was passed, the last one of its chain.
  std::unordered_map<const ProxyIrNode*, ProxyIrNode*> lastJunction_;
};

// The passes over one node, repeated as long as they change something; returns whether they did. A
// part of simplify that tests look at by itself.
//
// A repetition counts as a change if a pass reports one and the node is not as it was before. Both
// are needed. A merge that only moves a block of "-m" options is not reported, on purpose. And a
// change that is reported can be undone by the pass after it:
//
//     n: if A, then c, else j      c: if B, then d, else j      j: a junction to e
//
// Suppose that an earlier merge left n with an element count of 0. The bypass leads n's no-match
// edge past j to e, and reports it. The merge takes n for unconditional and gives it the no-match
// edge of c, which leads to j. Without the second test this would go on for ever.
bool simplifyNode(ProxyIrNode& node, JunctionChains& junctions);

}  // namespace tavrix
