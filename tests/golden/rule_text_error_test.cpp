// What the configuration can get wrong: the end of the run is the error's whole text, before any
// table is restored.
#include <gtest/gtest.h>

#include <ostream>
#include <string>

#include "tests/golden/golden_run.h"

namespace golden {
namespace {

constexpr std::string_view kRuleTextError = "tavrix::IptCompileFailed";
constexpr std::string_view kGrammarError = "std::invalid_argument";

struct ErrorCase {
  const char* name;
  const char* options;  // of section "nfnlq", beside a queue
  std::string_view type;
  const char* what;
};

void PrintTo(const ErrorCase& errorCase, std::ostream* out) {
  *out << errorCase.name;
}

constexpr ErrorCase kErrorCases[] = {
    // Targets.
    {"ATargetWithoutItsJump", "list pre_targets 'ACCEPT'", kRuleTextError,
     "./ipt_compiler/export/ipt_lang:349: failed to parse 'ACCEPT' as a target. not a valid "
     "parameter of iptables."},
    {"AnEmptyTarget", "list pre_targets ''", kRuleTextError,
     "./ipt_compiler/export/ipt_lang:349: failed to parse '' as a target. not a valid parameter of "
     "iptables."},
    {"ABlankTarget", "list pre_targets '  '", kRuleTextError,
     "./ipt_compiler/export/ipt_lang:349: failed to parse '  ' as a target. not a valid parameter "
     "of iptables."},
    {"AMatchOptionAsATarget", "list pre_targets '-p tcp'", kRuleTextError,
     "./ipt_compiler/export/ipt_lang:349: failed to parse '-p tcp' as a target. must be a match or "
     "a jump."},
    {"AGotoAsATarget", "list pre_targets '-g chain'", kRuleTextError,
     "./ipt_compiler/export/ipt_lang:349: failed to parse '-g chain' as a target. must be a match "
     "or a jump."},
    {"ATargetWithACondition", "list pre_targets '-j  ACCEPT  -p  tcp '", kRuleTextError,
     "./ipt_compiler/export/ipt_lang:349: failed to parse '-j  ACCEPT  -p  tcp ' as a target. "
     "redundant parameters: '-p  tcp '."},
    {"ATargetThatEndsInANegation", "list pre_targets '-j DROP !'", kRuleTextError,
     "./ipt_compiler/export/ipt_lang:349: failed to parse '-j DROP !' as a target. redundant "
     "parameters: '!'."},
    {"AStrayFi", "list pre_targets 'FI'", kRuleTextError,
     "./ipt_compiler/export/ipt_lang:349: failed to parse 'FI' as a target. not a valid parameter "
     "of iptables."},
    {"AStrayElse", "list pre_targets '-j ACCEPT'\n\tlist pre_targets 'ELSE'", kRuleTextError,
     "./ipt_compiler/export/ipt_lang:349: failed to parse 'ELSE' as a target. not a valid "
     "parameter of iptables."},
    {"ALowercaseKeyword", "list pre_targets 'if'", kRuleTextError,
     "./ipt_compiler/export/ipt_lang:349: failed to parse 'if' as a target. not a valid parameter "
     "of iptables."},
    {"ABadTargetInABody",
     "list pre_targets 'IF'\n\tlist pre_targets '-p tcp'\n\tlist pre_targets 'THEN'\n"
     "\tlist pre_targets 'DROP'\n\tlist pre_targets 'FI'",
     kRuleTextError,
     "./ipt_compiler/export/ipt_lang:349: failed to parse 'DROP' as a target. not a valid "
     "parameter of iptables."},
    // Matches.
    {"AMatchWithoutItsOption", "list matches 'tcp'", kRuleTextError,
     "./ipt_compiler/export/ipt_lang:299: failed to parse 'tcp' as matches. not a valid parameter "
     "of iptables."},
    {"AMatchWithABlankAtItsEnd", "list matches '-p tcp '", kRuleTextError,
     "./ipt_compiler/export/ipt_lang:299: failed to parse '-p tcp ' as matches. not a valid "
     "parameter of iptables."},
    {"AMatchThatEndsInANegation", "list matches '-s 1.2.3.4 !'", kRuleTextError,
     "./ipt_compiler/export/ipt_lang:299: failed to parse '-s 1.2.3.4 !' as matches. not a valid "
     "parameter of iptables."},
    {"AJoinedOption", "list matches '--protocol=tcp'", kRuleTextError,
     "./ipt_compiler/export/ipt_lang:299: failed to parse '--protocol=tcp' as matches. not a valid "
     "parameter of iptables."},
    {"AStrayParenthesis", "list matches '-p tcp'\n\tlist matches ')'", kRuleTextError,
     "./ipt_compiler/export/ipt_lang:299: failed to parse ')' as matches. not a valid parameter of "
     "iptables."},
    {"AJumpAmongTheMatches", "list matches '-p tcp  -j ACCEPT'", kRuleTextError,
     "./ipt_compiler/export/ipt_lang:299: failed to parse '-j ACCEPT' as matches. not a valid "
     "match of iptables."},
    {"AGotoAmongTheMatches", "list matches '--goto chain'", kRuleTextError,
     "./ipt_compiler/export/ipt_lang:299: failed to parse '--goto chain' as matches. not a valid "
     "match of iptables."},
    {"ADoubleNegation", "list matches '! ! -4'", kRuleTextError,
     "./ipt_compiler/export/ipt_lang:299: failed to parse '! ! ' as matches. not a valid match of "
     "iptables."},
    {"ANegatedMatchWithoutItsOption", "list matches 'NOT tcp'", kRuleTextError,
     "./ipt_compiler/export/ipt_lang:297: failed to parse ' tcp' as matches. not a valid parameter "
     "of iptables."},
    {"ATokenThatBeginsWithNot", "list matches 'NOTRACK'", kRuleTextError,
     "./ipt_compiler/export/ipt_lang:297: failed to parse 'RACK' as matches. not a valid parameter "
     "of iptables."},
    {"ANegatedJump", "list matches 'NOT-j ACCEPT'", kRuleTextError,
     "./ipt_compiler/export/ipt_lang:297: failed to parse '-j ACCEPT' as matches. not a valid "
     "match of iptables."},
    {"ABadConditionOfAStatement",
     "list pre_targets 'IF'\n\tlist pre_targets 'tcp'\n\tlist pre_targets 'THEN'\n"
     "\tlist pre_targets '-j ACCEPT'\n\tlist pre_targets 'FI'",
     kRuleTextError,
     "./ipt_compiler/export/ipt_lang:299: failed to parse 'tcp' as matches. not a valid parameter "
     "of iptables."},
    // Conditions.
    {"AConditionThatBeginsWithAnd", "list matches 'AND'", kGrammarError,
     "Invalid serialized matches!"},
    {"AConditionThatBeginsWithOr", "list matches 'OR'\n\tlist matches '-p tcp'", kGrammarError,
     "Invalid serialized matches!"},
    {"TwoOperatorsInARow",
     "list matches '-p tcp'\n\tlist matches 'OR'\n\tlist matches 'AND'\n\tlist matches '-p udp'",
     kGrammarError, "Invalid serialized matches!"},
    {"TwoConditionsInARow", "list matches '-p tcp'\n\tlist matches '-4'", kGrammarError,
     "Invalid serialized matches!"},
    {"NotAsATokenOfItsOwn", "list matches 'NOT'\n\tlist matches '-p tcp'", kGrammarError,
     "Invalid serialized matches!"},
    {"AnOpenParenthesis", "list matches '('\n\tlist matches '-p tcp'", kGrammarError,
     "Invalid serialized matches!"},
    // Statements.
    {"IfWithoutThen", "list pre_targets 'IF'\n\tlist pre_targets '-p tcp'", kGrammarError,
     "Invalid serialized targets!"},
    {"ThenWithoutFi",
     "list pre_targets 'IF'\n\tlist pre_targets '-p tcp'\n\tlist pre_targets 'THEN'\n"
     "\tlist pre_targets '-j ACCEPT'",
     kGrammarError, "Invalid serialized targets!"},
    {"ElseAtTheEnd",
     "list pre_targets 'IF'\n\tlist pre_targets '-p tcp'\n\tlist pre_targets 'THEN'\n"
     "\tlist pre_targets '-j ACCEPT'\n\tlist pre_targets 'ELSE'",
     kGrammarError, "Invalid serialized targets!"},
    {"ElseWithoutFi",
     "list pre_targets 'IF'\n\tlist pre_targets '-p tcp'\n\tlist pre_targets 'THEN'\n"
     "\tlist pre_targets 'ELSE'\n\tlist pre_targets '-j ACCEPT'",
     kGrammarError, "Invalid serialized targets!"},
    {"IfRightAfterElseif",
     "list pre_targets 'IF'\n\tlist pre_targets '-p tcp'\n\tlist pre_targets 'THEN'\n"
     "\tlist pre_targets 'ELSEIF'\n\tlist pre_targets 'IF'\n\tlist pre_targets '-p udp'\n"
     "\tlist pre_targets 'THEN'\n\tlist pre_targets 'FI'\n\tlist pre_targets 'FI'",
     kGrammarError, "Invalid serialized targets!"},
    {"ElseifWithoutAFiOfItsOwn",
     "list pre_targets 'IF'\n\tlist pre_targets '-p tcp'\n\tlist pre_targets 'THEN'\n"
     "\tlist pre_targets 'ELSEIF'\n\tlist pre_targets '-p udp'\n\tlist pre_targets 'THEN'\n"
     "\tlist pre_targets '-j ACCEPT'\n\tlist pre_targets 'FI'",
     kGrammarError, "Invalid serialized targets!"},
    // Which of several errors is reported: the first in the order of reading.
    {"TheStatementsAreReadBeforeTheCondition", "list matches 'tcp'\n\tlist pre_targets 'ACCEPT'",
     kRuleTextError,
     "./ipt_compiler/export/ipt_lang:349: failed to parse 'ACCEPT' as a target. not a valid "
     "parameter of iptables."},
    {"ABadMatchIsReportedBeforeItsPlace", "list matches '-p tcp'\n\tlist matches 'udp'",
     kRuleTextError,
     "./ipt_compiler/export/ipt_lang:299: failed to parse 'udp' as matches. not a valid parameter "
     "of iptables."},
};

// The first text that does not parse ends the run: the table was saved, nothing else happened.
void expectEndsBeforeAnyRestore(const RunRecord& run, std::string_view type,
                                std::string_view what) {
  EXPECT_EQ(run.err, uncaught(type, what));
  EXPECT_EQ(run.out, "");
  EXPECT_EQ(run.status, kAborted);
  EXPECT_EQ(run.calls, expectedCalls(1));
  EXPECT_EQ(run.outputFile, std::nullopt);
  EXPECT_TRUE(run.tables.empty());
}

class RuleTextError : public testing::TestWithParam<ErrorCase> {};

TEST_P(RuleTextError, EndsTheRunBeforeAnyTableIsRestored) {
  const std::string options = GetParam().options;
  const std::string queue = "\toption queue_first '2'\n\toption queue_last '2'\n";
  expectEndsBeforeAnyRestore(runOnce("config nfnlq 'nfnlq'\n" + queue + "\t" + options + "\n"),
                             GetParam().type, GetParam().what);
}

TEST_P(RuleTextError, IsTheSameWithoutAQueue) {
  const std::string options = GetParam().options;
  expectEndsBeforeAnyRestore(runOnce("config nfnlq 'nfnlq'\n\t" + options + "\n"), GetParam().type,
                             GetParam().what);
}

INSTANTIATE_TEST_SUITE_P(, RuleTextError, testing::ValuesIn(kErrorCases),
                         [](const auto& test) { return test.param.name; });

TEST(QueueNumberError, NamesTheQueueTargetWhenOneQueueHasAnOptionInIt) {
  expectEndsBeforeAnyRestore(
      runOnce("config nfnlq 'nfnlq'\n\toption queue_first '2 -p tcp'\n"
              "\toption queue_last '2 -p tcp'\n"),
      kRuleTextError,
      "firewall_cpp/nfnlq/nfnlq:30: failed to parse '-j NFQUEUE --queue-bypass --queue-num 2 -p "
      "tcp' as a target. redundant parameters: '-p tcp'.");
}

TEST(QueueNumberError, NamesTheQueueTargetWhenARangeHasAnOptionInIt) {
  expectEndsBeforeAnyRestore(
      runOnce("config nfnlq 'nfnlq'\n\toption queue_first '0'\n\toption queue_last '3 !'\n"),
      kRuleTextError,
      "firewall_cpp/nfnlq/nfnlq:30: failed to parse '-j NFQUEUE --queue-bypass --queue-balance "
      "0:3 !' as a target. redundant parameters: '!'.");
}

TEST(QueueNumberError, ComesAfterTheErrorsOfTheCondition) {
  expectEndsBeforeAnyRestore(
      runOnce("config nfnlq 'nfnlq'\n\toption queue_first '2 !'\n\toption queue_last '2 !'\n"
              "\toption matches 'tcp'\n"),
      kRuleTextError,
      "./ipt_compiler/export/ipt_lang:299: failed to parse 'tcp' as matches. not a valid parameter "
      "of iptables.");
}

TEST(QueueNumberError, IsTheRestoreToolsToFindWhenTheTextIsNoNumber) {
  const RunRecord run =
      runOnce("config nfnlq 'nfnlq'\n\toption queue_first 'two'\n\toption queue_last 'two'\n");
  EXPECT_EQ(programError(run.err), uncaught("std::runtime_error", "failed to commit"));
  EXPECT_EQ(run.status, kAborted);
  EXPECT_EQ(run.calls, expectedCalls(2));
  EXPECT_EQ(run.restoreTexts,
            std::vector<std::string>{withBlock(
                emptyTable(kPasses[0]),
                forBothHooks("-A OUTPUT -j NFQUEUE --queue-bypass --queue-num two -m comment "
                             "--comment ipt_compiler\n"))});
  EXPECT_EQ(run.outputFile, run.restoreTexts[0]);
  EXPECT_TRUE(run.tables.empty());
}

TEST(RuleTextErrors, LeaveTheOutputFileOfAnEarlierRunAsItWas) {
  Scenario scenario;
  scenario.configs = {"config nfnlq 'nfnlq'\n\toption matches 'tcp'\n"};
  scenario.before = "echo stale >/tmp/ipt_compiler_out";
  EXPECT_EQ(runOnce(scenario).outputFile, "stale\n");
}

}  // namespace
}  // namespace golden
