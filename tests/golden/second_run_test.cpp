// Runs that follow each other on the same tables: each replaces what the one before wrote.
#include <gtest/gtest.h>

#include <string>

#include "tests/golden/golden_run.h"
#include "tests/support/temp_dir.h"

namespace golden {
namespace {

constexpr const char* kFourQueues = R"(
config nfnlq 'nfnlq'
	option queue_first '0'
	option queue_last '3'
	list pre_targets 'IF'
	list pre_targets '-m mark --mark 0x2/0x2'
	list pre_targets 'THEN'
	list pre_targets '-j MARK --set-xmark 0x1/0x1'
	list pre_targets 'ELSE'
	list pre_targets '-j CONNMARK --restore-mark'
	list pre_targets 'FI'
	list matches '-p udp -m udp --dport 53'
	list matches 'OR'
	list matches 'NOT -m mark --mark 0x4/0x4'
)";

Scenario scenarioWithForeignRules(Tools tools) {
  Scenario scenario;
  scenario.tools = tools;
  for (const PassName& pass : kPasses) {
    scenario.tables[pass.key()] =
        test_support::readFile(EXAMPLES_DIR "/foreign_rules/" + pass.key());
  }
  return scenario;
}

class SecondRun : public testing::TestWithParam<Tools> {};

TEST_P(SecondRun, GivesTheSameBytesAsTheFirst) {
  Scenario scenario = scenarioWithForeignRules(GetParam());
  scenario.configs = {kFourQueues, kFourQueues, kFourQueues};
  const std::vector<RunRecord> runs = runAll(scenario);
  EXPECT_NE(runs[0].restoreTexts[0].find(":ipt_compiler_0 - [0:0]\n"), std::string::npos);
  for (const RunRecord& run : runs) {
    EXPECT_EQ(run.restoreTexts, runs[0].restoreTexts);
    EXPECT_EQ(run.tables, runs[0].tables);
    EXPECT_EQ(run.calls, expectedCalls());
    EXPECT_EQ(programError(run.err), "");
    EXPECT_EQ(run.status, 0);
  }
}

TEST_P(SecondRun, WithAnotherConfigurationLeavesNothingOfTheFirst) {
  Scenario scenario = scenarioWithForeignRules(GetParam());
  const std::string other =
      "config nfnlq 'nfnlq'\n\toption queue_first '7'\n"
      "\toption queue_last '7'\n";
  scenario.configs = {kFourQueues, other};
  const std::vector<RunRecord> changed = runAll(scenario);
  scenario.configs = {other};
  EXPECT_EQ(changed[1].restoreTexts, runOnce(scenario).restoreTexts);
  EXPECT_EQ(changed[1].status, 0);
}

TEST_P(SecondRun, WithAnEmptiedConfigurationGivesTheFirstTablesBack) {
  Scenario scenario = scenarioWithForeignRules(GetParam());
  scenario.configs = {"", kFourQueues, ""};
  const std::vector<RunRecord> runs = runAll(scenario);
  EXPECT_NE(runs[1].tables, runs[0].tables);
  EXPECT_EQ(runs[2].restoreTexts, runs[0].restoreTexts);
  EXPECT_EQ(runs[2].tables, runs[0].tables);
  EXPECT_EQ(runs[2].status, 0);
}

INSTANTIATE_TEST_SUITE_P(, SecondRun, testing::Values(Tools::Files, Tools::Texts),
                         [](const auto& test) {
                           return test.param == Tools::Files ? "OnTablesInFiles" : "OnKeptTexts";
                         });

}  // namespace
}  // namespace golden
