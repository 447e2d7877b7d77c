// The NFQUEUE rule set: when there is a queue, which one, and its errors, on the program's start-up
// objects. Its rules are in the golden cases and in the examples of the pages.
#include "firewall_cpp/nfnlq/nfnlq.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "ipt_compiler/export/ipt_lang.h"
#include "ipt_compiler/rule_model.h"
#include "tests/support/configuration.h"
#include "tests/support/graph_text.h"
#include "tests/support/program_comparison.h"
#include "tests/unit/product/error_text.h"

namespace tavrix {
namespace {

using test_support::errorText;
using test_support::graphText;

// lines: the section's "option" and "list" lines.
void configure(const std::string& lines) {
  test_support::setConfiguration("config type nfnlq\n" + lines);
}

std::string queue(const std::string& first, const std::string& last) {
  return "option queue_first '" + first + "'\noption queue_last '" + last + "'\n";
}

std::string generated() {
  return test_support::compiledText(nfnlq::queueProgram(), "OUTPUT");
}

std::string queueRule(const std::string& arguments) {
  return "-A OUTPUT -j NFQUEUE --queue-bypass " + arguments +
         " -m comment --comment ipt_compiler\n";
}

TEST(Nfnlq, WithoutASectionIsAProgramThatNeverRuns) {
  test_support::setConfiguration("");
  const IptTokens matches;
  auto position = matches.begin();
  const IptIfBlock queue =
      If(parseSerializedMatches(position, matches.end())).then({makeEmptyProg()});
  const IptProg program = If(makeConstCond(false)).then({makeEmptyProg(), queue});
  EXPECT_EQ(graphText(nfnlq::queueProgram().first), graphText(program.first));
  EXPECT_EQ(generated(), "");
}

TEST(Nfnlq, IsConfiguredWithBothQueueOptionsOnly) {
  for (const char* lines :
       {"option queue_first 2\n", "option queue_last 2\nlist pre_targets '-j A'\n"}) {
    configure(lines);
    EXPECT_EQ(generated(), "");
  }
}

TEST(Nfnlq, ComparesQueuesAsText) {
  const std::vector<std::pair<std::string, const char*>> cases = {
      {queue("5", "5"), "--queue-num 5"},
      {queue("0", "3"), "--queue-balance 0:3"},
      {queue("5", "05"), "--queue-balance 5:05"},
      {queue("5", "5 "), "--queue-balance 5:5"},
      {queue("3", "0"), "--queue-balance 3:0"},
      // The values are not looked at.
      {queue("x", "x"), "--queue-num x"},
      {queue("", ""), "--queue-num"},
      // Only the first value counts.
      {"list queue_first 1\nlist queue_first 7\nlist queue_last 4\nlist queue_last 1\n",
       "--queue-balance 1:4"},
  };
  for (const auto& [lines, arguments] : cases) {
    configure(lines);
    EXPECT_EQ(generated(), queueRule(arguments));
  }
}

// Whether the queue is configured or not.
TEST(Nfnlq, ReportsWhatCannotBeRead) {
  for (const std::string& queues : {std::string(), queue("2", "2")}) {
    configure(queues + "list pre_targets IF\nlist pre_targets -4\nlist pre_targets THEN\n");
    EXPECT_EQ(errorText<std::invalid_argument>(generated), "Invalid serialized targets!");
    configure(queues + "list matches -4\nlist matches -6\n");
    EXPECT_EQ(errorText<std::invalid_argument>(generated), "Invalid serialized matches!");
  }
}

// Statements, then the condition, then the queue.
TEST(Nfnlq, ReportsTheFirstErrorInReadingOrder) {
  std::string lines = queue("2 -4", "2 -4");
  const std::vector<std::pair<std::string, std::string>> earlier = {
      {"",
       "firewall_cpp/nfnlq/nfnlq:30: failed to parse '-j NFQUEUE --queue-bypass --queue-num 2 -4' "
       "as a target. redundant parameters: '-4'."},
      {"list matches -4\nlist matches AND\nlist matches Y\n",
       "./ipt_compiler/export/ipt_lang:299: failed to parse 'Y' as matches. not a valid parameter "
       "of iptables."},
      {"list pre_targets X\n",
       "./ipt_compiler/export/ipt_lang:349: failed to parse 'X' as a target. not a valid parameter "
       "of iptables."},
  };
  for (const auto& [more, error] : earlier) {
    lines += more;
    configure(lines);
    EXPECT_EQ(errorText<IptCompileFailed>(generated), error);
  }
}

}  // namespace
}  // namespace tavrix
