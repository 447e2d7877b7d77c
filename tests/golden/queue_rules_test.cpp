// Configuration of section "nfnlq" in, generated rules of the mangle tables out: the whole six
// restore texts on tables without other rules.
#include <gtest/gtest.h>

#include <ostream>
#include <stdexcept>
#include <string>
#include <vector>

#include "tests/golden/golden_run.h"
#include "tests/support/temp_dir.h"

namespace golden {
namespace {

struct QueueCase {
  const char* name;
  const char* config;
  const char* outputRules;  // what mangle OUTPUT gets
};

void PrintTo(const QueueCase& queueCase, std::ostream* out) {
  *out << queueCase.name;
}

constexpr QueueCase kQueueCases[] = {
    {"NoSectionsAtAll", "# nothing but a comment\n", ""},
    {"SectionsOfOtherNames", R"(
config nfnlq 'other'
	option queue_first '2'
	option queue_last '2'
config nfnlq
	option queue_first '2'
	option queue_last '2'
)",
     ""},
    {"QueueNotConfigured", R"(
config nfnlq 'nfnlq'
	list pre_targets '-j MARK --set-xmark 0x1/0x1'
	list matches '-p udp'
)",
     ""},
    {"OnlyTheFirstQueue", R"(
config nfnlq 'nfnlq'
	option queue_first '2'
	list matches '-p udp'
)",
     ""},
    {"OnlyTheLastQueue", R"(
config nfnlq 'nfnlq'
	option queue_last '2'
)",
     ""},
    {"OneQueueAndNoMatches", R"(
config nfnlq 'nfnlq'
	option queue_first '2'
	option queue_last '2'
)",
     "-A OUTPUT -j NFQUEUE --queue-bypass --queue-num 2 -m comment --comment ipt_compiler\n"},
    {"ARangeOfQueues", R"(
config nfnlq 'nfnlq'
	option queue_first '0'
	option queue_last '3'
)",
     "-A OUTPUT -j NFQUEUE --queue-bypass --queue-balance 0:3 -m comment --comment ipt_compiler\n"},
    {"OnlyTheFirstOfSeveralValuesCounts", R"(
config nfnlq 'nfnlq'
	list queue_first '1'
	list queue_first '8'
	list queue_last '1'
	list queue_last '9'
)",
     "-A OUTPUT -j NFQUEUE --queue-bypass --queue-num 1 -m comment --comment ipt_compiler\n"},
    {"AnOptionThatIsNoListIsOneToken", R"(
config nfnlq 'nfnlq'
	option queue_first '2'
	option queue_last '2'
	option pre_targets '-j MARK --set-xmark 0x1/0x1'
	option matches '-p udp -m udp --dport 53'
)",
     "-A OUTPUT -j MARK --set-xmark 0x1/0x1 -m comment --comment ipt_compiler\n"
     "-A OUTPUT -p udp -m udp --dport 53 -j NFQUEUE --queue-bypass --queue-num 2 -m comment "
     "--comment ipt_compiler\n"},
    {"OptionsOfEarlierAndLaterSectionsOfOneNameAddUp", R"(
config nfnlq 'nfnlq'
	option queue_first '2'
	list matches '-p udp'
	list matches 'AND'
config nfnlq 'nfnlq'
	option queue_last '2'
	list matches '-m mark --mark 0x1/0x1'
)",
     "-A OUTPUT -p udp -m mark --mark 0x1/0x1 -j NFQUEUE --queue-bypass --queue-num 2 -m comment "
     "--comment ipt_compiler\n"},
    {"ConditionsJoinedByAndAreOneRuleInTheOrderOfKinds", R"(
config nfnlq 'nfnlq'
	option queue_first '2'
	option queue_last '2'
	list matches '-m mark --mark 0x1/0x1'
	list matches 'AND'
	list matches '-p udp'
	list matches 'AND'
	list matches '-m conntrack --ctstate NEW'
)",
     "-A OUTPUT -p udp -m mark --mark 0x1/0x1 -m conntrack --ctstate NEW -j NFQUEUE --queue-bypass "
     "--queue-num 2 -m comment --comment ipt_compiler\n"},
    {"ConditionsJoinedByOr", R"(
config nfnlq 'nfnlq'
	option queue_first '2'
	option queue_last '2'
	list matches '-p udp -m udp --dport 53'
	list matches 'OR'
	list matches '-p tcp -m tcp --dport 53'
)",
     R"(:ipt_compiler_0 - [0:0]
-A OUTPUT -j ipt_compiler_0 -m comment --comment ipt_compiler
:ipt_compiler_1 - [0:0]
-A ipt_compiler_0 -p udp -m udp --dport 53 -g ipt_compiler_1 -m comment --comment ipt_compiler
-A ipt_compiler_0 -p tcp -m tcp --dport 53 -j NFQUEUE --queue-bypass --queue-num 2 -m comment --comment ipt_compiler
-A ipt_compiler_1 -j NFQUEUE --queue-bypass --queue-num 2 -m comment --comment ipt_compiler
)"},
    {"ANegatedCondition", R"(
config nfnlq 'nfnlq'
	option queue_first '2'
	option queue_last '2'
	list matches 'NOT -p udp -m udp --dport 53'
)",
     R"(:ipt_compiler_0 - [0:0]
