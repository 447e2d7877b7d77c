// The NFQUEUE rule set: programs and rules for configurations, on the program's start-up objects.
#include "firewall_cpp/nfnlq/nfnlq.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <sstream>
#include <stdexcept>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "firewall_cpp/chain_programs.h"
#include "firewall_cpp/kovsel/kovsel.h"
#include "ipt_compiler/chain_generation.h"
#include "tests/support/configuration.h"
#include "tests/support/graph_text.h"
#include "tests/unit/product/error_text.h"

namespace tavrix {
namespace {

using test_support::errorText;
using test_support::graphText;
using test_support::setConfiguration;
using List = std::vector<std::string>;

struct UciOption {
  std::string name;
  // A string option or a list.
  std::variant<std::string, List> value;
};

std::string sectionText(const std::string& name, const std::vector<UciOption>& options) {
  std::string text = "config type " + name + "\n";
  for (const UciOption& option : options) {
    if (const auto* value = std::get_if<std::string>(&option.value)) {
      text += "option " + option.name + " '" + *value + "'\n";
      continue;
    }
    for (const std::string& item : std::get<List>(option.value)) {
      text += "list " + option.name + " '" + item + "'\n";
    }
  }
  return text;
}

void configure(const std::vector<UciOption>& options) {
  setConfiguration(sectionText("nfnlq", options));
}

std::vector<UciOption> queue(const char* first, const char* last) {
  return {{"queue_first", first}, {"queue_last", last}};
}

std::string generated(IptProg (*build)() = nfnlq::queueProgram) {
  IptProg prog = build();
  std::uint32_t counter = 0;
  std::ostringstream out;
  compileHook(counter, out, prog, "OUTPUT", false);
  return out.str();
}

std::string queueRule(const std::string& arguments, const std::string& before = "") {
  return "-A OUTPUT " + before + "-j NFQUEUE --queue-bypass " + arguments +
         " -m comment --comment ipt_compiler\n";
}

// IF configured THEN statements, IF condition THEN target FI FI.
std::string programText(bool configured, IptProg statements, IptCond condition, IptProg target) {
  IptIfBlock inner = If(condition).then({target});
  IptProg body = sequence({statements, inner});
  return graphText(IptProg(If(makeConstCond(configured)).then({body})).first);
}

IptCond readCondition(const IptTokens& tokens) {
  auto position = tokens.begin();
  return parseSerializedMatches(position, tokens.end());
}

TEST(Nfnlq, WithoutASectionIsAProgramThatNeverRuns) {
  setConfiguration("");
  EXPECT_EQ(graphText(nfnlq::queueProgram().first),
            programText(false, makeEmptyProg(), readCondition({}), makeEmptyProg()));
  EXPECT_EQ(generated(), "");
}

TEST(Nfnlq, IsConfiguredWithBothQueueOptionsOnly) {
  configure({{"queue_first", "2"}});
  EXPECT_EQ(graphText(nfnlq::queueProgram().first),
            programText(false, makeEmptyProg(), readCondition({}), makeEmptyProg()));
  EXPECT_EQ(generated(), "");
  configure({{"queue_last", "2"}});
  EXPECT_EQ(generated(), "");
  configure({{"queue_first", List{}}, {"queue_last", "2"}});
  EXPECT_EQ(generated(), "");
  // The values are not looked at.
  configure(queue("", ""));
  EXPECT_EQ(generated(), queueRule("--queue-num"));
}

TEST(Nfnlq, SendsEveryPacketToTheQueueWithoutACondition) {
  configure(queue("2", "2"));
  EXPECT_EQ(generated(), queueRule("--queue-num 2"));
  EXPECT_EQ(graphText(nfnlq::queueProgram().first),
            programText(true, makeEmptyProg(), readCondition({}),
                        makeTarget("-j NFQUEUE --queue-bypass --queue-num 2", "f", 1)));
}

TEST(Nfnlq, ComparesQueuesAsText) {
  const std::vector<std::pair<std::vector<UciOption>, const char*>> cases = {
      {queue("5", "5"), "--queue-num 5"},
      {queue("0", "3"), "--queue-balance 0:3"},
      {queue("5", "05"), "--queue-balance 5:05"},
      {queue("5", "5 "), "--queue-balance 5:5"},
      {queue("3", "0"), "--queue-balance 3:0"},
      {queue("x", "x"), "--queue-num x"},
      // Only the first value counts.
      {{{"queue_first", List{"1", "7"}}, {"queue_last", List{"4", "1"}}}, "--queue-balance 1:4"},
      {{{"queue_first", List{"1", "7"}}, {"queue_last", List{"1", "9"}}}, "--queue-num 1"},
  };
  for (const auto& [options, arguments] : cases) {
    configure(options);
    EXPECT_EQ(generated(), queueRule(arguments));
  }
}

TEST(Nfnlq, SendsWhatMatches) {
  auto options = queue("2", "2");
  options.push_back({"matches", List{"-p tcp -m tcp --dport 53", "OR", "-p udp"}});
  configure(options);
  EXPECT_EQ(generated(),
            ":ipt_compiler_0 - [0:0]\n"
            "-A OUTPUT -j ipt_compiler_0 -m comment --comment ipt_compiler\n"
            ":ipt_compiler_1 - [0:0]\n"
            "-A ipt_compiler_0 -p tcp -m tcp --dport 53 -g ipt_compiler_1 "
            "-m comment --comment ipt_compiler\n"
            "-A ipt_compiler_0 -p udp -j NFQUEUE --queue-bypass --queue-num 2 "
            "-m comment --comment ipt_compiler\n"
            "-A ipt_compiler_1 -j NFQUEUE --queue-bypass --queue-num 2 "
            "-m comment --comment ipt_compiler\n");

  options.back() = {"matches", "-p tcp"};
  configure(options);
  EXPECT_EQ(generated(), queueRule("--queue-num 2", "-p tcp "));
}

TEST(Nfnlq, RunsTheStatementsBeforeTheConditionIsTested) {
  auto options = queue("0", "1");
  options.push_back(
      {"pre_targets", List{"-j MARK --set-mark 1", "IF", "-4", "THEN", "-m counter", "FI"}});
  options.push_back({"matches", List{"-p udp"}});
  configure(options);
  EXPECT_EQ(generated(),
            "-A OUTPUT -j MARK --set-mark 1 -m comment --comment ipt_compiler\n"
            "-A OUTPUT -4 -m counter -m comment --comment ipt_compiler\n"
            "-A OUTPUT -p udp -j NFQUEUE --queue-bypass --queue-balance 0:1 "
            "-m comment --comment ipt_compiler\n");
}

TEST(Nfnlq, WritesNothingForStatementsOfAQueueThatIsNotConfigured) {
  configure({{"pre_targets", List{"-j A", "-j B"}}, {"matches", List{"-p udp"}}});
  EXPECT_EQ(generated(), "");
}

std::string textError() {
  return errorText<IptCompileFailed>([] { nfnlq::queueProgram(); });
}
std::string listError() {
  return errorText<std::invalid_argument>([] { nfnlq::queueProgram(); });
}

// Whether the queue is configured or not.
TEST(Nfnlq, ReportsWhatCannotBeRead) {
  for (const bool configured : {false, true}) {
    const auto configureWith = [configured](const UciOption& option) {
      auto options = configured ? queue("2", "2") : std::vector<UciOption>{};
      options.push_back(option);
      configure(options);
    };
    configureWith({"pre_targets", List{"IF", "-4", "THEN", "-j A"}});
    EXPECT_EQ(listError(), "Invalid serialized targets!");
    configureWith({"matches", List{"-4", "-6"}});
    EXPECT_EQ(listError(), "Invalid serialized matches!");
    configureWith({"pre_targets", "ACCEPT"});
    EXPECT_EQ(textError(),
              "./ipt_compiler/export/ipt_lang:349: failed to parse 'ACCEPT' as a target. not a "
              "valid parameter of iptables.");
    configureWith({"matches", "tcp"});
    EXPECT_EQ(textError(),
              "./ipt_compiler/export/ipt_lang:299: failed to parse 'tcp' as matches. not a valid "
              "parameter of iptables.");
    configureWith({"matches", "NOT tcp"});
    EXPECT_EQ(textError(),
              "./ipt_compiler/export/ipt_lang:297: failed to parse ' tcp' as matches. not a valid "
              "parameter of iptables.");
  }
}

TEST(Nfnlq, NamesItsOwnPlaceForQueuesThatBreakTheRule) {
  configure(queue("2 -j ACCEPT", "2 -j ACCEPT"));
  EXPECT_EQ(textError(),
            "firewall_cpp/nfnlq/nfnlq:30: failed to parse '-j NFQUEUE --queue-bypass --queue-num "
            "2 -j ACCEPT' as a target. redundant parameters: '-j ACCEPT'.");
}

// Statements, then the condition, then the queue.
TEST(Nfnlq, ReportsTheFirstErrorInReadingOrder) {
  const UciOption badStatements = {"pre_targets", "X"};
  const UciOption badCondition = {"matches", List{"-4", "AND", "Y"}};
  auto options = queue("2 -4", "2 -4");
  options.push_back(badCondition);
  options.push_back(badStatements);
  configure(options);
  EXPECT_EQ(textError(),
            "./ipt_compiler/export/ipt_lang:349: failed to parse 'X' as a target. not a valid "
            "parameter of iptables.");
  options.pop_back();
  configure(options);
  EXPECT_EQ(textError(),
            "./ipt_compiler/export/ipt_lang:299: failed to parse 'Y' as matches. not a valid "
            "parameter of iptables.");
  options.pop_back();
  configure(options);
  EXPECT_EQ(textError(),
            "firewall_cpp/nfnlq/nfnlq:30: failed to parse '-j NFQUEUE --queue-bypass --queue-num "
            "2 -4' as a target. redundant parameters: '-4'.");
}

TEST(Nfnlq, BuildsNodesOfItsOwnAtEachCallFromTheConfigurationOfThen) {
  configure(queue("2", "2"));
  const IptProg first = nfnlq::queueProgram();
  const IptProg second = nfnlq::queueProgram();
  EXPECT_EQ(graphText(first.first), graphText(second.first));
  EXPECT_NE(first.first, second.first);
  EXPECT_NE(first.last, second.last);
  configure(queue("3", "3"));
  EXPECT_EQ(generated(), queueRule("--queue-num 3"));
}

TEST(ChainPrograms, AccessControlComesBeforeTheQueue) {
  setConfiguration(
      sectionText("nfnlq", queue("2", "2")) +
      sectionText("kovsel",
                  {{"user_list", List{"1"}}, {"mac_set_user1", "set"}, {"label_user1", "1"}}));
  const std::string accessControl = generated(kovsel::mangleProgram);
  ASSERT_NE(accessControl, "");
  EXPECT_EQ(generated(manglePreroutingProgram), accessControl + queueRule("--queue-num 2"));
  EXPECT_EQ(generated(mangleOutputProgram), queueRule("--queue-num 2"));
}

TEST(ChainPrograms, QueueIsInBothMangleChainsAndNowhereElse) {
  configure(queue("2", "2"));
  EXPECT_EQ(generated(manglePreroutingProgram), queueRule("--queue-num 2"));
  EXPECT_EQ(generated(mangleOutputProgram), queueRule("--queue-num 2"));
  EXPECT_EQ(generated(natPreroutingProgram), "");
  EXPECT_EQ(generated(filterInputProgram), "");
  EXPECT_EQ(generated(filterForwardProgram), "");
}

}  // namespace
}  // namespace tavrix
