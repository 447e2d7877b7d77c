// The simplification of whole programs, as graphs before and after; its passes over one node are
// tested in simplify_node_test.cpp.
#include "ipt_compiler/simplification.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <string>
#include <utility>

#include "ipt_compiler/export/ipt_lang.h"
#include "tests/support/graph_text.h"
#include "tests/unit/product/random_program.h"
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

TEST(Simplify, LeavesAnEmptyProgramAndItsExit) {
  EXPECT_EQ(simplified([] { return makeEmptyProg(); }), "0: then 1\n1: exit end\n");
}

TEST(Simplify, NeverBypassesTheFirstNode) {
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

TEST(Simplify, OfAnIfBlock) {
  EXPECT_EQ(simplified([] { return If(cond("-p a")).then({target("-j A")}); }),
            "0: if \"-p a\" then 1 else 2\n1: \"-j A\" then 2\n2: exit end\n");
  EXPECT_EQ(
      simplified([] { return If(cond("-p a")).then({target("-j A")}).orElse({target("-j B")}); }),
      "0: if \"-p a\" then 1 else 3\n1: \"-j A\" then 2\n2: exit end\n3: \"-j B\" then 2\n");
  EXPECT_EQ(simplified([] { return If(cond("-p a")); }), "0: then 1\n1: exit end\n");
}

TEST(Simplify, MergesConditionsWithTheSameNoMatchNode) {
  EXPECT_EQ(simplified([] { return If(cond("-m x") && cond("-p a")).then({target("-j A")}); }),
            "0: if \"-p a -m x\" then 1 else 2\n1: \"-j A\" then 2\n2: exit end\n");
  EXPECT_EQ(
      simplified([] { return If(cond("-m x")).then({If(cond("-p a")).then({target("-j A")})}); }),
      "0: if \"-p a -m x\" then 1 else 2\n1: \"-j A\" then 2\n2: exit end\n");
}

TEST(Simplify, RemovesConstants) {
  const auto ifElse = [](IptCond condition) {
    return If(condition).then({target("-j A")}).orElse({target("-j B")});
  };
  EXPECT_EQ(simplified([&] {
              return sequence({makeEmptyProg(), ifElse(makeConstCond(true))});
            }),
            "0: \"-j A\" then 1\n1: exit end\n");
  EXPECT_EQ(simplified([&] {
              return sequence({makeEmptyProg(), ifElse(makeConstCond(false))});
            }),
            "0: \"-j B\" then 1\n1: exit end\n");
  EXPECT_EQ(simplified([&] { return ifElse(makeConstCond(true)); }),
            "0: \"-j A\" then 1\n1: exit end\n");
  EXPECT_EQ(simplified([&] { return ifElse(makeConstCond(true) && cond("-p a")); }),
            "0: if \"-p a\" then 1 else 3\n1: \"-j A\" then 2\n2: exit end\n3: \"-j B\" then 2\n");
  EXPECT_EQ(simplified([&] { return ifElse(cond("-p a") || makeConstCond(true)); }),
            "0: \"-j A\" then 1\n1: exit end\n");
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

// Pass by pass and program by program: nothing is left that a pass could change, and every count
// is what a recount gives.
TEST(Simplify, LeavesExactCountsAndNothingToDoInRandomPrograms) {
  for (std::size_t size = 1; size <= 12; ++size) {
    for (unsigned seed = 1; seed <= 60; ++seed) {
      const test_support::RandomProgram program(seed, size);
      SCOPED_TRACE("size " + std::to_string(size) + ", seed " + std::to_string(seed) + ": " +
                   program.text());
      const ProxyIrNode::Pointer exit = makeProxy();
      const IptProg prog = sequence({program.build(), {exit, exit}});
      simplify(prog.first, exit);
      ASSERT_EQ(wrongPredecessorCounts(prog.first), "");
      const std::string once = graphText(prog.first);
      simplify(prog.first, exit);
      ASSERT_EQ(graphText(prog.first), once);
    }
  }
}

TEST(Simplify, JoinsALongChainOfTargets) {
  constexpr std::size_t kLength = 100'000;
  IptProg prog = makeEmptyProg();
  for (std::size_t i = 0; i < kLength; ++i) prog = sequence({prog, target("-j A")});
  const ProxyIrNode::Pointer exit = makeProxy();
  prog = sequence({prog, {exit, exit}});
  simplify(prog.first, exit);
  EXPECT_EQ(prog.first->targets.size(), kLength);
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
