// The passes of the simplification over one node, each as a table of graphs before and after.
#include "ipt_compiler/simplification.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <sstream>
#include <string>

#include "tests/support/graph_text.h"

namespace tavrix {
namespace {

using _IptIrNode::kNext;
using test_support::graphOf;
using test_support::graphText;
using test_support::wrongPredecessorCounts;

// The passes over one node, in a round of their own.
bool runPasses(ProxyIrNode& node) {
  SimplificationRound round(node);
  return simplifyNode(node, round);
}

// A table of graphs: a line that says what happens, then the graph as the passes find it at node 0
// and, after "|", as they leave it, or the word "unchanged". What is bypassed dies with the round,
// so there are rounds until nothing changes.
void expectPasses(const std::string& table) {
  std::istringstream lines(table);
  std::string title;
  std::string before;
  std::string after;
  const auto check = [&] {
    if (before.empty()) return;
    SCOPED_TRACE(title);
    const ProxyIrNode::Pointer node = graphOf(before);
    ASSERT_EQ(wrongPredecessorCounts(node), "");
    const bool unchanged = after == "unchanged\n";
    const std::string expected = unchanged ? graphText(node) : after;
    EXPECT_EQ(runPasses(*node), !unchanged);
    while (runPasses(*node)) continue;
    EXPECT_EQ(graphText(node), expected);
    EXPECT_EQ(wrongPredecessorCounts(node), "");
  };
  for (std::string line; std::getline(lines, line);) {
    if (!line.starts_with("  ")) {
      check();
      title = line;
      before.clear();
      after.clear();
      continue;
    }
    const std::size_t bar = line.find(" | ");
    const std::string left = line.substr(2, bar == std::string::npos ? bar : bar - 2);
    if (const std::size_t end = left.find_last_not_of(' '); end != std::string::npos) {
      before += left.substr(0, end + 1) + "\n";
    }
    if (bar != std::string::npos) after += line.substr(bar + 3) + "\n";
  }
  check();
}

TEST(SimplifyNode, DropsAConditionWithEqualSuccessors) {
  expectPasses(R"(
matches go, and the no-match slot
  0: if "-p a -m b" then 1 else 1 | 0: then 1
  1: exit end                     | 1: exit end
targets stay
  0: "-j A" if "-p a" then 1 else 1 | 0: "-j A" then 1
  1: exit end                       | 1: exit end
both slots empty
  0: if "-p a" end | 0: end
the count does not matter, the items do
  0: if "-4" (count 0) then 1 else 1 | 0: then 1
  1: exit end                        | 1: exit end
without items there is no condition to drop
  0: (count 1) then 1 else 1 | unchanged
  1: exit end
that of the exit, too
  0: exit if "-p a" then 1 else 1 | 0: exit then 1
  1: exit end                     | 1: exit end
a single empty slot is a difference
  0: if "-p a" then 1 | unchanged
  1: exit end
different successors
  0: if "-p a" then 1 else 2 | unchanged
  1: "-j A" then 2
  2: exit end
)");
}

TEST(SimplifyNode, LeavesNoPlaceInADroppedCondition) {
  const ProxyIrNode::Pointer node = graphOf("0: if \"-p a\" then 1 else 1\n1: exit end\n");
  EXPECT_TRUE(runPasses(*node));
  EXPECT_EQ(node->matches().file, nullptr);
  EXPECT_EQ(node->matches().line, 0);
}

TEST(SimplifyNode, BypassesNodesThatOnlyPassControlOn) {
  expectPasses(R"(
as the next node
  0: then 1   | 0: then 1
  1: then 2   | 1: exit end
  2: exit end
where the condition does not hold
  0: if "-p a" then 1 else 2 | 0: if "-p a" then 1 else 2
  1: "-j A" then 3           | 1: "-j A" then 2
  2: then 3                  | 2: exit end
  3: exit end
both ways, and then the condition is useless
  0: if "-p a" then 1 else 2 | 0: then 1
  1: then 3                  | 1: exit end
  2: then 3
  3: exit end
several of them where the condition does not hold
  0: if "-p a" then 1 else 2 | 0: if "-p a" then 1 else 2
  1: "-j A" then 5           | 1: "-j A" then 2
  2: then 3                  | 2: exit end
  3: then 4
  4: then 5
  5: exit end
on this edge only, if another node leads there
  0: if "-p a" then 1 else 2 | 0: if "-p a" then 1 else 2
  1: then 3                  | 1: exit end
  2: "-j A" then 1           | 2: "-j A" then 3
  3: exit end                | 3: then 1
one that leads nowhere
  0: "-j A" then 1 | 0: "-j A" end
  1: end
a condition with equal successors
  0: then 1                  | 0: then 1
  1: if "-p a" then 2 else 2 | 1: exit end
  2: exit end
an element count of zero counts as no condition
  0: then 1                          | 0: then 1
  1: if "-4" (count 0) then 2 else 3 | 1: exit end
  2: exit end
  3: "-j A" then 2
a constant that never holds
  0: if "-p a" then 1 else 2 | 0: if "-p a" then 1 else 2
  1: then 3 else 4           | 1: exit end
  2: "-j A" then 3           | 2: "-j A" then 1
  3: exit end
  4: "-j B" then 3
not one with targets
  0: if "-p a" then 1 else 2 | unchanged
  1: "-j A" then 2
  2: "-j B" then 3
  3: exit end
not a condition
  0: if "-p a" then 1 else 2 | unchanged
  1: if "-p b" then 2 else 3
  2: "-j B" then 3
  3: exit end
not the exit, whatever is in it
  0: then 1      | unchanged
  1: exit then 2
  2: "-j A" end
not the exit where the condition does not hold
  0: if "-p a" then 1 else 2 | unchanged
  1: "-j A" then 2
  2: exit then 3
  3: "-j B" end
)");
}

TEST(SimplifyNode, AbsorbsTheTargetsOfTheNextNode) {
  expectPasses(R"(
in order, after its own
  0: "-j A" then 1        | 0: "-j A" "-j B" "-j C" then 1
  1: "-j B" "-j C" then 2 | 1: exit end
  2: exit end
one node after another
  0: then 1        | 0: "-j A" "-j B" then 1
  1: "-j A" then 2 | 1: exit end
  2: then 3
  3: "-j B" then 4
  4: exit end
with the condition after them
  0: then 1                         | 0: "-j A" if "-p a" then 1 else 2
  1: "-j A" if "-p a" then 2 else 3 | 1: "-j B" then 2
  2: "-j B" then 3                  | 2: exit end
  3: exit end
not after a condition
  0: if "-p a" then 1 else 2 | unchanged
  1: "-j A" then 2
  2: exit end
an element count of zero counts as no condition
  0: if "-4" (count 0) then 1 else 2 | 0: "-j A" if "-4" (count 0) then 1
  1: "-j A" then 2                   | 1: exit end
  2: exit end
not if another node leads there
  0: then 1 else 2 | unchanged
  1: "-j A" then 3
  2: "-j B" then 1
  3: exit end
not those of the exit
  0: then 1          | unchanged
  1: "-j A" exit end
not when both edges of the node lead there
  0: (count 1) then 1 else 1 | unchanged
  1: "-j A" then 2
  2: exit end
)");
}

TEST(SimplifyNode, MergesTheNextCondition) {
  expectPasses(R"(
of the same no-match node, in the order of kinds
  0: if "-m x" then 1 else 3 | 0: if "-p b -m x" then 1 else 2
  1: if "-p b" then 2 else 3 | 1: "-j A" then 2
  2: "-j A" then 3           | 2: exit end
  3: exit end
three of them
  0: if "-m x" then 1 else 4      | 0: if "-p b -s c -m x -m y" then 1 else 2
  1: if "-p b" then 2 else 4      | 1: "-j A" then 2
  2: if "-m y -s c" then 3 else 4 | 2: exit end
  3: "-j A" then 4
  4: exit end
into a node without condition, whatever its no-match node
  0: "-j A" then 1           | 0: "-j A" if "-p b" then 1 else 2
  1: if "-p b" then 2 else 3 | 1: "-j B" then 2
  2: "-j B" then 3           | 2: exit end
  3: exit end
into a constant, whose dead branch goes
  0: then 1 else 4           | 0: if "-p b" then 1 else 2
  1: if "-p b" then 2 else 3 | 1: "-j B" then 2
  2: "-j B" then 3           | 2: exit end
  3: exit end
  4: "-j DEAD" then 3
as far as both fit into one rule
  0: if "-p a" then 1 else 3      | 0: if "-p a -m x" then 1 else 3
  1: if "-p b -m x" then 2 else 3 | 1: if "-p b" then 2 else 3
  2: "-j A" then 3                | 2: "-j A" then 3
  3: exit end                     | 3: exit end
without any no-match node
  0: if "-p a" then 1 | 0: if "-p a -s b" then 1
  1: if "-s b" then 2 | 1: exit end
  2: exit end
where its no-match node is one of the junctions on the way
  0: if "-p a" then 1 else 3 | 0: if "-p a -s b" then 1 else 2
  1: if "-s b" then 2 else 5 | 1: "-j A" then 2
  2: "-j A" then 6           | 2: exit end
  3: then 4
  4: then 5
  5: then 6
  6: exit end
not at all if nothing can move
  0: if "-p a" then 1 else 3 | unchanged
  1: if "-p b" then 2 else 3
  2: "-j A" then 3
  3: exit end
not with another no-match node
  0: if "-p a" then 1 else 3 | unchanged
  1: if "-s b" then 2 else 4
  2: "-j A" then 4
  3: "-j B" then 4
  4: exit end
not if another node leads there
  0: then 1 else 3           | unchanged
  1: if "-s b" then 2 else 4
  2: "-j A" then 4
  3: if "-d c" then 1 else 4
  4: exit end
not when both edges of the node lead there
  0: (count 1) then 1 else 1 | unchanged
  1: if "-s b" then 2 else 3
  2: "-j A" then 3
  3: exit end
not one with targets
  0: if "-p a" then 1 else 3        | unchanged
  1: "-j A" if "-s b" then 2 else 3
  2: "-j B" then 3
  3: exit end
not that of the exit
  0: if "-p a" then 1 else 2 | unchanged
  1: exit if "-s b" then 2
  2: "-j B" end
)");
}

// A second selector of the family takes a count away from the node that keeps the first one: from
// then on that node counts as one without condition, and the emptied one as a condition.
TEST(SimplifyNode, KeepsTheCountsOfADroppedDuplicate) {
  expectPasses(R"(
the first has an item and no count, the second the other way round
  0: if "-4" then 1 else 3 | 0: if "-4" (count 0) then 1 else 3
  1: if "-4" then 2 else 3 | 1: (count 1) then 2 else 3
  2: "-j A" then 3         | 2: "-j A" then 3
  3: exit end              | 3: exit end
with another option the count stays above zero
  0: if "-p a -4" then 1 else 3 | 0: if "-4 -p a" (count 1) then 1 else 3
  1: if "! -4" then 2 else 3    | 1: (count 1) then 2 else 3
  2: "-j A" then 3              | 2: "-j A" then 3
  3: exit end                   | 3: exit end
)");
}

// What one run of the passes makes of a graph, and whether it reports a change.
void expectOneRun(const std::string& before, bool reported, const std::string& after) {
  const ProxyIrNode::Pointer node = graphOf(before);
  EXPECT_EQ(runPasses(*node), reported) << before;
  EXPECT_EQ(graphText(node), after);
  EXPECT_EQ(wrongPredecessorCounts(node), "");
}

// Taking over the no-match node is no change by itself: only a match that moved is.
TEST(SimplifyNode, ReportsNoChangeWhenOnlyTheNoMatchNodeIsTakenOver) {
  const std::string rest = "1: (count 1) then 2 else 3\n2: \"-j A\" then 3\n3: exit end\n";
  expectOneRun("0: then 1\n" + rest, false, "0: then 1 else 3\n" + rest);
}

TEST(SimplifyNode, MovesModulesAsABlockWithoutReportingAChange) {
  const std::string rest = "2: \"-j A\" then 3\n3: exit end\n";
  const std::string after = "0: if \"-m a -m b\" then 1 else 3\n1: then 2\n" + rest;
  expectOneRun("0: if \"-m a\" then 1 else 3\n1: if \"-m b\" then 2 else 3\n" + rest, false, after);
  expectOneRun(after, true, "0: if \"-m a -m b\" then 1 else 2\n1: \"-j A\" then 2\n2: exit end\n");
}

// The bypass leads the no-match edge of node 0 past node 4 to the exit, and the merge takes it back
// from node 1. What they leave is a change when the merge moved modules, and none when it did not.
TEST(SimplifyNode, CountsAnUndoneBypassOnlyWhenModulesMoved) {
  const std::string rest = " then 2 else 4\n2: \"-j A\" then 3\n3: exit end\n4: then 3\n";
  expectOneRun("0: if \"-4 -m a\" (count 0) then 1 else 4\n1: if \"-m b\"" + rest, true,
               "0: if \"-4 -m a -m b\" (count 1) then 1 else 2\n1: \"-j A\" then 2\n2: exit end\n");
  const std::string stuck = "0: if \"-p a\" (count 0) then 1 else 4\n1: if \"-p b\"" + rest;
  expectOneRun(stuck, false, stuck);
}

TEST(SimplifyNode, BypassesALongChainThatLeadsNowhere) {
  const ProxyIrNode::Pointer node = makeProxy();
  ProxyIrNode* last = node.get();
  for (int i = 0; i < 20; ++i) {
    last->setNext(makeProxy());
    last = last->successor[kNext].get();
  }
  EXPECT_TRUE(runPasses(*node));
  EXPECT_EQ(node->successor[kNext], nullptr);
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
    EXPECT_TRUE(node->targets().empty() && node->matches().items.empty());

    proxy.reset();
    EXPECT_EQ(following->predecessorCount, 1U);
    EXPECT_TRUE(runPasses(*node));
    EXPECT_FALSE(node->targets().empty() && node->matches().items.empty());
  }
}

}  // namespace
}  // namespace tavrix
