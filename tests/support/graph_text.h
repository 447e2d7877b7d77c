// Prints a rule graph in a form that does not depend on addresses, so that tests compare graphs as
// text: before and after a pass, built one way and built another.
#pragma once

#include <cstddef>
#include <string>
#include <unordered_map>
#include <vector>

#include "ipt_compiler/ir_graph.h"

namespace test_support {

// The nodes that can be reached from a first one, numbered in depth-first order, the next node
// before the no-match one. Must not outlive the graph.
class NodeNumbers {
 public:
  explicit NodeNumbers(const tavrix::ProxyIrNode& first);

  std::size_t size() const { return nodes_.size(); }
  const tavrix::ProxyIrNode& operator[](std::size_t number) const { return *nodes_[number]; }
  // Throws std::out_of_range for a node of another graph.
  std::size_t of(const tavrix::ProxyIrNode& node) const { return numbers_.at(&node); }

 private:
  std::vector<const tavrix::ProxyIrNode*> nodes_;
  std::unordered_map<const tavrix::ProxyIrNode*, std::size_t> numbers_;
};

// One line per node that can be reached from `first`, by number:
//
//   0: "-j A" "-j B" if "-p tcp -4" then 1 else 2
//   1: then 2
//   2: end
//
// "(count N)" follows the matches if the element count is not their number, "exit" the targets of a
// node that is marked so.
std::string graphText(const tavrix::ProxyIrNode::Pointer& first);

// The graph of a text in that form, whatever the order of its lines; line 0 is the node returned.
// All other nodes are held by their predecessors only. For tests: throws std::runtime_error for
// any other text.
tavrix::ProxyIrNode::Pointer graphOf(const std::string& text);

// A line for each reachable node whose predecessor count is not the number of slots of reachable
// nodes that point at it; empty if all counts are exact.
std::string wrongPredecessorCounts(const tavrix::ProxyIrNode::Pointer& first);
std::string wrongPredecessorCounts(const NodeNumbers& nodes);

// The items of a list with kinds, and the element count if it is not their number:
// "3 -p tcp | 10 -m mark --mark 1 (count 1)".
std::string listText(const tavrix::IptMatchList& list);

}  // namespace test_support
