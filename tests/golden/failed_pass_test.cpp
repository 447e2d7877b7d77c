// A restore tool that fails in one of the six passes ends the run there: earlier passes stay
// restored, later tools are not started.
#include <gtest/gtest.h>

#include <ostream>
#include <string>
#include <tuple>

#include "tests/golden/golden_run.h"

namespace golden {
namespace {

constexpr const char* kConfig = R"(
config nfnlq 'nfnlq'
	option queue_first '2'
	option queue_last '2'
	list matches '-p udp'
)";
const std::string kRules =
    "-A OUTPUT -p udp -j NFQUEUE --queue-bypass --queue-num 2 -m comment --comment ipt_compiler\n";

struct Failure {
  const char* name;
  const char* script;     // what becomes of the tool
  std::size_t startsOff;  // how many starts before the failing one the script runs
};

void PrintTo(const Failure& failure, std::ostream* out) {
  *out << failure.name;
}

constexpr Failure kFailures[] = {
    {"ExitStatus1", "exit 1", 0},
    {"ExitStatus2", "exit 2", 0},
    {"Killed", "kill -KILL $$", 0},
    {"BrokenOff", "kill -TERM $$", 0},
    // While the pass's table is being saved.
    {"Missing", R"(rm "${0%-save}-restore")", 1},
};

class FailedPass : public testing::TestWithParam<std::tuple<std::size_t, Failure>> {};

TEST_P(FailedPass, EndsTheRunThereAndKeepsTheEarlierTables) {
  const auto& [pass, failure] = GetParam();
  const bool isMissing = failure.startsOff == 1;
  const std::size_t start = 2 * pass + 2;
  Scenario scenario;
  scenario.configs = {kConfig};
  scenario.scripts[static_cast<int>(start - failure.startsOff)] = failure.script;
  const RunRecord run = runOnce(scenario);

  EXPECT_EQ(programError(run.err), uncaught("std::runtime_error", "failed to commit"));
  EXPECT_EQ(run.out, "");
  EXPECT_EQ(run.status, kAborted);
  EXPECT_EQ(run.calls, expectedCalls(isMissing ? start - 1 : start));

  // The refused text is there to be looked at.
  const std::vector<std::string> texts = restoreTextsWith(forBothHooks(kRules));
  EXPECT_EQ(run.outputFile, texts[pass]);
  const std::size_t given = isMissing ? pass : pass + 1;
  EXPECT_EQ(run.restoreTexts,
            std::vector<std::string>(texts.begin(), texts.begin() + static_cast<long>(given)));
  // Only a restored table has a file.
  ASSERT_EQ(run.tables.size(), pass);
  for (std::size_t i = 0; i < pass; ++i) {
    const std::string& table = run.tables.at(kPasses[i].key());
    EXPECT_EQ(table.find("--comment ipt_compiler") != std::string::npos,
              kPasses[i].table == "mangle")
        << table;
  }
}

INSTANTIATE_TEST_SUITE_P(, FailedPass,
                         testing::Combine(testing::Range<std::size_t>(0, kPasses.size()),
                                          testing::ValuesIn(kFailures)),
                         [](const auto& test) {
                           const PassName& pass = kPasses[std::get<0>(test.param)];
                           return std::string(pass.tool) + "_" + std::string(pass.table) + "_" +
                                  std::get<1>(test.param).name;
                         });

// A save tool's end is not looked at: what it printed is the table, and the restore tool judges.
TEST(FailedSave, OfAToolThatExitsNonZeroAfterItsWholeTextIsNoError) {
  Scenario scenario;
  scenario.configs = {kConfig};
  scenario.scripts[1] = R"("$FILE_TOOLS/$name" "$@"; exit 1)";
  const RunRecord run = runOnce(scenario);
  EXPECT_EQ(run.restoreTexts, restoreTextsWith(forBothHooks(kRules)));
  EXPECT_EQ(programError(run.err), "");
  EXPECT_EQ(run.status, 0);
}

TEST(FailedSave, OfAToolThatPrintsNothingGivesAnEmptyRestoreText) {
  Scenario scenario;
  scenario.configs = {kConfig};
  scenario.scripts[1] = "exit 1";
  const RunRecord run = runOnce(scenario);
  std::vector<std::string> texts = restoreTextsWith(forBothHooks(kRules));
  texts[0] = "";
  EXPECT_EQ(run.restoreTexts, texts);
  EXPECT_EQ(run.calls, expectedCalls());
  EXPECT_EQ(programError(run.err), "");
  EXPECT_EQ(run.status, 0);
  EXPECT_FALSE(run.tables.contains("iptables.mangle"));
}

TEST(FailedSave, OfAToolThatBreaksOffGivesTheRestoreToolWhatThereIs) {
  Scenario scenario;
  scenario.configs = {kConfig};
  scenario.tools = Tools::Texts;
  scenario.scripts[1] = "printf '*mangle\\n:OUTPUT ACCEPT [0:0]\\n-A OUTPUT -j ACC'; kill -KILL $$";
  const RunRecord run = runOnce(scenario);
  EXPECT_EQ(run.restoreTexts[0], "*mangle\n:OUTPUT ACCEPT [0:0]\n-A OUTPUT -j ACC\n");
  EXPECT_EQ(run.calls, expectedCalls());
  EXPECT_EQ(run.status, 0);
}

TEST(FailedSave, OfAMissingToolGivesAnEmptyRestoreText) {
  Scenario scenario;
  scenario.configs = {kConfig};
  scenario.before = "rm tools/iptables-save tools/ip6tables-save";
  const RunRecord run = runOnce(scenario);
  std::vector<std::string> restores;
  for (std::size_t i = 1; i < 2 * kPasses.size(); i += 2) restores.push_back(expectedCalls()[i]);
  EXPECT_EQ(run.calls, restores);
  EXPECT_EQ(run.restoreTexts, std::vector<std::string>(kPasses.size()));
  EXPECT_EQ(run.outputFile, "");
  EXPECT_EQ(run.status, 0);
  EXPECT_TRUE(run.tables.empty());
}

}  // namespace
}  // namespace golden
