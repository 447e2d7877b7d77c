// The passes of the simplification over one node, each as a table of graphs before and after.
#include "ipt_compiler/simplification.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/graph_text.h"

namespace tavrix {
namespace {

using _IptIrNode::kNext;
using _IptIrNode::kNoMatch;
using test_support::graphOf;
using test_support::graphText;
using test_support::wrongPredecessorCounts;

// The passes over one node, by itself.
bool runPasses(ProxyIrNode& node) {
  JunctionChains junctions;
  return simplifyNode(node, junctions);
}

struct PassCase {
  const char* what;
  const char* before;
  const char* after;  // empty: nothing changes
};

// Runs the passes on node 0. Nothing else holds the other nodes, so what is bypassed dies at once.
void expectPasses(const std::vector<PassCase>& cases) {
  for (const PassCase& passCase : cases) {
    SCOPED_TRACE(passCase.what);
    const ProxyIrNode::Pointer node = graphOf(passCase.before);
    ASSERT_EQ(wrongPredecessorCounts(node), "");
    const std::string before = graphText(node);
    const bool unchanged = *passCase.after == '\0';
    EXPECT_EQ(runPasses(*node), !unchanged);
    EXPECT_EQ(graphText(node), unchanged ? before : passCase.after);
    EXPECT_EQ(wrongPredecessorCounts(node), "");
    EXPECT_FALSE(runPasses(*node)) << "not simplified until nothing changes";
  }
}

TEST(SimplifyNode, DropsAConditionWithEqualSuccessors) {
  expectPasses({
      {"matches go, and the no-match slot", R"(0: if "-p a -m b" then 1 else 1
1: exit end)",
       "0: then 1\n1: exit end\n"},
      {"targets stay", R"(0: "-j A" if "-p a" then 1 else 1
1: exit end)",
       "0: \"-j A\" then 1\n1: exit end\n"},
      {"both slots empty", R"(0: if "-p a" end)", "0: end\n"},
      {"the count does not matter, the items do", R"(0: if "-4" (count 0) then 1 else 1
1: exit end)",
       "0: then 1\n1: exit end\n"},
      {"without items there is no condition to drop", R"(0: (count 1) then 1 else 1
1: exit end)",
       ""},
      {"that of the exit, too", R"(0: exit if "-p a" then 1 else 1
1: exit end)",
       "0: exit then 1\n1: exit end\n"},
      {"a single empty slot is a difference", R"(0: if "-p a" then 1
1: exit end)",
       ""},
      {"different successors", R"(0: if "-p a" then 1 else 2
1: "-j A" then 2
2: exit end)",
       ""},
  });
}

TEST(SimplifyNode, LeavesNoPlaceInADroppedCondition) {
  const ProxyIrNode::Pointer node = graphOf("0: if \"-p a\" then 1 else 1\n1: exit end\n");
  EXPECT_TRUE(runPasses(*node));
  EXPECT_EQ(node->matches.file, nullptr);
  EXPECT_EQ(node->matches.line, 0);
  EXPECT_EQ(node->matches.elementCount, 0U);
  EXPECT_EQ(node->successor[kNoMatch], nullptr);
  EXPECT_EQ(node->successor[kNext]->predecessorCount, 1U);
}

