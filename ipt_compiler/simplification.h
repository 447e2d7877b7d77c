// Makes a rule program smaller without changing what it does: bypasses junctions, joins the targets
// of consecutive rules and fuses consecutive conditions, until nothing changes.
#pragma once

#include <unordered_map>

#include "ipt_compiler/ir_graph.h"

namespace tavrix {

// Simplifies the graph between the two nodes in place and marks last as the exit. Neither first nor
// last is removed. Throws std::invalid_argument if a node is part of another analysis.
void simplify(const ProxyIrNode::Pointer& first, const ProxyIrNode::Pointer& last);

// Where chains of junctions end, remembered for one walk over the graph, so that not every edge
// into a long chain walks it again. What is remembered stays right, since the nodes are visited in
// topological order: all edges into a chain are looked at before its nodes change.
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
// A repetition is a change if a pass reports one and the node is left in another state. Both are
// needed. A merge that only moves a block of "-m" options does not report a change, although the
// node has changed. And two passes can undo each other, each with a report:
//
//     n: if A, else j      j: a junction to e      n's next node c: if B, else j
//
// The bypass leads n's no-match edge past j to e. When A has become unconditional by its element
// count, the merge with c takes over c's no-match edge, and n leads to j again. That would go on
// for ever if nothing else came of it.
bool simplifyNode(ProxyIrNode& node, JunctionChains& junctions);

}  // namespace tavrix
