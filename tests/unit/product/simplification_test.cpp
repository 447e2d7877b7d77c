// The simplification of whole programs, as graphs before and after: what more than one node
// decides. Its passes over one node are tested in simplify_node_test.cpp.
#include "ipt_compiler/simplification.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <string>

#include "ipt_compiler/export/ipt_lang.h"
#include "tests/support/graph_text.h"
#include "tests/unit/product/rule_texts.h"

namespace tavrix {
namespace {

using _IptIrNode::kNext;
using _IptIrNode::kNoMatch;
using test_support::cond;
using test_support::graphOf;
using test_support::graphText;
using test_support::target;
using test_support::wrongPredecessorCounts;

// What is left of a program with its exit. It is built by a call, so that no operand of a builder
// lives on and counts as a predecessor.
template <class Build>
std::string simplified(Build build) {
  const ProxyIrNode::Pointer exit = makeProxy();
  IptProg prog = build();
  prog = sequence({prog, {exit, exit}});
  simplify(prog.first, exit);
  EXPECT_TRUE(exit->isExit);
  EXPECT_EQ(wrongPredecessorCounts(prog.first), "");
  return graphText(prog.first);
}

TEST(Simplify, NeverBypassesTheFirstNode) {
  EXPECT_EQ(simplified([] { return makeEmptyProg(); }), "0: then 1\n1: exit end\n");
  EXPECT_EQ(simplified([] {
              return sequence({makeEmptyProg(), makeEmptyProg(), makeEmptyProg()});
            }),
            "0: then 1\n1: exit end\n");
}

TEST(Simplify, LeavesTheExitAsItIs) {
  const ProxyIrNode::Pointer first = graphOf("0: then 1\n1: \"-j A\" end\n");
  const ProxyIrNode::Pointer exit = first->successor[kNext];
  simplify(first, exit);
  EXPECT_EQ(graphText(first), "0: then 1\n1: \"-j A\" exit end\n");
}

TEST(Simplify, JoinsTargetsAcrossJunctions) {
  EXPECT_EQ(simplified([] {
              return sequence({target("-j A"), makeEmptyProg(), makeEmptyProg(), target("-j B")});
            }),
            "0: \"-j A\" \"-j B\" then 1\n1: exit end\n");
}

// While the first bypassed node counts, the conditions after it merge among themselves. So
// "-p b" has "-s c" with it, and no longer takes "-m e" along, when its turn comes.
TEST(Simplify, HoldsBypassedNodesUntilTheEndOfTheIteration) {
  const auto inner = [](const char* text, IptProg body) {
    return If(cond(text)).then({makeEmptyProg(), body});
  };
  EXPECT_EQ(
      simplified([&] {
        return sequence({makeEmptyProg(), target("-j T"),
                         inner("-s c -m d", inner("-p b -m e", inner("-s c", target("-j A"))))});
      }),
      "0: \"-j T\" if \"-p b -s c -m d\" then 1 else 3\n"
      "1: if \"-s c -m e\" then 2 else 3\n2: \"-j A\" then 3\n3: exit end\n");
}

TEST(Simplify, JoinsALongChainOfTargets) {
  constexpr std::size_t kLength = 100'000;
  IptProg prog = makeEmptyProg();
  for (std::size_t i = 0; i < kLength; ++i) prog = sequence({prog, target("-j A")});
  const ProxyIrNode::Pointer exit = makeProxy();
  prog = sequence({prog, {exit, exit}});
  simplify(prog.first, exit);
  EXPECT_EQ(prog.first->targets().size(), kLength);
  EXPECT_EQ(prog.first->successor[kNext], exit);
}

TEST(Simplify, KeepsALongChainOfAlternatives) {
  constexpr int kLength = 20'000;
  IptCond all = cond("-p a");
  for (int i = 0; i < kLength; ++i) all = all || cond("-p a");
  IptProg prog = If(all).then({target("-j A")});
  const ProxyIrNode::Pointer exit = makeProxy();
  prog = sequence({prog, {exit, exit}});
  simplify(prog.first, exit);
  int conditions = 0;
  for (const ProxyIrNode* node = prog.first.get(); node != exit.get();
       node = node->successor[kNoMatch].get()) {
    ++conditions;
  }
  EXPECT_EQ(conditions, kLength + 1);
}

}  // namespace
}  // namespace tavrix
