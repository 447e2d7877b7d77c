// Chain generation beside its texts, which equivalence/literal_test.cpp compares: the calls, graphs
// that only a test wires, and sizes.
#include "ipt_compiler/chain_generation.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "ipt_compiler/export/ipt_lang.h"
#include "tests/support/graph_text.h"
#include "tests/support/rule_source.h"
#include "tests/unit/product/error_text.h"
#include "tests/unit/product/rule_texts.h"

namespace tavrix {
namespace {

using test_support::buildProgram;
using test_support::compiledText;
using test_support::cond;
using test_support::errorText;
using test_support::graphText;
using test_support::target;

std::string generate(IptProg& prog, std::uint32_t& counter) {
  std::ostringstream out;
  compileHook(counter, out, prog, "FORWARD", false);
  return out.str();
}

// Written without the tag that ends every rule, which is added here.
std::string tagged(const std::string& rules) {
  std::istringstream lines(rules);
  std::string text;
  for (std::string line; std::getline(lines, line);) {
    text += line + (line.starts_with(':') ? "" : " -m comment --comment ipt_compiler") + "\n";
  }
  return text;
}

// Whether the next node can be folded depends on its count: it is taken for one without condition.
TEST(CompileHook, FoldsByTheCountOfAListWhoseItemsDisagree) {
  const auto build = [] {
    const ProxyIrNode::Pointer first = test_support::graphOf(
        "0: if \"-p a\" then 1 else 2\n1: \"-j A\" if \"-4\" (count 0) then 2 else 3\n"
        "2: end\n3: \"-j B\" then 2\n");
    return IptProg{first, first->successor[0]};
  };
  EXPECT_EQ(compiledText(build(), "FORWARD"), tagged("-A FORWARD -p a -j A\n"));
}

// What is folded into the rule would lose the way around the second test.
TEST(CompileHook, JumpsToAChainForATargetAndATestThatMayReturn) {
  EXPECT_EQ(compiledText(buildProgram({"IF", "-4", "THEN", "-j A", "IF", "NOT -p tcp", "THEN",
                                       "-j B", "FI", "FI"}),
                         "FORWARD"),
            tagged(":ipt_compiler_0 - [0:0]\n"
                   "-A FORWARD -4 -j ipt_compiler_0\n"
                   "-A ipt_compiler_0 -j A\n"
                   "-A ipt_compiler_0 -p tcp -j RETURN\n"
                   "-A ipt_compiler_0 -j B\n"));
}

TEST(CompileHook, CountsUpToTheLargestNumber) {
  std::uint32_t counter = 4294967295U;
  IptProg prog = If(cond("-4")).then({target("-j A"), target("-j B")});
  EXPECT_EQ(generate(prog, counter),
            tagged(":ipt_compiler_4294967295 - [0:0]\n-A FORWARD -4 -j ipt_compiler_4294967295\n"
                   "-A ipt_compiler_4294967295 -j A\n-A ipt_compiler_4294967295 -j B\n"));
  EXPECT_EQ(counter, 0U);
}

TEST(CompileHook, ExtendsTheProgramByAnExitNode) {
  IptProg prog = target("-j A");
  const ProxyIrNode::Pointer last = prog.last;
  std::uint32_t counter = 0;
  generate(prog, counter);
  EXPECT_EQ(prog.first, last);
  EXPECT_NE(prog.last, last);
  EXPECT_TRUE(prog.last->isExit);
  EXPECT_EQ(graphText(prog.first), "0: \"-j A\" then 1\n1: exit end\n");
}

TEST(CompileHook, LeavesNoScratchDataInTheGraph) {
  IptProg prog = If(cond("-4")).then({target("-j A")}).orElse({target("-j B")});
  std::uint32_t counter = 0;
  generate(prog, counter);
  for (const ProxyIrNode::Pointer& node :
       {prog.first, prog.first->successor[0], prog.first->successor[1], prog.last}) {
    EXPECT_EQ(node->topoMembership, 0U);
    EXPECT_EQ(node->rulesIndex, ProxyIrNode::kNowhere);
  }
}

TEST(CompileHook, LetsGoOfTheNodesThatItHasWhenOneBelongsToAnotherAnalysis) {
  const IptProg held = target("-j A");
  held.first->rulesIndex = 3;
  IptProg prog = If(cond("-4")).then({held});
  std::uint32_t counter = 0;
  EXPECT_EQ(errorText<std::invalid_argument>([&] { generate(prog, counter); }),
            "DfsVertex conflict!");
  EXPECT_EQ(prog.first->rulesIndex, ProxyIrNode::kNowhere);
}

TEST(CompileHook, WritesLongListsOfStatements) {
  constexpr std::size_t kLength = 20'000;
  std::vector<std::string> tokens;
  for (std::size_t i = 0; i < kLength; ++i) {
    tokens.insert(tokens.end(), {"IF", "-p a", "THEN", "-j A", "FI"});
  }
  const std::string rule = tagged("-A FORWARD -p a -j A\n");
  std::string all;
  for (std::size_t i = 0; i < kLength; ++i) all += rule;
  EXPECT_EQ(compiledText(buildProgram(tokens), "FORWARD"), all);
}

TEST(CompileHook, WritesDeepNestsAsChainsInChains) {
  constexpr int kDepth = 1'000;
  std::vector<std::string> tokens;
  for (int i = 0; i < kDepth; ++i) tokens.insert(tokens.end(), {"IF", "-p a", "THEN", "-j A"});
  tokens.insert(tokens.end(), kDepth, "FI");
  std::string all;
  std::string chain = "FORWARD";
  for (int i = 0; i + 1 < kDepth; ++i) {
    const std::string inner = "ipt_compiler_" + std::to_string(i);
    all +=
        ":" + inner + " - [0:0]\n-A " + chain + " -p a -j " + inner + "\n-A " + inner + " -j A\n";
    chain = inner;
  }
  all += "-A " + chain + " -p a -j A\n";
  EXPECT_EQ(compiledText(buildProgram(tokens), "FORWARD"), tagged(all));
}

}  // namespace
}  // namespace tavrix
