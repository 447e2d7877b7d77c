// The fixed schedule of a run: which tools start, in which order and how, where the rules stand
// among those of other programs, and what ends a run early.
#include <gtest/gtest.h>

#include "tests/golden/golden_run.h"

namespace golden {
namespace {

// A queue for everything, and a user who is rejected.
constexpr const char* kConfig = R"(
config nfnlq 'nfnlq'
	option queue_first '2'
	option queue_last '2'
config kovsel 'kovsel'
	list user_list '1'
	option label_user1 '10'
	option reject_user1 '1'
)";

// A table with a rule of another program in each of two chains.
std::string tableWith(const std::string& table, const std::string& first,
                      const std::string& second) {
  return "*" + table + "\n:" + first + " ACCEPT [12:3456]\n:" + second + " DROP [0:0]\n-A " +
         first + " -j ACCEPT\n-A " + second + " -j RETURN\nCOMMIT\n# Completed\n";
}

TEST(Schedule, HasSixPassesEachSavingAndRestoringOneTableUnderThePreloadLibrary) {
  const RunRecord run = runOnce(kConfig);
  EXPECT_EQ(run.calls, expectedCalls());
  EXPECT_EQ(run.outputFile, run.restoreTexts.at(5));
  EXPECT_EQ(programError(run.err), "");
  EXPECT_EQ(run.out, "");
  EXPECT_EQ(run.status, 0);
}

TEST(Schedule, PutsRulesAfterThoseOfOtherProgramsInMangleAndBeforeThemElsewhere) {
  Scenario scenario;
  scenario.configs = {kConfig};
  scenario.tools = Tools::Texts;
  for (const std::string family : {"iptables", "ip6tables"}) {
    scenario.tables[family + ".mangle"] = tableWith("mangle", "PREROUTING", "OUTPUT");
    scenario.tables[family + ".nat"] = tableWith("nat", "PREROUTING", "OUTPUT");
    scenario.tables[family + ".filter"] = tableWith("filter", "INPUT", "FORWARD");
  }
  const RunRecord run = runOnce(scenario);
  const std::vector<std::string> texts = {
      R"(*mangle
:PREROUTING ACCEPT [12:3456]
:OUTPUT DROP [0:0]
-A PREROUTING -j ACCEPT
-A OUTPUT -j RETURN
-A OUTPUT -j NFQUEUE --queue-bypass --queue-num 2 -m comment --comment ipt_compiler
-A PREROUTING -j NFQUEUE --queue-bypass --queue-num 2 -m comment --comment ipt_compiler
COMMIT
# Completed
)",
      R"(*nat
:PREROUTING ACCEPT [12:3456]
-A PREROUTING -p tcp -m tavrix-connlabel --label 10 -j REDIRECT --to-ports 8099 -m comment --comment ipt_compiler
:OUTPUT DROP [0:0]
-A PREROUTING -j ACCEPT
-A OUTPUT -j RETURN
COMMIT
# Completed
)",
      R"(*filter
:INPUT ACCEPT [12:3456]
:ipt_compiler_0 - [0:0]
-A INPUT -j ipt_compiler_0 -m comment --comment ipt_compiler
-A ipt_compiler_0 -p tcp -m tcp --dport 8099 -j RETURN -m comment --comment ipt_compiler
:ipt_compiler_1 - [0:0]
-A ipt_compiler_0 -m tavrix-connlabel --label 10 -j ipt_compiler_1 -m comment --comment ipt_compiler
-A ipt_compiler_1 -p tcp -j REJECT --reject-with tcp-reset -m comment --comment ipt_compiler
-A ipt_compiler_1 -j REJECT -m comment --comment ipt_compiler
:FORWARD DROP [0:0]
:ipt_compiler_2 - [0:0]
-A FORWARD -m tavrix-connlabel --label 10 -j ipt_compiler_2 -m comment --comment ipt_compiler
-A ipt_compiler_2 -p tcp -j REJECT --reject-with tcp-reset -m comment --comment ipt_compiler
-A ipt_compiler_2 -j REJECT -m comment --comment ipt_compiler
-A INPUT -j ACCEPT
-A FORWARD -j RETURN
COMMIT
# Completed
)"};
  ASSERT_EQ(run.restoreTexts.size(), kPasses.size());
  for (std::size_t i = 0; i < kPasses.size(); ++i) {
    EXPECT_EQ(run.restoreTexts[i], texts[i % texts.size()]);
  }
}

TEST(Schedule, TakesNoNoticeOfArguments) {
  Scenario scenario;
  scenario.configs = {kConfig};
  // The program is started through this name.
  scenario.before =
      "printf '#!/bin/sh\\nexec \"%s\" --help nat\\n' \"$FIREWALL_CPP\" >start; "
      "/bin/chmod +x start; FIREWALL_CPP=$PWD/start; export FIREWALL_CPP";
  const RunRecord run = runOnce(scenario);
  EXPECT_EQ(run.calls, expectedCalls());
  EXPECT_EQ(run.out, "");
  EXPECT_EQ(run.status, 0);
}

TEST(RuleTextError, EndsTheRunBeforeAnyTableIsRestoredAndLeavesTheOutputFileOfAnEarlierRun) {
  Scenario scenario;
  scenario.configs = {"config nfnlq 'nfnlq'\n\toption matches 'tcp'\n"};
  scenario.before = "echo stale >/tmp/ipt_compiler_out";
  const RunRecord run = runOnce(scenario);
  EXPECT_EQ(run.err, uncaught("tavrix::IptCompileFailed",
                              "./ipt_compiler/export/ipt_lang:299: failed to parse 'tcp' as "
                              "matches. not a valid parameter of iptables."));
  EXPECT_EQ(run.out, "");
  EXPECT_EQ(run.status, kAborted);
  EXPECT_EQ(run.calls, expectedCalls(1));
  EXPECT_EQ(run.outputFile, "stale\n");
}

// Also a user who has everything else is nobody in mangle and nat without a label.
TEST(MissingLabel, EndsTheRunInFilterWithTheEarlierTablesRestored) {
  const RunRecord run = runOnce(std::string(R"(
config kovsel 'kovsel'
	list user_list '12'
	option mac_set_user12 'macs'
	list mac_user12 '02:00:00:00:00:01'
	list mac_label_user12 '501'
	option reject_user12 '1'
	option blacklist_v4_user12 'blocked_v4'
	option keywords_user12 'words'
	option class_user12 '7'
)"));
  EXPECT_EQ(programError(run.err),
            uncaught("std::invalid_argument",
                     "kovsel: user 12 is in user_list but has no label_user12."));
  EXPECT_EQ(run.status, kAborted);
  // The tables of the two passes before are restored; filter was saved, and its text begun.
  EXPECT_EQ(run.calls, expectedCalls(5));
  ASSERT_EQ(run.restoreTexts.size(), 2U);
  for (const std::string& text : run.restoreTexts) EXPECT_EQ(linesOf(text, true), "");
}

}  // namespace
}  // namespace golden
