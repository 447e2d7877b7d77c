// Makes a rule program smaller without changing what it does: bypasses junctions, joins the targets
// of consecutive rules and fuses consecutive conditions, until nothing changes.
#pragma once

#include "ipt_compiler/ir_graph.h"

namespace tavrix {

// Simplifies the graph between the two nodes in place; marks last as the exit, which with first is
// never removed. Throws std::invalid_argument when a node is part of another analysis.
void simplify(const ProxyIrNode::Pointer& first, const ProxyIrNode::Pointer& last);

// The passes over one node, repeated until none changes anything; returns whether any did. A part
// of simplify that tests look at by itself.
bool simplifyNode(ProxyIrNode& node);

}  // namespace tavrix
