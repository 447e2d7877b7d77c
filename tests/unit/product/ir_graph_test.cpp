// Nodes, their wiring, and programs as pairs of nodes.
#include "ipt_compiler/ir_graph.h"

#include <gtest/gtest.h>

#include <memory>
#include <stdexcept>
#include <utility>

#include "ipt_compiler/rule_parser.h"
#include "tests/support/graph_text.h"
#include "tests/unit/product/error_text.h"

namespace tavrix {
namespace {

using _IptIrNode::kNext;
using _IptIrNode::kNoMatch;
using test_support::errorText;
using test_support::graphText;

constexpr const char* kNextTwice = "IPT compiler: Internal error. setNext() twice.";

IptProg emptyProgram() {
  const auto node = makeProxy();
  return {node, node};
}

TEST(IrNode, SetNextTwiceThrowsAndChangesNothing) {
  const auto node = makeProxy();
  const auto first = makeProxy();
  const auto second = makeProxy();
  static_assert(kNext == 1 && kNoMatch == 0);
  node->setNext(first);
  EXPECT_EQ(errorText<std::logic_error>([&] { node->setNext(second); }), kNextTwice);
  EXPECT_EQ(errorText<std::logic_error>([&] { node->setNext(first); }), kNextTwice);
  EXPECT_EQ(node->successor[1], first);
  EXPECT_EQ(node->successor[0], nullptr);
  EXPECT_EQ(first->predecessorCount, 1U);
  EXPECT_EQ(second->predecessorCount, 0U);
}

TEST(IrNode, SetNextOfNothingLeavesTheSlotOpen) {
  const auto node = makeProxy();
  node->setNext(nullptr);
  node->setNext(makeProxy());
  EXPECT_NE(node->successor[1], nullptr);
}

TEST(IrNode, SetSuccessorMovesTheEdge) {
  const auto node = makeProxy();
  const auto old = makeProxy();
  const auto target = makeProxy();
  node->setNext(old);
  node->setSuccessor(1, target);
  EXPECT_EQ(node->successor[1], target);
  EXPECT_EQ(old->predecessorCount, 0U);
  EXPECT_EQ(target->predecessorCount, 1U);
  node->setSuccessor(1, target);
  EXPECT_EQ(target->predecessorCount, 1U);
  node->setBranch(0, target);
  EXPECT_EQ(node->successor[0], target);
  EXPECT_EQ(target->predecessorCount, 2U);
  node->setBranch(1, nullptr);
  EXPECT_EQ(node->successor[1], nullptr);
  EXPECT_EQ(target->predecessorCount, 1U);
}

// The node that a slot drops may be the last thing that holds the slot's new target.
TEST(IrNode, SetSuccessorMayBypassANodeThatDies) {
  const auto node = makeProxy();
  node->setNext(makeProxy());
  node->successor[1]->setNext(makeProxy());
  const std::weak_ptr<ProxyIrNode> bypassed = node->successor[1];
  const ProxyIrNode::Pointer last = node->successor[1]->successor[1];
  node->setSuccessor(1, node->successor[1]->successor[1]);
  EXPECT_TRUE(bypassed.expired());
  EXPECT_EQ(node->successor[1], last);
  EXPECT_EQ(last->predecessorCount, 1U);
}

TEST(IrNode, IsUnconditionalWithoutElementsOrWithEqualSuccessors) {
  const auto node = makeProxy();
  const auto a = makeProxy();
  const auto b = makeProxy();
  EXPECT_TRUE(node->isUnconditional());
  node->makeContent().matches = parseMatches("-p tcp", "f", 1);
  EXPECT_TRUE(node->isUnconditional());  // both successors are null
  node->setSuccessor(1, a);
  EXPECT_FALSE(node->isUnconditional());
  node->setSuccessor(0, a);
  EXPECT_TRUE(node->isUnconditional());
  node->setSuccessor(0, b);
  EXPECT_FALSE(node->isUnconditional());
  node->makeContent().matches = {};
  EXPECT_TRUE(node->isUnconditional());
}

// After a merge dropped a duplicate, count and items differ: the count decides.
TEST(IrNode, IsUnconditionalReadsTheElementCountAndNotTheItems) {
  const auto node = makeProxy();
  node->setSuccessor(1, makeProxy());
  node->makeContent().matches = parseMatches("-4", "f", 1);
  IptMatchList duplicate = parseMatches("-4", "f", 1);
  mergeMatches(node->makeContent().matches, duplicate);
  EXPECT_EQ(node->matches().items.size(), 1U);
  EXPECT_TRUE(node->isUnconditional());
  node->makeContent().matches = std::move(duplicate);
  EXPECT_TRUE(node->matches().items.empty());
  EXPECT_FALSE(node->isUnconditional());
}

// A chain of one hundred thousand: its end must not be found by recursion.
TEST(IrNode, LongChainsAreDestroyedInALoop) {
  const auto kept = makeProxy();
  std::weak_ptr<ProxyIrNode> last;
  {
    const auto first = makeProxy();
    ProxyIrNode::Pointer node = first;
    for (int i = 0; i < 100'000; ++i) {
      const auto next = makeProxy();
      const auto arm = makeProxy();
      arm->setNext(next);
      // Now one slot leads on, now the other. The second one leads to the same node, to a branch
      // that meets again there, or to the kept node.
      const auto slot = static_cast<std::size_t>(i % 2);
      node->setSuccessor(slot, next);
      node->setSuccessor(1 - slot, i % 3 == 0 ? kept : i % 3 == 1 ? arm : next);
      node = next;
    }
    last = node;
    EXPECT_EQ(kept->predecessorCount, 33'334U);
  }
  EXPECT_TRUE(last.expired());
  EXPECT_EQ(kept->predecessorCount, 0U);
  EXPECT_EQ(kept.use_count(), 1);
}

// Dies from its start, but its middle is held: the rest stays, with exact counts.
TEST(IrNode, ChainHeldInItsMiddleDiesUpToThere) {
  ProxyIrNode::Pointer first = makeProxy();
  const auto middle = makeProxy();
  first->setNext(makeProxy());
  first->successor[1]->setNext(middle);
  middle->setNext(makeProxy());
  const std::weak_ptr<ProxyIrNode> second = first->successor[1];
  first.reset();
  EXPECT_TRUE(second.expired());
  EXPECT_EQ(middle->predecessorCount, 0U);
  EXPECT_EQ(middle->successor[1]->predecessorCount, 1U);
}

TEST(Sequence, OfAProgramWithItselfThrows) {
  const IptProg one = emptyProgram();
  EXPECT_EQ(errorText<std::logic_error>([&] { sequence({one, one}); }), kNextTwice);
  EXPECT_EQ(one.first->successor[1], nullptr);
  const IptProg two = sequence({emptyProgram(), emptyProgram()});
  EXPECT_EQ(errorText<std::logic_error>([&] { sequence({two, two}); }), kNextTwice);
  EXPECT_EQ(graphText(two.first), "0: then 1\n1: end\n");
}

TEST(Sequence, OfNothingIsAnEmptyProgram) {
  EXPECT_EQ(graphText(sequence({}).first), "0: end\n");
}

}  // namespace
}  // namespace tavrix