-A OUTPUT -j ipt_compiler_0 -m comment --comment ipt_compiler
-A ipt_compiler_0 -p udp -m udp --dport 53 -j RETURN -m comment --comment ipt_compiler
-A ipt_compiler_0 -j NFQUEUE --queue-bypass --queue-num 2 -m comment --comment ipt_compiler
)"},
    {"AShortCircuitConditionWhosePathsMeetAgain", R"(
config nfnlq 'nfnlq'
	option queue_first '2'
	option queue_last '2'
	list matches 'NOT -p tcp'
	list matches 'AND'
	list matches '('
	list matches '-6'
	list matches 'AND'
	list matches '('
	list matches 'NOT -i br-lan'
	list matches 'AND'
	list matches '-p udp'
	list matches 'OR'
	list matches '-m mark --mark 0x1/0x1'
	list matches ')'
	list matches ')'
	list matches 'OR'
	list matches '! -i br-lan'
)",
     R"(:ipt_compiler_0 - [0:0]
-A OUTPUT -j ipt_compiler_0 -m comment --comment ipt_compiler
:ipt_compiler_1 - [0:0]
-A ipt_compiler_0 -p tcp -g ipt_compiler_1 -m comment --comment ipt_compiler
:ipt_compiler_2 - [0:0]
-A ipt_compiler_0 -6 -g ipt_compiler_2 -m comment --comment ipt_compiler
-A ipt_compiler_0 -g ipt_compiler_1 -m comment --comment ipt_compiler
:ipt_compiler_3 - [0:0]
-A ipt_compiler_2 -i br-lan -g ipt_compiler_3 -m comment --comment ipt_compiler
:ipt_compiler_4 - [0:0]
-A ipt_compiler_2 -p udp -g ipt_compiler_4 -m comment --comment ipt_compiler
-A ipt_compiler_2 -g ipt_compiler_3 -m comment --comment ipt_compiler
-A ipt_compiler_4 -j NFQUEUE --queue-bypass --queue-num 2 -m comment --comment ipt_compiler
-A ipt_compiler_3 -m mark --mark 0x1/0x1 -g ipt_compiler_4 -m comment --comment ipt_compiler
-A ipt_compiler_3 -g ipt_compiler_1 -m comment --comment ipt_compiler
-A ipt_compiler_1 ! -i br-lan -j NFQUEUE --queue-bypass --queue-num 2 -m comment --comment ipt_compiler
)"},
    {"StatementsBeforeTheDecision", R"(
config nfnlq 'nfnlq'
	option queue_first '2'
	option queue_last '2'
	list pre_targets '-j MARK --set-xmark 0x1/0x1'
	list pre_targets '-j CONNMARK --restore-mark'
	list matches '-p udp'
)",
     R"(-A OUTPUT -j MARK --set-xmark 0x1/0x1 -m comment --comment ipt_compiler
-A OUTPUT -j CONNMARK --restore-mark -m comment --comment ipt_compiler
-A OUTPUT -p udp -j NFQUEUE --queue-bypass --queue-num 2 -m comment --comment ipt_compiler
)"},
    {"AStatementUnderACondition", R"(
config nfnlq 'nfnlq'
	option queue_first '2'
	option queue_last '2'
	list pre_targets 'IF'
	list pre_targets '-p tcp'
	list pre_targets 'THEN'
	list pre_targets '-j MARK --set-xmark 0x1/0x1'
	list pre_targets 'FI'
)",
     R"(-A OUTPUT -p tcp -j MARK --set-xmark 0x1/0x1 -m comment --comment ipt_compiler
-A OUTPUT -j NFQUEUE --queue-bypass --queue-num 2 -m comment --comment ipt_compiler
)"},
    {"TwoStatementsUnderACondition", R"(
config nfnlq 'nfnlq'
	option queue_first '2'
	option queue_last '2'
	list pre_targets 'IF'
	list pre_targets '-p tcp'
	list pre_targets 'THEN'
	list pre_targets '-j MARK --set-xmark 0x1/0x1'
	list pre_targets '-j CONNMARK --save-mark'
	list pre_targets 'FI'
)",
     R"(:ipt_compiler_0 - [0:0]
-A OUTPUT -p tcp -j ipt_compiler_0 -m comment --comment ipt_compiler
-A ipt_compiler_0 -j MARK --set-xmark 0x1/0x1 -m comment --comment ipt_compiler
-A ipt_compiler_0 -j CONNMARK --save-mark -m comment --comment ipt_compiler
-A OUTPUT -j NFQUEUE --queue-bypass --queue-num 2 -m comment --comment ipt_compiler
)"},
    {"AStatementEitherWay", R"(
config nfnlq 'nfnlq'
	option queue_first '2'
	option queue_last '2'
	list pre_targets 'IF'
	list pre_targets '-p tcp'
	list pre_targets 'THEN'
	list pre_targets '-j MARK --set-xmark 0x1/0xf'
	list pre_targets 'ELSE'
	list pre_targets '-j MARK --set-xmark 0x2/0xf'
	list pre_targets 'FI'
)",
     R"(:ipt_compiler_0 - [0:0]