TEST(SimplifyNode, BypassesNodesThatOnlyPassControlOn) {
  expectPasses({
      {"as the next node", R"(0: then 1
1: then 2
2: exit end)",
       "0: then 1\n1: exit end\n"},
      {"several of them", R"(0: then 1
1: then 2
2: then 3
3: then 4
4: exit end)",
       "0: then 1\n1: exit end\n"},
      {"where the condition does not hold", R"(0: if "-p a" then 1 else 2
1: "-j A" then 3
2: then 3
3: exit end)",
       "0: if \"-p a\" then 1 else 2\n1: \"-j A\" then 2\n2: exit end\n"},
      {"both ways, and then the condition is useless", R"(0: if "-p a" then 1 else 2
1: then 3
2: then 3
3: exit end)",
       "0: then 1\n1: exit end\n"},
      {"several of them where the condition does not hold", R"(0: if "-p a" then 1 else 2
1: "-j A" then 5
2: then 3
3: then 4
4: then 5
5: exit end)",
       "0: if \"-p a\" then 1 else 2\n1: \"-j A\" then 2\n2: exit end\n"},
      {"on this edge only, if another node leads there", R"(0: if "-p a" then 1 else 2
1: then 3
2: "-j A" then 1
3: exit end)",
       "0: if \"-p a\" then 1 else 2\n1: exit end\n2: \"-j A\" then 3\n3: then 1\n"},
      {"one that leads nowhere", R"(0: "-j A" then 1
1: end)",
       "0: \"-j A\" end\n"},
      {"a condition with equal successors", R"(0: then 1
1: if "-p a" then 2 else 2
2: exit end)",
       "0: then 1\n1: exit end\n"},
      {"an element count of zero counts as no condition", R"(0: then 1
1: if "-4" (count 0) then 2 else 3
2: exit end
3: "-j A" then 2)",
       "0: then 1\n1: exit end\n"},
      {"a constant that never holds", R"(0: if "-p a" then 1 else 2
1: then 3 else 4
2: "-j A" then 3
3: exit end
4: "-j B" then 3)",
       "0: if \"-p a\" then 1 else 2\n1: exit end\n2: \"-j A\" then 1\n"},
      {"not one with targets", R"(0: if "-p a" then 1 else 2
1: "-j A" then 2
2: "-j B" then 3
3: exit end)",
       ""},
      {"not a condition", R"(0: if "-p a" then 1 else 2
1: if "-p b" then 2 else 3
2: "-j B" then 3
3: exit end)",
       ""},
      {"not the exit, whatever is in it", R"(0: then 1
1: exit then 2
2: "-j A" end)",
       ""},
      {"not the exit where the condition does not hold", R"(0: if "-p a" then 1 else 2
1: "-j A" then 2
2: exit then 3
3: "-j B" end)",
       ""},
  });
}

TEST(SimplifyNode, AbsorbsTheTargetsOfTheNextNode) {
  expectPasses({
      {"in order, after its own", R"(0: "-j A" then 1
1: "-j B" "-j C" then 2
2: exit end)",
       "0: \"-j A\" \"-j B\" \"-j C\" then 1\n1: exit end\n"},
      {"one node after another", R"(0: then 1
1: "-j A" then 2
2: then 3
3: "-j B" then 4
4: exit end)",
       "0: \"-j A\" \"-j B\" then 1\n1: exit end\n"},
      {"with the condition after them", R"(0: then 1
1: "-j A" if "-p a" then 2 else 3
2: "-j B" then 3
3: exit end)",
       "0: \"-j A\" if \"-p a\" then 1 else 2\n1: \"-j B\" then 2\n2: exit end\n"},
      {"not after a condition", R"(0: if "-p a" then 1 else 2
1: "-j A" then 2
2: exit end)",
       ""},
      {"an element count of zero counts as no condition", R"(0: if "-4" (count 0) then 1 else 2
1: "-j A" then 2
2: exit end)",
       "0: \"-j A\" if \"-4\" (count 0) then 1\n1: exit end\n"},
      {"not if another node leads there", R"(0: then 1 else 2
1: "-j A" then 3
2: "-j B" then 1
3: exit end)",
       ""},
      {"not those of the exit", R"(0: then 1
1: "-j A" exit end)",
       ""},
      {"not when both edges of the node lead there", R"(0: (count 1) then 1 else 1
1: "-j A" then 2
2: exit end)",
       ""},
  });
}

