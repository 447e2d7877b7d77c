// Makes a rule program smaller without changing what it does: bypasses junctions, joins the targets
// of consecutive rules and fuses consecutive conditions, until nothing changes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <queue>
#include <unordered_map>

#include "ipt_compiler/ir_graph.h"

namespace tavrix {

// Simplifies the graph between the two nodes in place and marks last as the exit. Neither first nor
// last is removed. Throws std::invalid_argument if a node is part of another analysis.
void simplify(const ProxyIrNode::Pointer& first, const ProxyIrNode::Pointer& last);

// One round over the graph in topological order (Kahn's algorithm), as it is when the round begins.
class SimplificationRound {
 public:
  // Enters everything that can be reached from first. No edge may lead to first. Throws
  // std::invalid_argument if a node is part of another analysis.
  explicit SimplificationRound(ProxyIrNode& first);
  // Lets go of the nodes that were not taken, so that other analyses can have them.
  ~SimplificationRound();
  SimplificationRound(const SimplificationRound&) = delete;
  SimplificationRound& operator=(const SimplificationRound&) = delete;

  // The next node in order; null if all have been taken.
  ProxyIrNode* takeReady();

  // The first node after `junction` that is no junction.
  const ProxyIrNode::Pointer& endOf(ProxyIrNode& junction);

  // Leads an edge elsewhere. A node that loses its last pointer lives on until the round is over:
  // it still counts as a predecessor.
  void redirect(ProxyIrNode& node, std::size_t index, const ProxyIrNode::Pointer& target);

  // Empties the no-match slot, which must be set. Until the node is taken, the edge still counts
  // for the order, which is that of the graph as it was when the round began.
  void clearNoMatch(ProxyIrNode& node);

 private:
  using NodeQueue = std::queue<ProxyIrNode*>;

  SimplificationRound();
  void countOff(ProxyIrNode* successor);
  ProxyIrNode& lastJunction(ProxyIrNode& junction);

  const std::uint32_t number_;  // of the sort
  NodeQueue ready_;             // all their predecessors have been taken
  std::unordered_map<const ProxyIrNode*, ProxyIrNode*> clearedNoMatch_;  // of nodes not yet taken
  std::unordered_map<const ProxyIrNode*, ProxyIrNode*> lastJunction_;    // of long chains
  std::deque<ProxyIrNode::Pointer> bypassed_;
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
bool simplifyNode(ProxyIrNode& node, SimplificationRound& round);

}  // namespace tavrix
