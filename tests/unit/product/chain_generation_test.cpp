// Chain generation: whole texts of small programs, blanks included.
#include "ipt_compiler/chain_generation.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <sstream>
#include <stdexcept>
#include <string>
#include <utility>

#include "ipt_compiler/export/ipt_lang.h"
#include "tests/support/graph_text.h"
#include "tests/unit/product/error_text.h"
#include "tests/unit/product/random_program.h"
#include "tests/unit/product/rule_texts.h"

namespace tavrix {
namespace {

using test_support::cond;
using test_support::errorText;
using test_support::graphText;
using test_support::target;

std::string generate(IptProg& prog, std::uint32_t& counter, bool ownChain = false) {
  std::ostringstream out;
  compileHook(counter, out, prog, "FORWARD", ownChain);
  return out.str();
}

// The text of the program that `build` makes. A call, so that no operand of a builder lives on and
// counts as a predecessor.
template <class Build>
std::string generated(Build build, bool ownChain = false) {
  std::uint32_t counter = 0;
  IptProg prog = build();
  return generate(prog, counter, ownChain);
}

// A list of statements as in the configuration.
std::string generatedFrom(const IptTokens& tokens, bool ownChain = false) {
  return generated(
      [&tokens] {
        IptProg all = makeEmptyProg();
        for (auto position = tokens.begin(); position != tokens.end();) {
          IptProg statement = parseSerializedTargets(position, tokens.end());
          all = sequence({all, statement});
        }
        return all;
      },
      ownChain);
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

TEST(CompileHook, WritesNothingForAnEmptyProgram) {
  EXPECT_EQ(generated(makeEmptyProg), "");
  EXPECT_EQ(generated(makeEmptyProg, true), "");
  EXPECT_EQ(generatedFrom({"IF", "-4", "THEN", "FI", "IF", "-6", "THEN", "ELSE", "FI"}), "");
}

TEST(CompileHook, WritesTargetsInOrderIntoTheHookedChain) {
  EXPECT_EQ(generatedFrom({"-j  MARK --set-mark 1", "-m tavrix-xtcounter --inc 3"}),
            "-A FORWARD -j MARK --set-mark 1 -m comment --comment ipt_compiler\n"
            "-A FORWARD -m tavrix-xtcounter --inc 3 -m comment --comment ipt_compiler\n");
}

TEST(CompileHook, FoldsAConditionAndItsOneTargetIntoOneRule) {
  EXPECT_EQ(generatedFrom({"IF", "-m m -p tcp", "THEN", "-j A", "FI"}),
            "-A FORWARD -p tcp -m m -j A -m comment --comment ipt_compiler\n");
  EXPECT_EQ(generatedFrom({"IF", "-4", "THEN", "-j A", "FI", "IF", "-6", "THEN", "-j B", "FI"}),
            tagged("-A FORWARD -4 -j A\n-A FORWARD -6 -j B\n"));
}

TEST(CompileHook, JumpsToAChainForTwoTargets) {
  EXPECT_EQ(generatedFrom({"IF", "-p tcp", "THEN", "-j A", "-j B", "FI"}),
            ":ipt_compiler_0 - [0:0]\n"
            "-A FORWARD -p tcp -j ipt_compiler_0 -m comment --comment ipt_compiler\n"
            "-A ipt_compiler_0 -j A -m comment --comment ipt_compiler\n"
            "-A ipt_compiler_0 -j B -m comment --comment ipt_compiler\n");
}

// What is folded into the rule would lose the way around the second test.
TEST(CompileHook, JumpsToAChainForATargetAndATestThatMayReturn) {
  EXPECT_EQ(
      generatedFrom({"IF", "-4", "THEN", "-j A", "IF", "NOT -p tcp", "THEN", "-j B", "FI", "FI"}),
      tagged(":ipt_compiler_0 - [0:0]\n"
             "-A FORWARD -4 -j ipt_compiler_0\n"
             "-A ipt_compiler_0 -j A\n"
             "-A ipt_compiler_0 -p tcp -j RETURN\n"
             "-A ipt_compiler_0 -j B\n"));
}

TEST(CompileHook, PutsBothBranchesIntoAWrapperChain) {
  EXPECT_EQ(generatedFrom({"IF", "-p tcp", "THEN", "-j A", "ELSE", "-j B", "FI"}),
            ":ipt_compiler_0 - [0:0]\n"
            "-A FORWARD -j ipt_compiler_0 -m comment --comment ipt_compiler\n"
            ":ipt_compiler_1 - [0:0]\n"
            "-A ipt_compiler_0 -p tcp -g ipt_compiler_1 -m comment --comment ipt_compiler\n"
            "-A ipt_compiler_0 -j B -m comment --comment ipt_compiler\n"
            "-A ipt_compiler_1 -j A -m comment --comment ipt_compiler\n");
}

TEST(CompileHook, NeedsNoWrapperInAChainOfItsOwn) {
  EXPECT_EQ(generatedFrom({"IF", "-p tcp", "THEN", "-j A", "ELSE", "-j B", "FI"}, true),
            tagged(":ipt_compiler_0 - [0:0]\n"
                   "-A FORWARD -p tcp -g ipt_compiler_0\n"
                   "-A FORWARD -j B\n"
                   "-A ipt_compiler_0 -j A\n"));
  // Unless something follows in it.
  EXPECT_EQ(generatedFrom({"IF", "-p tcp", "THEN", "-j A", "ELSE", "-j B", "FI", "-j C"}, true),
            tagged(":ipt_compiler_0 - [0:0]\n"
                   "-A FORWARD -j ipt_compiler_0\n"
                   ":ipt_compiler_1 - [0:0]\n"
                   "-A ipt_compiler_0 -p tcp -g ipt_compiler_1\n"
                   "-A ipt_compiler_0 -j B\n"
                   "-A ipt_compiler_1 -j A\n"
                   "-A FORWARD -j C\n"));
}

TEST(CompileHook, ReturnsWhereTheMatchLeadsToTheJoin) {
  EXPECT_EQ(generatedFrom({"IF", "NOT -p tcp", "THEN", "-j A", "FI"}),
            ":ipt_compiler_0 - [0:0]\n"
            "-A FORWARD -j ipt_compiler_0 -m comment --comment ipt_compiler\n"
            "-A ipt_compiler_0 -p tcp -j RETURN -m comment --comment ipt_compiler\n"
            "-A ipt_compiler_0 -j A -m comment --comment ipt_compiler\n");
  EXPECT_EQ(generatedFrom({"IF", "NOT -p tcp", "THEN", "-j A", "FI"}, true),
            tagged("-A FORWARD -p tcp -j RETURN\n-A FORWARD -j A\n"));
}

TEST(CompileHook, ReachesANoMatchNodeOfTwoWaysByGoto) {
  // Both conditions of the AND fail to the same ELSE branch, and cannot stand in one rule.
  EXPECT_EQ(generatedFrom({"IF", "-p a", "AND", "-p b", "THEN", "-j A", "ELSE", "-j B", "FI"}),
            tagged(":ipt_compiler_0 - [0:0]\n"
                   "-A FORWARD -j ipt_compiler_0\n"
                   ":ipt_compiler_1 - [0:0]\n"
                   "-A ipt_compiler_0 -p a -g ipt_compiler_1\n"
                   ":ipt_compiler_2 - [0:0]\n"
                   "-A ipt_compiler_0 -g ipt_compiler_2\n"
                   "-A ipt_compiler_2 -j B\n"
                   ":ipt_compiler_3 - [0:0]\n"
                   "-A ipt_compiler_1 -p b -g ipt_compiler_3\n"
                   "-A ipt_compiler_1 -g ipt_compiler_2\n"
                   "-A ipt_compiler_3 -j A\n"));
}

TEST(CompileHook, WritesARegionOnceAndRefersToItsChain) {
  // Both alternatives lead to the same THEN branch.
  EXPECT_EQ(generatedFrom({"IF", "-p a", "OR", "-p b", "THEN", "-j A", "FI"}),
            tagged(":ipt_compiler_0 - [0:0]\n"
                   "-A FORWARD -j ipt_compiler_0\n"
                   ":ipt_compiler_1 - [0:0]\n"
                   "-A ipt_compiler_0 -p a -g ipt_compiler_1\n"
                   "-A ipt_compiler_0 -p b -j A\n"
                   "-A ipt_compiler_1 -j A\n"));
  EXPECT_EQ(generatedFrom({"IF", "-p a", "OR", "-p b", "THEN", "-j A", "-j B", "FI"}),
            tagged(":ipt_compiler_0 - [0:0]\n"
                   "-A FORWARD -j ipt_compiler_0\n"
                   ":ipt_compiler_1 - [0:0]\n"
                   "-A ipt_compiler_0 -p a -g ipt_compiler_1\n"
                   "-A ipt_compiler_0 -p b -j ipt_compiler_1\n"
                   "-A ipt_compiler_1 -j A\n"
                   "-A ipt_compiler_1 -j B\n"));
}

TEST(CompileHook, WritesWhatFollowsABranchAfterTheJumpToIt) {
  EXPECT_EQ(generatedFrom({"-j A", "IF", "-p a", "THEN", "-j B", "-j C", "FI", "-j D", "IF", "-p b",
                           "THEN", "-j E", "FI", "-j F"}),
            tagged("-A FORWARD -j A\n"
                   ":ipt_compiler_0 - [0:0]\n"
                   "-A FORWARD -p a -j ipt_compiler_0\n"
                   "-A ipt_compiler_0 -j B\n"
                   "-A ipt_compiler_0 -j C\n"
                   "-A FORWARD -j D\n"
                   "-A FORWARD -p b -j E\n"
                   "-A FORWARD -j F\n"));
}

TEST(CompileHook, NestsChains) {
  EXPECT_EQ(generatedFrom(
                {"IF", "-p a", "THEN", "-j A", "IF", "-p b", "THEN", "-j B", "-j C", "FI", "FI"}),
            tagged(":ipt_compiler_0 - [0:0]\n"
                   "-A FORWARD -p a -j ipt_compiler_0\n"
                   "-A ipt_compiler_0 -j A\n"
                   ":ipt_compiler_1 - [0:0]\n"
                   "-A ipt_compiler_0 -p b -j ipt_compiler_1\n"
                   "-A ipt_compiler_1 -j B\n"
                   "-A ipt_compiler_1 -j C\n"));
}

TEST(CompileHook, WritesAnElseifChainInline) {
  EXPECT_EQ(generatedFrom({"IF", "-p a", "THEN", "-j A", "ELSEIF", "-p b", "THEN", "-j B", "ELSE",
                           "-j C", "FI", "FI"}),
            tagged(":ipt_compiler_0 - [0:0]\n"
                   "-A FORWARD -j ipt_compiler_0\n"
                   ":ipt_compiler_1 - [0:0]\n"
                   "-A ipt_compiler_0 -p a -g ipt_compiler_1\n"
                   ":ipt_compiler_2 - [0:0]\n"
                   "-A ipt_compiler_0 -p b -g ipt_compiler_2\n"
                   "-A ipt_compiler_0 -j C\n"
                   "-A ipt_compiler_2 -j B\n"
                   "-A ipt_compiler_1 -j A\n"));
}

// ---- what the text decides between

// The direct form of the dominator algorithm ends the region of "! -i br-lan" in the wrong place.
TEST(CompileHook, EndsRegionsWhereAllPathsMeet) {
  const IptTokens condition = {"NOT -p tcp",
                               "AND",
                               "(",
                               "-6",
                               "AND",
                               "(",
                               "NOT -i br-lan",
                               "AND",
                               "-p udp",
                               "OR",
                               "-m mark --mark 0x1/0x1",
                               ")",
                               ")",
                               "OR",
                               "! -i br-lan"};
  IptTokens tokens = {"IF"};
  tokens.insert(tokens.end(), condition.begin(), condition.end());
  tokens.insert(tokens.end(), {"THEN", "-j NFQUEUE --queue-num 2", "FI"});
  EXPECT_EQ(generatedFrom(tokens),
            tagged(":ipt_compiler_0 - [0:0]\n"
                   "-A FORWARD -j ipt_compiler_0\n"
                   ":ipt_compiler_1 - [0:0]\n"
                   "-A ipt_compiler_0 -p tcp -g ipt_compiler_1\n"
                   ":ipt_compiler_2 - [0:0]\n"
                   "-A ipt_compiler_0 -6 -g ipt_compiler_2\n"
                   "-A ipt_compiler_0 -g ipt_compiler_1\n"
                   ":ipt_compiler_3 - [0:0]\n"
                   "-A ipt_compiler_2 -i br-lan -g ipt_compiler_3\n"
                   ":ipt_compiler_4 - [0:0]\n"
                   "-A ipt_compiler_2 -p udp -g ipt_compiler_4\n"
                   "-A ipt_compiler_2 -g ipt_compiler_3\n"
                   "-A ipt_compiler_4 -j NFQUEUE --queue-num 2\n"
                   "-A ipt_compiler_3 -m mark --mark 0x1/0x1 -g ipt_compiler_4\n"
                   "-A ipt_compiler_3 -g ipt_compiler_1\n"
                   "-A ipt_compiler_1 ! -i br-lan -j NFQUEUE --queue-num 2\n"));
}

// The bypassed nodes of an iteration count until its end: the conditions after the first one merge
// among themselves before it gets its turn, and "-m e" stays with "-s c".
TEST(CompileHook, HoldsBypassedNodesUntilTheEndOfTheIteration) {
  EXPECT_EQ(generatedFrom({"-j T", "IF", "-s c -m d", "THEN", "IF", "-p b -m e", "THEN", "IF",
                           "-s c", "THEN", "-j A", "FI", "FI", "FI"}),
            tagged("-A FORWARD -j T\n"
                   ":ipt_compiler_0 - [0:0]\n"
                   "-A FORWARD -p b -s c -m d -j ipt_compiler_0\n"
                   "-A ipt_compiler_0 -s c -m e -j A\n"));
}

// Two selectors of one family leave a condition whose items and count disagree: the first one
// keeps its text, and the second one, without text, is folded with the blank of its empty matches.
TEST(CompileHook, PrintsTheItemsOfAListWhoseCountDisagrees) {
  EXPECT_EQ(generatedFrom({"IF", "-4", "AND", "-4", "THEN", "-j A", "FI"}),
            ":ipt_compiler_0 - [0:0]\n"
            "-A FORWARD -4 -j ipt_compiler_0 -m comment --comment ipt_compiler\n"
            "-A ipt_compiler_0  -j A -m comment --comment ipt_compiler\n");
}

// Whether a node branches depends on its items, not on the count: "-4" at the first node, whose
// count is 0, still leads past the ELSE branch.
TEST(CompileHook, BranchesOnTheItemsOfAListWhoseCountDisagrees) {
  EXPECT_EQ(generatedFrom({"IF", "-4", "AND", "-4", "THEN", "-j A", "ELSE", "-j B", "FI"}),
            tagged(":ipt_compiler_0 - [0:0]\n"
                   "-A FORWARD -j ipt_compiler_0\n"
                   ":ipt_compiler_1 - [0:0]\n"
                   "-A ipt_compiler_0 -4 -g ipt_compiler_1\n"
                   ":ipt_compiler_2 - [0:0]\n"
                   "-A ipt_compiler_0 -g ipt_compiler_2\n"
                   "-A ipt_compiler_2 -j B\n"
                   "-A ipt_compiler_1  -j A\n"));
}

// The first "-4" has no count, so it takes over the no-match edge of the second one again and
// again; in the third iteration that edge leads to a junction, which it bypasses each time.
TEST(CompileHook, EndsForAListWhoseCountDisagrees) {
  EXPECT_EQ(generatedFrom({"IF", "-4", "AND", "-4", "THEN", "-j A", "ELSE", "IF", "-p a", "OR",
                           "-s b", "OR", "-d c", "THEN", "FI", "FI"}),
            tagged(":ipt_compiler_0 - [0:0]\n"
                   "-A FORWARD -4 -j ipt_compiler_0\n"
                   "-A ipt_compiler_0  -j A\n"));
}

// Whether the next node can be folded depends on its count: it is taken for one without condition.
TEST(CompileHook, FoldsByTheCountOfAListWhoseItemsDisagree) {
  EXPECT_EQ(generated([] {
              const ProxyIrNode::Pointer first = test_support::graphOf(
                  "0: if \"-p a\" then 1 else 2\n1: \"-j A\" if \"-4\" (count 0) then 2 else 3\n"
                  "2: end\n3: \"-j B\" then 2\n");
              return IptProg{first, first->successor[0]};
            }),
            tagged("-A FORWARD -p a -j A\n"));
}

// ---- calls

TEST(CompileHook, GoesOnCountingChainsWhereTheCallerStands) {
  std::uint32_t counter = 7;
  const IptTokens tokens = {"IF", "-4", "THEN", "-j A", "-j B", "FI"};
  const auto build = [&tokens] {
    auto position = tokens.begin();
    return parseSerializedTargets(position, tokens.end());
  };
  IptProg first = build();
  IptProg second = build();
  EXPECT_EQ(generate(first, counter),
            tagged(":ipt_compiler_7 - [0:0]\n-A FORWARD -4 -j ipt_compiler_7\n"
                   "-A ipt_compiler_7 -j A\n-A ipt_compiler_7 -j B\n"));
  EXPECT_EQ(counter, 8U);
  EXPECT_EQ(generate(second, counter),
            tagged(":ipt_compiler_8 - [0:0]\n-A FORWARD -4 -j ipt_compiler_8\n"
                   "-A ipt_compiler_8 -j A\n-A ipt_compiler_8 -j B\n"));
  EXPECT_EQ(counter, 9U);
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

TEST(CompileHook, RefusesAProgramThatWasContinued) {
  IptProg prog = target("-j A");
  prog.last->setNext(makeProxy());
  std::uint32_t counter = 0;
  EXPECT_EQ(errorText<std::logic_error>([&] { generate(prog, counter); }),
            "IPT compiler: Internal error. setNext() twice.");
}

TEST(CompileHook, LeavesNoScratchDataInTheGraph) {
  IptProg prog = If(cond("-4")).then({target("-j A")}).orElse({target("-j B")});
  std::uint32_t counter = 0;
  generate(prog, counter);
  for (const ProxyIrNode::Pointer& node :
       {prog.first, prog.first->successor[0], prog.first->successor[1], prog.last}) {
    EXPECT_EQ(node->dfsMembership, nullptr);
    EXPECT_EQ(node->topoMembership.owner, nullptr);
    EXPECT_TRUE(node->topoSuccessors.empty());
  }
}

TEST(CompileHook, PassesTheErrorsOfTheAnalysesOn) {
  IptProg prog = target("-j A");
  ProxyIrNode::OrderList otherAnalysis;
  prog.first->visit(otherAnalysis);
  std::uint32_t counter = 0;
  EXPECT_EQ(errorText<std::invalid_argument>([&] { generate(prog, counter); }),
            "DfsVertex conflict!");
}

// The rules must do what the program says, for every packet that its conditions can tell apart.
TEST(CompileHook, GeneratesRulesThatDoWhatTheProgramSays) {
  for (std::size_t size = 1; size <= 14; ++size) {
    for (unsigned seed = 1; seed <= 60; ++seed) {
      const test_support::RandomProgram program(seed, size);
      const bool ownChain = seed % 2 == 0;
      const std::string rules = generated([&] { return program.build(); }, ownChain);
      for (test_support::Packet packet = 0; packet < test_support::kPackets; ++packet) {
        ASSERT_EQ(test_support::runRules(rules, "FORWARD", packet), program.run(packet))
            << "size " << size << ", seed " << seed << ", packet " << packet << ": "
            << program.text() << '\n'
            << rules;
      }
    }
  }
}

TEST(CompileHook, WritesLongListsOfStatements) {
  constexpr std::size_t kLength = 20'000;
  IptTokens tokens;
  for (std::size_t i = 0; i < kLength; ++i) {
    tokens.insert(tokens.end(), {"IF", "-p a", "THEN", "-j A", "FI"});
  }
  const std::string rule = tagged("-A FORWARD -p a -j A\n");
  std::string all;
  for (std::size_t i = 0; i < kLength; ++i) all += rule;
  EXPECT_EQ(generatedFrom(tokens), all);
}

TEST(CompileHook, WritesDeepNestsAsChainsInChains) {
  constexpr int kDepth = 1'000;
  IptTokens tokens;
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
  EXPECT_EQ(generatedFrom(tokens), tagged(all));
}

}  // namespace
}  // namespace tavrix
