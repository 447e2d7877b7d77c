// The simplification passes and the loop that runs them in topological order.
#include "ipt_compiler/simplification.h"

#include <cstddef>
#include <tuple>
#include <utility>
#include <vector>

namespace tavrix {

using _IptIrNode::kNext;
using _IptIrNode::kNoMatch;
using Pointer = ProxyIrNode::Pointer;

namespace {

// A node that only passes control on.
bool isJunction(const ProxyIrNode& node) {
  return !node.isExit && node.targets().empty() && node.isUnconditional();
}

std::uint32_t rounds = 0;  // so far: they are numbered from 1

}  // namespace

SimplificationRound::SimplificationRound() : number_(++rounds) {}

// Delegates to the other constructor, so that the destructor runs even if this one throws.
SimplificationRound::SimplificationRound(ProxyIrNode& first) : SimplificationRound() {
  ready_.push(&first);
  NodeQueue found;
  const auto enter = [&](ProxyIrNode& node) {
    if (node.isEntered(number_)) return;
    node.topoMembership = number_;
    node.pendingPredecessors = 0;
    found.push(&node);
  };
  for (enter(first); !found.empty(); found.pop()) {
    for (const Pointer& successor : found.front()->successor) {
      if (!successor) continue;
      enter(*successor);
      ++successor->pendingPredecessors;
    }
  }
}

SimplificationRound::~SimplificationRound() {
  for (; !ready_.empty(); ready_.pop()) {
    if (ready_.front()->topoMembership != number_) continue;
    ready_.front()->topoMembership = 0;
    for (const Pointer& successor : ready_.front()->successor) {
      if (successor) ready_.push(successor.get());
    }
  }
}

ProxyIrNode* SimplificationRound::takeReady() {
  if (ready_.empty()) return nullptr;
  ProxyIrNode* const node = ready_.front();
  ready_.pop();
  node->topoMembership = 0;
  countOff(node->successor[kNext].get());
  countOff(node->successor[kNoMatch].get());
  if (clearedNoMatch_.empty()) return node;
  if (const auto cleared = clearedNoMatch_.extract(node)) countOff(cleared.mapped());
  return node;
}

void SimplificationRound::countOff(ProxyIrNode* successor) {
  if (successor != nullptr && --successor->pendingPredecessors == 0) ready_.push(successor);
}

const Pointer& SimplificationRound::endOf(ProxyIrNode& junction) {
  constexpr int kShort = 8;  // it takes less time to follow so few than to remember them
  ProxyIrNode* last = &junction;
  for (int i = 0; i < kShort; ++i) {
    const Pointer& next = last->successor[kNext];
    if (!next || !isJunction(*next)) return next;
    last = next.get();
  }
  return lastJunction(*last).successor[kNext];
}

// Remembers, so that a long chain is not followed anew from every edge into it. What is remembered
// stays right: in topological order all edges into a chain are looked at before one of its nodes
// changes.
ProxyIrNode& SimplificationRound::lastJunction(ProxyIrNode& junction) {
  std::vector<const ProxyIrNode*> passed;
  ProxyIrNode* last = &junction;
  for (;;) {
    passed.push_back(last);
    const auto known = lastJunction_.find(last);
    if (known != lastJunction_.end()) last = known->second;
    ProxyIrNode* const next = last->successor[kNext].get();
    if (next == nullptr || !isJunction(*next)) break;
    last = next;
  }
  for (const ProxyIrNode* const node : passed) lastJunction_[node] = last;
  return *last;
}

void SimplificationRound::redirect(ProxyIrNode& node, std::size_t index, const Pointer& target) {
  Pointer former = target;
  if (former) ++former->predecessorCount;
  node.successor[index].swap(former);
  if (!former) return;
  --former->predecessorCount;
  if (former.use_count() == 1) bypassed_.push_back(std::move(former));
}

void SimplificationRound::clearNoMatch(ProxyIrNode& node) {
  clearedNoMatch_.emplace(&node, node.successor[kNoMatch].get());
  redirect(node, kNoMatch, nullptr);
}

namespace {

// The passes over one node. Each returns whether it reports a change; simplifyNode says what counts
// as one.

// Pass 1. A condition whose outcome makes no difference is dropped.
bool dropUselessCondition(ProxyIrNode& node) {
  if (node.matches().items.empty() || node.successor[kNoMatch] != node.successor[kNext])
    return false;
  if (node.successor[kNoMatch]) node.clearSuccessor(kNoMatch);
  node.makeContent().matches = {};
  return true;
}

bool isOnlyContinuation(const Pointer& successor) {
  return successor && !successor->isExit && successor->predecessorCount == 1;
}

// Whether the next node is a condition that may join this one's.
bool isMergeCandidate(const Pointer& next) {
  return isOnlyContinuation(next) && next->targets().empty();
}

// Pass 2, on both edges. An edge to a junction goes to where the junction leads. A chain of
// junctions is taken in one go: each stays a predecessor of the node after it, so passes 3 and 4,
// which ask for a single one, would not act on the way. But pass 4 compares no-match edges, and two
// may be equal only half-way down a chain. Where it may merge, this edge takes one step at a time.
bool bypassSuccessors(ProxyIrNode& node, SimplificationRound& round) {
  bool changed = false;
  for (const std::size_t index : {kNoMatch, kNext}) {
    ProxyIrNode* const successor = node.successor[index].get();
    if (successor == nullptr || !isJunction(*successor)) continue;
    const bool isCompared = index == kNoMatch && isMergeCandidate(node.successor[kNext]);
    round.redirect(node, index, isCompared ? successor->successor[kNext] : round.endOf(*successor));
    changed = true;
  }
  return changed;
}

// Pass 3. The next node's targets move into this one, if this one alone, and always, leads there.
bool absorbTargets(ProxyIrNode& node) {
  const Pointer& next = node.successor[kNext];
  if (!node.isUnconditional() || !isOnlyContinuation(next) || next->targets().empty()) return false;
  node.makeContent().targets.splice(node.targets().end(), next->makeContent().targets);
  return true;
}

// Pass 4. The condition that is tested next, and only from here, joins this one if both lead to the
// same node when they do not hold. An unconditional node takes over the no-match edge of the next
// one. If the next one is left without a condition, it loses that edge. Reported if mergeMatches
// counts a match, which it does not for a block of "-m" options.
bool mergeCondition(ProxyIrNode& node, SimplificationRound& round) {
  const Pointer& next = node.successor[kNext];
  if (!isMergeCandidate(next)) return false;
  if (next->successor[kNoMatch] != node.successor[kNoMatch]) {
    if (!node.isUnconditional()) return false;
    round.redirect(node, kNoMatch, next->successor[kNoMatch]);
  }
  const bool changed = mergeMatches(node.makeContent().matches, next->makeContent().matches) != 0;
  if (next->isUnconditional() && next->successor[kNoMatch]) round.clearNoMatch(*next);
  return changed;
}

bool runPasses(ProxyIrNode& node, SimplificationRound& round) {
  bool reported = dropUselessCondition(node);
  reported |= bypassSuccessors(node, round);
  reported |= absorbTargets(node);
  reported |= mergeCondition(node, round);
  return reported;
}

// What the passes can change in a node. They change the next node as well, but that shows here too:
// what leaves it arrives in this node, or lowers this one's element count.
auto stateOf(const ProxyIrNode& node) {
  return std::tuple(node.successor[kNoMatch].get(), node.successor[kNext].get(),
                    node.targets().size(), node.matches().items.size(),
                    node.matches().elementCount);
}

}  // namespace

bool simplifyNode(ProxyIrNode& node, SimplificationRound& round) {
  for (bool everChanged = false;; everChanged = true) {
    const auto before = stateOf(node);
    if (!runPasses(node, round) || stateOf(node) == before) return everChanged;
  }
}

void simplify(const Pointer& first, const Pointer& last) {
  last->isExit = true;
  for (bool changed = true; changed;) {
    changed = false;
    SimplificationRound round(*first);
    while (ProxyIrNode* const node = round.takeReady()) changed |= simplifyNode(*node, round);
  }
}

}  // namespace tavrix
