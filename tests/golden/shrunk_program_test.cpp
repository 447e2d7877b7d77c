// What a failing comparison of a random program prints: a small program that still fails, as a
// configuration that can be run. A comparison that is wrong on purpose stands for the failure.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "tests/golden/golden_run.h"
#include "tests/support/random_source.h"
#include "tests/support/runnable_source.h"

namespace golden {
namespace {

using test_support::Holds;
using test_support::ProgramSource;

// Takes a goto for a jump, which would come back to the rules behind it.
bool differsWhenGotosComeBack(const ProgramSource& source) {
  const std::vector<std::string> tokens = tokensOf(source);
  const tavrix::IptProg program = test_support::buildProgram(tokens);
  const std::string rules =
      test_support::compiledText(test_support::buildProgram(tokens), "OUTPUT");
  test_support::Chains chains = test_support::compiledChains(rules, "OUTPUT");
  for (auto& [name, chainRules] : chains) {
    for (test_support::ChainRule& rule : chainRules) rule.isGoto = false;
  }
  const test_support::MatchNumbers numbers = test_support::matchNumbersOf(program);
  return std::ranges::any_of(
      test_support::packetsOver(numbers.size()), [&](const test_support::Packet& packet) {
        const Holds holds = test_support::holdsIn(numbers, packet);
        return test_support::evaluate(program, holds) != metIn(chains, "OUTPUT", holds);
      });
}

TEST(AFailingRandomProgram, IsPrintedAsASmallConfigurationThatTheProgramRunsWith) {
  const ProgramSource large = test_support::randomProgram(3, 60);
  ASSERT_TRUE(differsWhenGotosComeBack(large));
  ASSERT_GT(tokensOf(large).size(), 150U);

  const std::string printed =
      test_support::configurationOf(shrink(large, differsWhenGotosComeBack));
  EXPECT_EQ(printed,
            "config nfnlq 'nfnlq'\n"
            "\toption queue_first '0'\n"
            "\toption queue_last '0'\n"
            "\tlist pre_targets 'IF'\n"
            "\tlist pre_targets '-p 201'\n"
            "\tlist pre_targets 'THEN'\n"
            "\tlist pre_targets '-j MARK --set-xmark 0x1/0x1'\n"
            "\tlist pre_targets 'ELSE'\n"
            "\tlist pre_targets '-j MARK --set-xmark 0x2/0x2'\n"
            "\tlist pre_targets 'FI'\n");

  // The rules of that very program, before the queue rule that every configuration has.
  const RunRecord run = runOnce(printed);
  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(programError(run.err), "");
  const std::string rules =
      ":ipt_compiler_0 - [0:0]\n"
      "-A OUTPUT -j ipt_compiler_0 -m comment --comment ipt_compiler\n"
      ":ipt_compiler_1 - [0:0]\n"
      "-A ipt_compiler_0 -p 201 -g ipt_compiler_1 -m comment --comment ipt_compiler\n"
      "-A ipt_compiler_0 -j MARK --set-xmark 0x2/0x2 -m comment --comment ipt_compiler\n"
      "-A ipt_compiler_1 -j MARK --set-xmark 0x1/0x1 -m comment --comment ipt_compiler\n"
      "-A OUTPUT -j NFQUEUE --queue-bypass --queue-num 0 -m comment --comment ipt_compiler\n";
  EXPECT_EQ(run.restoreTexts, restoreTextsWith(forBothHooks(rules)));
}

TEST(AFailingRandomProgram, KeepsItsTextsWhenItFailsWithNoOthers) {
  const test_support::Differs differs = [](const ProgramSource& source) {
    return std::ranges::count(tokensOf(source), "-o eth1") > 0;
  };
  const ProgramSource large = {
      {{},
       {{{test_support::ConditionSource::Kind::kText, "-o eth1", {}}, {{"-j T", {}, {}}}}},
       {}}};
  EXPECT_EQ(test_support::configurationOf(shrink(large, differs)),
            "# It runs only so far as the kernel's tools take its texts.\n"
            "config nfnlq 'nfnlq'\n"
            "\toption queue_first '0'\n"
            "\toption queue_last '0'\n"
            "\tlist pre_targets 'IF'\n"
            "\tlist pre_targets '-o eth1'\n"
            "\tlist pre_targets 'THEN'\n"
            "\tlist pre_targets 'FI'\n");
}

// Which options may stand in one rule, and in which order they come, stays as it was: that is what
// fusing conditions looks at.
TEST(RunnableTexts, KeepWhatFusingLooksAt) {
  using Kind = test_support::ConditionSource::Kind;
  const auto text = [](const std::string& option) {
    return test_support::ConditionSource{Kind::kText, option, {}};
  };
  const ProgramSource program = {{{},
                                  {{text("! -d 10.0.0.1 -m tcp --dport 53"), {{"-j T", {}, {}}}},
                                   {text("-o eth1 -i eth0"), {{"--match counter --inc 1", {}, {}}}},
                                   {text("-4 -o ! eth1"), {{"-j T", {}, {}}}},
                                   {text("-d 10.0.0.2 -d 10.0.0.3"), {}}},
                                  {}}};
  EXPECT_EQ(tokensOf(test_support::withRunnableTexts(program)),
            (std::vector<std::string>{
                "IF", "-p 201 -m mark --mark 0x2/0x2", "THEN", "-j MARK --set-xmark 0x1/0x1",
                "ELSEIF", "-c 3 3 -m mark --mark 0x4/0x4", "THEN", "-j MARK --set-xmark 0x2/0x2",
                "ELSEIF", "-4 -c 5 5", "THEN", "-j MARK --set-xmark 0x1/0x1", "ELSEIF", "-p 206",
                "THEN", "FI", "FI", "FI", "FI"}));
}

}  // namespace
}  // namespace golden