TEST(SimplifyNode, MergesTheNextCondition) {
  expectPasses({
      {"of the same no-match node, in the order of kinds", R"(0: if "-m x" then 1 else 3
1: if "-p b" then 2 else 3
2: "-j A" then 3
3: exit end)",
       "0: if \"-p b -m x\" then 1 else 2\n1: \"-j A\" then 2\n2: exit end\n"},
      {"three of them", R"(0: if "-m x" then 1 else 4
1: if "-p b" then 2 else 4
2: if "-m y -s c" then 3 else 4
3: "-j A" then 4
4: exit end)",
       "0: if \"-p b -s c -m x -m y\" then 1 else 2\n1: \"-j A\" then 2\n2: exit end\n"},
      {"into a node without condition, whatever its no-match node", R"(0: "-j A" then 1
1: if "-p b" then 2 else 3
2: "-j B" then 3
3: exit end)",
       "0: \"-j A\" if \"-p b\" then 1 else 2\n1: \"-j B\" then 2\n2: exit end\n"},
      {"into a constant, whose dead branch goes", R"(0: then 1 else 4
1: if "-p b" then 2 else 3
2: "-j B" then 3
3: exit end
4: "-j DEAD" then 3)",
       "0: if \"-p b\" then 1 else 2\n1: \"-j B\" then 2\n2: exit end\n"},
      {"as far as both fit into one rule", R"(0: if "-p a" then 1 else 3
1: if "-p b -m x" then 2 else 3
2: "-j A" then 3
3: exit end)",
       "0: if \"-p a -m x\" then 1 else 3\n1: if \"-p b\" then 2 else 3\n2: \"-j A\" then 3\n"
       "3: exit end\n"},
      {"without any no-match node", R"(0: if "-p a" then 1
1: if "-s b" then 2
2: exit end)",
       "0: if \"-p a -s b\" then 1\n1: exit end\n"},
      {"where its no-match node is one of the junctions on the way", R"(0: if "-p a" then 1 else 3
1: if "-s b" then 2 else 4
2: "-j A" then 6
3: then 4
4: then 5
5: then 6
6: exit end)",
       "0: if \"-p a -s b\" then 1 else 2\n1: \"-j A\" then 2\n2: exit end\n"},
      {"not at all if nothing can move", R"(0: if "-p a" then 1 else 3
1: if "-p b" then 2 else 3
2: "-j A" then 3
3: exit end)",
       ""},
      {"modules move as a block", R"(0: if "-m a" then 1 else 3
1: if "-p b -m b" then 2 else 3
2: "-j A" then 3
3: exit end)",
       "0: if \"-p b -m a -m b\" then 1 else 2\n1: \"-j A\" then 2\n2: exit end\n"},
      {"not with another no-match node", R"(0: if "-p a" then 1 else 3
1: if "-s b" then 2 else 4
2: "-j A" then 4
3: "-j B" then 4
4: exit end)",
       ""},
      {"not if another node leads there", R"(0: then 1 else 3
1: if "-s b" then 2 else 4
2: "-j A" then 4
3: if "-d c" then 1 else 4
4: exit end)",
       ""},
      {"not when both edges of the node lead there", R"(0: (count 1) then 1 else 1
1: if "-s b" then 2 else 3
2: "-j A" then 3
3: exit end)",
       ""},
      {"not one with targets", R"(0: if "-p a" then 1 else 3
1: "-j A" if "-s b" then 2 else 3
2: "-j B" then 3
3: exit end)",
       ""},
      {"not that of the exit", R"(0: if "-p a" then 1 else 2
1: exit if "-s b" then 2
2: "-j B" end)",
       ""},
  });
}

// A second selector of the family takes a count away from the node that keeps the first one: from
// then on that node counts as one without condition, and the emptied one as a condition.
TEST(SimplifyNode, KeepsTheCountsOfADroppedDuplicate) {
  expectPasses({
      {"the first has an item and no count, the second the other way round",
       R"(0: if "-4" then 1 else 3
1: if "-4" then 2 else 3
2: "-j A" then 3
3: exit end)",
       "0: if \"-4\" (count 0) then 1 else 3\n1: (count 1) then 2 else 3\n2: \"-j A\" then 3\n"
       "3: exit end\n"},
      {"with another option the count stays above zero", R"(0: if "-p a -4" then 1 else 3
1: if "! -4" then 2 else 3
2: "-j A" then 3
3: exit end)",
       "0: if \"-4 -p a\" (count 1) then 1 else 3\n1: (count 1) then 2 else 3\n2: \"-j A\" then "
       "3\n3: exit end\n"},
  });
}

