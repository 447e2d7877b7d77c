// Makes a rule program smaller without changing what it does: bypasses junctions, joins the targets
// of consecutive rules and fuses consecutive conditions, until nothing changes.
#pragma once

#include <unordered_map>

#include "ipt_compiler/ir_graph.h"

namespace tavrix {

// Simplifies the graph between the two nodes in place; marks last as the exit, which with first is
// never removed. Throws std::invalid_argument when a node is part of another analysis.
void simplify(const ProxyIrNode::Pointer& first, const ProxyIrNode::Pointer& last);

// Where chains of junctions end, remembered for one walk over the graph, so that the edges into a
// long chain do not each walk it again. The nodes are visited in topological order: what leads out
// of a chain does not change before the last edge into it was looked at.
class JunctionChains {
 public:
  // The first node behind `junction` that is none.
  const ProxyIrNode::Pointer& endOf(ProxyIrNode& junction);

 private:
  // Per junction that was passed, the last one of its chain.
  std::unordered_map<const ProxyIrNode*, ProxyIrNode*> lastJunction_;
};

// The passes over one node, repeated until none changes anything; returns whether any did. A part
// of simplify that tests look at by itself.
bool simplifyNode(ProxyIrNode& node, JunctionChains& junctions);

}  // namespace tavrix
