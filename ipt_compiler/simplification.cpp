// The simplification passes and the loop that runs them in topological order.
#include "ipt_compiler/simplification.h"

#include <array>
#include <stack>
#include <utility>
#include <vector>

namespace tavrix {
namespace {

using _IptIrNode::kNext;
using _IptIrNode::kNoMatch;
using Pointer = ProxyIrNode::Pointer;

// The order in which every walk takes a node's successors.
constexpr std::array<std::size_t, 2> kSuccessorOrder = {kNext, kNoMatch};

// One topological sort (Kahn's algorithm) of the graph as it was when the sort was made. It holds
// the nodes that it registered: a node that is bypassed meanwhile stays a predecessor of its
// successors until the sort is gone.
class TopologicalSort {
 public:
  TopologicalSort() = default;
  ~TopologicalSort() {
    for (const Pointer& node : nodes_) {
      node->topoMembership = {};
      node->pendingPredecessors = 0;
      node->topoSuccessors.clear();
    }
  }
  TopologicalSort(const TopologicalSort&) = delete;
  TopologicalSort& operator=(const TopologicalSort&) = delete;

  void addEdge(const Pointer& from, const Pointer& to) {
    registerNode(from);
    registerNode(to);
    from->topoSuccessors.push_back(to.get());
    if (to->pendingPredecessors++ == 0) to->moveTo(pending_, ready_);
  }

  // The next node in order; null when all were taken.
  Pointer takeReady() {
    if (ready_.empty()) return nullptr;
    const auto [vertex, nodeIndex] = ready_.front();
    ready_.pop_front();
    vertex->topoMembership = {};
    for (ProxyIrNode* successor : vertex->topoSuccessors) {
      if (--successor->pendingPredecessors == 0) successor->moveTo(ready_, pending_);
    }
    return nodes_[nodeIndex];
  }

 private:
  void registerNode(const Pointer& node) {
    if (node->topoMembership.owner != nullptr) return;
    ready_.push_front({node.get(), nodes_.size()});
    nodes_.push_back(node);
    node->topoMembership = {&ready_, ready_.begin()};
  }

  std::vector<Pointer> nodes_;
  ProxyIrNode::EntryList ready_;
  ProxyIrNode::EntryList pending_;
};

// Registers every edge that can be reached from first.
void registerEdges(const Pointer& first, TopologicalSort& sort) {
  ProxyIrNode::OrderList order;
  std::stack<Pointer> toVisit;
  toVisit.push(first);
  while (!toVisit.empty()) {
    const Pointer node = std::move(toVisit.top());
    toVisit.pop();
    if (!node->visit(order)) continue;
    for (const std::size_t index : kSuccessorOrder) {
      if (node->successor[index]) sort.addEdge(node, node->successor[index]);
    }
    // The last one pushed is visited first.
    for (const std::size_t index : {kNoMatch, kNext}) {
      if (node->successor[index]) toVisit.push(node->successor[index]);
    }
  }
}

// A condition whose outcome makes no difference is dropped.
bool dropUselessCondition(ProxyIrNode& node) {
  if (node.matches.items.empty() || node.successor[kNoMatch] != node.successor[kNext]) return false;
  if (node.successor[kNoMatch]) node.clearSuccessor(kNoMatch);
  node.matches = {};
  return true;
}

// An edge to a node that only passes control on goes to where it passes it.
bool bypassSuccessor(ProxyIrNode& node, std::size_t index) {
  const Pointer successor = node.successor[index];
  if (!successor || successor->isExit || !successor->targets.empty() ||
      !successor->isUnconditional()) {
    return false;
  }
  node.setSuccessor(index, successor->successor[kNext]);
  return true;
}

bool isOnlyContinuation(const Pointer& successor) {
  return successor && !successor->isExit && successor->predecessorCount == 1;
}

// The targets of a rule that nothing else reaches happen one node earlier.
bool absorbTargets(ProxyIrNode& node) {
  const Pointer& next = node.successor[kNext];
  if (!node.isUnconditional() || !isOnlyContinuation(next) || next->targets.empty()) return false;
  node.targets.splice(node.targets.end(), next->targets);
  return true;
}

// The condition that is tested next, and only from here, joins this one when both fail to the same
// place.
bool mergeCondition(ProxyIrNode& node) {
  const Pointer next = node.successor[kNext];
  if (!isOnlyContinuation(next) || !next->targets.empty()) return false;
  if (next->successor[kNoMatch] != node.successor[kNoMatch]) {
    if (!node.isUnconditional()) return false;
    node.setSuccessor(kNoMatch, next->successor[kNoMatch]);
  }
  const bool changed = mergeMatches(node.matches, next->matches) != 0;
  if (next->isUnconditional() && next->successor[kNoMatch]) next->clearSuccessor(kNoMatch);
  return changed;
}

}  // namespace

bool simplifyNode(ProxyIrNode& node) {
  bool everChanged = false;
  for (bool changed = true; changed; everChanged |= changed) {
    changed = dropUselessCondition(node);
    changed |= bypassSuccessor(node, kNoMatch);
    changed |= bypassSuccessor(node, kNext);
    changed |= absorbTargets(node);
    changed |= mergeCondition(node);
  }
  return everChanged;
}

void simplify(const Pointer& first, const Pointer& last) {
  last->isExit = true;
  for (bool changed = true; changed;) {
    changed = false;
    TopologicalSort sort;
    registerEdges(first, sort);
    while (const Pointer node = sort.takeReady()) changed |= simplifyNode(*node);
  }
}

}  // namespace tavrix