-A OUTPUT -j ipt_compiler_0 -m comment --comment ipt_compiler
:ipt_compiler_1 - [0:0]
-A ipt_compiler_0 -p tcp -g ipt_compiler_1 -m comment --comment ipt_compiler
-A ipt_compiler_0 -j MARK --set-xmark 0x2/0xf -m comment --comment ipt_compiler
-A ipt_compiler_1 -j MARK --set-xmark 0x1/0xf -m comment --comment ipt_compiler
-A OUTPUT -j NFQUEUE --queue-bypass --queue-num 2 -m comment --comment ipt_compiler
)"},
    {"AChainOfConditions", R"(
config nfnlq 'nfnlq'
	option queue_first '2'
	option queue_last '2'
	list pre_targets 'IF'
	list pre_targets '-p tcp'
	list pre_targets 'THEN'
	list pre_targets '-j MARK --set-xmark 0x1/0xf'
	list pre_targets 'ELSEIF'
	list pre_targets '-p udp'
	list pre_targets 'THEN'
	list pre_targets '-j MARK --set-xmark 0x2/0xf'
	list pre_targets 'ELSE'
	list pre_targets '-j MARK --set-xmark 0x3/0xf'
	list pre_targets 'FI'
	list pre_targets 'FI'
)",
     R"(:ipt_compiler_0 - [0:0]
-A OUTPUT -j ipt_compiler_0 -m comment --comment ipt_compiler
:ipt_compiler_1 - [0:0]
-A ipt_compiler_0 -p tcp -g ipt_compiler_1 -m comment --comment ipt_compiler
:ipt_compiler_2 - [0:0]
-A ipt_compiler_0 -p udp -g ipt_compiler_2 -m comment --comment ipt_compiler
-A ipt_compiler_0 -j MARK --set-xmark 0x3/0xf -m comment --comment ipt_compiler
-A ipt_compiler_2 -j MARK --set-xmark 0x2/0xf -m comment --comment ipt_compiler
-A ipt_compiler_1 -j MARK --set-xmark 0x1/0xf -m comment --comment ipt_compiler
-A OUTPUT -j NFQUEUE --queue-bypass --queue-num 2 -m comment --comment ipt_compiler
)"},
};

class QueueRules : public testing::TestWithParam<QueueCase> {};

TEST_P(QueueRules, AreTheSameInBothHooksOfBothFamilies) {
  const RunRecord run = runOnce(GetParam().config);
  EXPECT_EQ(run.restoreTexts, restoreTextsWith(forBothHooks(GetParam().outputRules)));
  EXPECT_EQ(run.calls, expectedCalls());
  EXPECT_EQ(programError(run.err), "");
  EXPECT_EQ(run.status, 0);
}

INSTANTIATE_TEST_SUITE_P(, QueueRules, testing::ValuesIn(kQueueCases),
                         [](const auto& test) { return test.param.name; });

// The restore tools refuse the range, so these tables are kept as texts.
TEST(QueueNumbers, AreComparedAsText) {
  Scenario scenario;
  scenario.configs = {"config nfnlq 'nfnlq'\n\toption queue_first '5'\n\toption queue_last '05'\n"};
  scenario.tools = Tools::Texts;
  for (const PassName& pass : kPasses) scenario.tables[pass.key()] = emptyTable(pass);
  const RunRecord run = runOnce(scenario);
  EXPECT_EQ(run.restoreTexts,
            restoreTextsWith(forBothHooks("-A OUTPUT -j NFQUEUE --queue-bypass --queue-balance "
                                          "5:05 -m comment --comment ipt_compiler\n")));
  EXPECT_EQ(run.status, 0);
}

// The section of that type, up to the next one.
std::string sectionOf(const std::string& config, const std::string& type) {
  const std::string start = "\nconfig ";
  const std::size_t begin = config.find(start + type);
  if (begin == std::string::npos) throw std::runtime_error("no section " + type);
  return config.substr(begin, config.find(start, begin + 1) - begin);
}

TEST(ExampleConfiguration, GivesTheQueueRulesThatAreWrittenDownBesideThisTest) {
  Scenario scenario;
  scenario.configs = {sectionOf(test_support::readFile(EXAMPLES_DIR "/firewall_cpp"), "nfnlq")};
  std::vector<std::string> expected;
  for (const PassName& pass : kPasses) {
    scenario.tables[pass.key()] =
        test_support::readFile(EXAMPLES_DIR "/foreign_rules/" + pass.key());
    expected.push_back(test_support::readFile(GOLDEN_SOURCE_DIR "/example/" + pass.key()));
  }
  const RunRecord run = runOnce(scenario);
  EXPECT_EQ(run.restoreTexts, expected);
  EXPECT_EQ(programError(run.err), "");
  EXPECT_EQ(run.status, 0);
}

}  // namespace
}  // namespace golden
