// The two fixed paths of a run: the tables' lock and the file that the restore tool reads.
#include <gtest/gtest.h>

#include <string>

#include "tests/golden/golden_run.h"

namespace golden {
namespace {

constexpr const char* kOneQueue = R"(
config nfnlq 'nfnlq'
	option queue_first '2'
	option queue_last '2'
)";

TEST(XtablesLock, ThatCannotBeOpenedEndsTheRunBeforeAnyToolStarts) {
  Scenario scenario;
  scenario.configs = {kOneQueue};
  // A link into a missing directory. On a machine that refuses namespaces the path may be the
  // machine's own lock, which is not for a test to touch.
  scenario.before =
      "[ -e /var/run/xtables.lock ] && exit 77\n"
      "ln -s missing/xtables.lock /var/run/xtables.lock";
  scenario.after = "rm /var/run/xtables.lock";
  RunRecord run;
  try {
    run = runOnce(scenario);
  } catch (const RouterFailed& failure) {
    if (failure.status() != 77) throw;
    GTEST_SKIP() << "namespaces are refused and the machine's own /var/run/xtables.lock exists";
  }
  EXPECT_EQ(run.err, uncaught("std::runtime_error", "Can't get xtable lock."));
  EXPECT_EQ(run.status, kAborted);
  EXPECT_EQ(run.calls, std::vector<std::string>());
  EXPECT_EQ(run.outputFile, std::nullopt);
}

TEST(OutputFile, ReplacesTheOneOfAnEarlierRun) {
  Scenario scenario;
  scenario.configs = {kOneQueue};
  scenario.before = "yes stale | head -c 100000 >/tmp/ipt_compiler_out";
  const RunRecord run = runOnce(scenario);
  EXPECT_EQ(run.outputFile, emptyTable(kPasses[5]));
  EXPECT_EQ(run.status, 0);
}

// A stream that cannot be opened is no error of the program's own, and the restore tools read
// nothing: every table stays as it was.
TEST(OutputFile, ThatCannotBeWrittenLeavesEveryTableAsItWas) {
  Scenario scenario;
  scenario.configs = {kOneQueue};
  scenario.before = "mkdir /tmp/ipt_compiler_out";
  scenario.after = "rmdir /tmp/ipt_compiler_out";
  const RunRecord run = runOnce(scenario);
  EXPECT_EQ(run.calls, expectedCalls());
  EXPECT_EQ(run.restoreTexts, std::vector<std::string>(kPasses.size()));
  EXPECT_EQ(run.err.find("terminate"), std::string::npos) << run.err;
  EXPECT_EQ(run.status, 0);
  EXPECT_TRUE(run.tables.empty());
}

TEST(OutputFile, ThatIsStaleAndCannotBeWrittenIsWhatTheRestoreToolsGet) {
  Scenario scenario;
  scenario.configs = {kOneQueue};
  scenario.tools = Tools::Texts;
  // A program that runs can be read and not be written, even by root.
  scenario.before =
      "cp /bin/sleep busy; ./busy 1000 & busy=$!\n"
      "while ! cmp -s busy \"/proc/$busy/exe\"; do :; done\n"
      "ln -s \"$PWD/busy\" /tmp/ipt_compiler_out";
  scenario.after = "kill $busy; rm /tmp/ipt_compiler_out";
  const RunRecord run = runOnce(scenario);
  ASSERT_EQ(run.restoreTexts.size(), kPasses.size());
  for (const std::string& text : run.restoreTexts) EXPECT_EQ(text, run.outputFile);
  EXPECT_EQ(run.outputFile->substr(0, 4),
            "\x7f"
            "ELF");
  EXPECT_EQ(run.status, 0);
}

}  // namespace
}  // namespace golden
