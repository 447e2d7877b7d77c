// What holds a node in an analysis: one of a kind at a time, and nothing after it.
#include "ipt_compiler/graph_order.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <stdexcept>
#include <vector>

#include "ipt_compiler/ir_graph.h"
#include "ipt_compiler/simplification.h"
#include "tests/unit/product/error_text.h"

namespace tavrix {
namespace {

using test_support::errorText;

struct Record {
  const ProxyIrNode* node;
};

TEST(DfsVertex, InAnotherTableIsAConflict) {
  ProxyIrNode node;
  ProxyIrNode other;
  EXPECT_FALSE(node.isVisited(std::vector<Record>{{&other}}));
  node.rulesIndex = 1;
  EXPECT_TRUE(node.isVisited(std::vector<Record>{{&other}, {&node}}));
  for (const std::vector<Record>& table :
       {std::vector<Record>{{&other}}, std::vector<Record>{{&node}, {&other}}}) {
    EXPECT_EQ(errorText<std::invalid_argument>([&] { node.isVisited(table); }),
              "DfsVertex conflict!");
  }
}

TEST(TopoSortVertex, InAnotherSortIsAConflict) {
  ProxyIrNode node;
  EXPECT_FALSE(node.isEntered(1));
  node.topoMembership = 1;
  EXPECT_TRUE(node.isEntered(1));
  EXPECT_EQ(errorText<std::invalid_argument>([&] { node.isEntered(2); }),
            "TopoSortVertex conflict!");
}

// Of the first node, of the last and of one between.
TEST(GraphOrder, SimplificationOfANodeInAnotherSortIsAConflictAndLeavesTheOthersFree) {
  constexpr std::uint32_t kOtherSort = 0xFFFFFFFF;
  for (std::size_t held = 0; held < 3; ++held) {
    const std::vector<ProxyIrNode::Pointer> nodes = {makeProxy(), makeProxy(), makeProxy()};
    nodes[0]->setNext(nodes[1]);
    nodes[1]->setNext(nodes[2]);
    nodes[held]->topoMembership = kOtherSort;
    EXPECT_EQ(errorText<std::invalid_argument>([&] { simplify(nodes[0], nodes[2]); }),
              "TopoSortVertex conflict!");
    for (std::size_t i = 0; i < 3; ++i) {
      EXPECT_EQ(nodes[i]->topoMembership, i == held ? kOtherSort : 0U);
    }
  }
}

// As long as a round is not over, its nodes are in its sort, but for those that were taken.
TEST(GraphOrder, ASecondRoundOverTheSameNodesIsAConflict) {
  const auto first = makeProxy();
  const auto last = makeProxy();
  first->setNext(last);
  SimplificationRound round(*first);
  EXPECT_EQ(errorText<std::invalid_argument>([&] { SimplificationRound other(*first); }),
            "TopoSortVertex conflict!");
  EXPECT_EQ(round.takeReady(), first.get());
  EXPECT_EQ(errorText<std::invalid_argument>([&] { SimplificationRound other(*last); }),
            "TopoSortVertex conflict!");
  EXPECT_EQ(round.takeReady(), last.get());
  EXPECT_EQ(round.takeReady(), nullptr);
  EXPECT_EQ(SimplificationRound(*last).takeReady(), last.get());
}

}  // namespace
}  // namespace tavrix
