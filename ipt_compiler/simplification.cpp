// The simplification passes and the loop that runs them in topological order.
#include "ipt_compiler/simplification.h"

#include <stack>
#include <stdexcept>
#include <utility>
#include <vector>

namespace tavrix {
namespace {

using _IptIrNode::kNext;
using _IptIrNode::kNoMatch;
using _IptIrNode::kSuccessorOrder;
using Pointer = ProxyIrNode::Pointer;

// One topological sort (Kahn's algorithm) of the graph as it was when the sort was made. It keeps
// its nodes alive: one that is bypassed meanwhile still counts as a predecessor until the sort is
// gone.
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

  // The next node in order; null if all have been taken.
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
    const ProxyIrNode::EntryList* const owner = node->topoMembership.owner;
    if (owner == &ready_ || owner == &pending_) return;
    if (owner != nullptr) throw std::invalid_argument("TopoSortVertex conflict!");
    ready_.push_front({node.get(), nodes_.size()});
    nodes_.push_back(node);
    node->topoMembership = {&ready_, ready_.begin()};
  }

  std::vector<Pointer> nodes_;
  ProxyIrNode::EntryList ready_;
  ProxyIrNode::EntryList pending_;
};

// Adds every edge that can be reached from first.
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
    for (auto index = kSuccessorOrder.rbegin(); index != kSuccessorOrder.rend(); ++index) {
      if (node->successor[*index]) toVisit.push(node->successor[*index]);
    }
  }
}

// A node that only passes control on.
bool isJunction(const ProxyIrNode& node) {
  return !node.isExit && node.targets.empty() && node.isUnconditional();
}

}  // namespace

const Pointer& JunctionChains::endOf(ProxyIrNode& junction) {
  std::vector<const ProxyIrNode*> passed;
  ProxyIrNode* last = &junction;
  for (;;) {
    passed.push_back(last);
    const auto known = lastJunction_.find(last);
    if (known != lastJunction_.end()) last = known->second;
    const Pointer& next = last->successor[kNext];
    if (!next || !isJunction(*next)) break;
    last = next.get();
  }
  for (const ProxyIrNode* node : passed) lastJunction_[node] = last;
  return last->successor[kNext];
}

namespace {

// The passes over one node. Each returns whether it reports a change; simplifyNode says what counts
// as one.

// Pass 1. A condition whose outcome makes no difference is dropped.
bool dropUselessCondition(ProxyIrNode& node) {
  if (node.matches.items.empty() || node.successor[kNoMatch] != node.successor[kNext]) return false;
  if (node.successor[kNoMatch]) node.clearSuccessor(kNoMatch);
  node.matches = {};
  return true;
}

bool isOnlyContinuation(const Pointer& successor) {
  return successor && !successor->isExit && successor->predecessorCount == 1;
}

// Whether the next node is a condition that may join this one's.
bool isMergeCandidate(const Pointer& next) {
  return isOnlyContinuation(next) && next->targets.empty();
}

// Pass 2, on either edge. An edge to a junction goes to where the junction leads. A chain of
// junctions is taken in one go: each stays a predecessor of the node after it, so passes 3 and 4,
// which ask for a single one, would not act on the way. But pass 4 compares no-match edges, and two
// may be equal only half-way down a chain. Where it may merge, this edge takes one step at a time.
bool bypassSuccessor(ProxyIrNode& node, std::size_t index, JunctionChains& junctions) {
  const Pointer& successor = node.successor[index];
  if (!successor || !isJunction(*successor)) return false;
  const bool isCompared =
      index == kNoMatch && !node.isUnconditional() && isMergeCandidate(node.successor[kNext]);
  node.setSuccessor(index, isCompared ? successor->successor[kNext] : junctions.endOf(*successor));
  return true;
}

// Pass 3. The next node's targets move into this one, if this one alone, and always, leads there.
bool absorbTargets(ProxyIrNode& node) {
  const Pointer& next = node.successor[kNext];
  if (!node.isUnconditional() || !isOnlyContinuation(next) || next->targets.empty()) return false;
  node.targets.splice(node.targets.end(), next->targets);
  return true;
}

// Pass 4. The condition that is tested next, and only from here, joins this one if both lead to the
// same node when they do not hold. An unconditional node takes over the no-match edge of the next
// one. Reported if mergeMatches counts a match, which it does not for a block of "-m" options.
bool mergeCondition(ProxyIrNode& node) {
  const Pointer next = node.successor[kNext];
  if (!isMergeCandidate(next)) return false;
  if (next->successor[kNoMatch] != node.successor[kNoMatch]) {
    if (!node.isUnconditional()) return false;
    node.setSuccessor(kNoMatch, next->successor[kNoMatch]);
  }
  const bool changed = mergeMatches(node.matches, next->matches) != 0;
  if (next->isUnconditional() && next->successor[kNoMatch]) next->clearSuccessor(kNoMatch);
  return changed;
}

bool runPasses(ProxyIrNode& node, JunctionChains& junctions) {
  bool reported = dropUselessCondition(node);
  reported |= bypassSuccessor(node, kNoMatch, junctions);
  reported |= bypassSuccessor(node, kNext, junctions);
  reported |= absorbTargets(node);
  reported |= mergeCondition(node);
  return reported;
}

// What the passes can change in a node. They change the next node as well, but that shows here too:
// what leaves it arrives in this node, or lowers this one's element count.
struct NodeState {
  explicit NodeState(const ProxyIrNode& node)
      : noMatch(node.successor[kNoMatch].get()),
        next(node.successor[kNext].get()),
        targets(node.targets.size()),
        matches(node.matches.items.size()),
        elementCount(node.matches.elementCount) {}
  bool operator==(const NodeState&) const = default;

  const ProxyIrNode* noMatch;
  const ProxyIrNode* next;
  std::size_t targets;
  std::size_t matches;
  std::size_t elementCount;
};

}  // namespace

bool simplifyNode(ProxyIrNode& node, JunctionChains& junctions) {
  for (bool everChanged = false;; everChanged = true) {
    const NodeState before(node);
    if (!runPasses(node, junctions) || NodeState(node) == before) return everChanged;
  }
}

void simplify(const Pointer& first, const Pointer& last) {
  last->isExit = true;
  for (bool changed = true; changed;) {
    changed = false;
    TopologicalSort sort;
    registerEdges(first, sort);
    JunctionChains junctions;
    while (const Pointer node = sort.takeReady()) changed |= simplifyNode(*node, junctions);
  }
}

}  // namespace tavrix