// Taking over the no-match node is no change by itself: only a match that moved is.
TEST(SimplifyNode, ReportsNoChangeWhenOnlyTheNoMatchNodeIsTakenOver) {
  const ProxyIrNode::Pointer node =
      graphOf("0: then 1\n1: (count 1) then 2 else 3\n2: \"-j A\" then 3\n3: exit end\n");
  EXPECT_FALSE(runPasses(*node));
  EXPECT_EQ(graphText(node),
            "0: then 1 else 3\n1: (count 1) then 2 else 3\n2: \"-j A\" then 3\n3: exit end\n");
  EXPECT_EQ(wrongPredecessorCounts(node), "");
}

TEST(SimplifyNode, MovesModulesAsABlockWithoutReportingAChange) {
  const ProxyIrNode::Pointer node = graphOf(
      "0: if \"-m a\" then 1 else 3\n1: if \"-m b\" then 2 else 3\n2: \"-j A\" then 3\n"
      "3: exit end\n");
  EXPECT_FALSE(runPasses(*node));
  EXPECT_EQ(graphText(node),
            "0: if \"-m a -m b\" then 1 else 3\n1: then 2\n2: \"-j A\" then 3\n3: exit end\n");
  EXPECT_TRUE(runPasses(*node));
}

// The bypass leads the no-match edge of node 0 past node 3 to the exit, and the merge takes it back
// from node 1. What they leave is a change when the merge moved modules, and none when it did not.
TEST(SimplifyNode, CountsAnUndoneBypassOnlyWhenModulesMoved) {
  const std::string rest = " then 2 else 3\n2: \"-j A\" then 4\n3: then 4\n4: exit end\n";
  const ProxyIrNode::Pointer moved =
      graphOf("0: if \"-4 -m a\" (count 0) then 1 else 3\n1: if \"-m b\"" + rest);
  EXPECT_TRUE(runPasses(*moved));
  EXPECT_EQ(graphText(moved),
            "0: if \"-4 -m a -m b\" (count 1) then 1 else 2\n1: \"-j A\" then 2\n2: exit end\n");

  const ProxyIrNode::Pointer stuck =
      graphOf("0: if \"-p a\" (count 0) then 1 else 3\n1: if \"-p b\"" + rest);
  const std::string before = graphText(stuck);
  EXPECT_FALSE(runPasses(*stuck));
  EXPECT_EQ(graphText(stuck), before);
}

// A bypassed node is a predecessor as long as it exists: what follows it is merged only when
// nothing holds it any more.
TEST(SimplifyNode, CountsABypassedNodeThatSomebodyHolds) {
  for (const char* next : {"\"-j A\" then 3", "if \"-p b\" then 3 else 4"}) {
    const ProxyIrNode::Pointer node = graphOf("0: then 1\n1: then 2\n2: " + std::string(next) +
                                              "\n3: \"-j B\" then 4\n4: exit end\n");
    ProxyIrNode::Pointer proxy = node->successor[kNext];
    const ProxyIrNode::Pointer following = proxy->successor[kNext];
    EXPECT_TRUE(runPasses(*node));
    EXPECT_EQ(node->successor[kNext], following);
    EXPECT_EQ(following->predecessorCount, 2U);
    EXPECT_TRUE(node->targets.empty() && node->matches.items.empty());

    proxy.reset();
    EXPECT_EQ(following->predecessorCount, 1U);
    EXPECT_TRUE(runPasses(*node));
    EXPECT_FALSE(node->targets.empty() && node->matches.items.empty());
  }
}

}  // namespace
}  // namespace tavrix
