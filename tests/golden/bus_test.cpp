// The bus at start-up: without the configuration there is no run. The process ends with the text of
// the stage that failed, whatever the bus says; what each stage refuses is in its unit test.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <optional>
#include <regex>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "tests/golden/golden_run.h"
#include "tests/support/process.h"
#include "tests/support/scripted_bus.h"
#include "tests/support/temp_dir.h"
#include "tests/support/wire_bytes.h"

namespace golden {
namespace {

using test_support::Conversation;
using test_support::kScriptedObject;
using test_support::objectFound;
using testing::ElementsAreArray;

const std::string kNoDaemon = uncaught("std::runtime_error", "Ubus: Failed to connect to ubusd.");
const std::string kDisconnected = uncaught("std::runtime_error", "Ubus: Connection failed");

TEST(Bus, WithoutItOrThePackageNoToolIsStarted) {
  struct Row {
    bool bus;
    std::optional<std::string> config;
    std::string err;
  };
  const std::vector<Row> rows = {
      {false, "", kNoDaemon},
      {true, std::nullopt, uncaught("std::runtime_error", "Ubus: Not found")},
      {true, "config nfnlq 'nfnlq\n", uncaught("std::runtime_error", "Ubus: Unknown error")},
  };
  for (const Row& row : rows) {
    Scenario scenario;
    scenario.bus = row.bus;
    scenario.configs = {row.config};
    const RunRecord run = runOnce(scenario);
    EXPECT_EQ(run.err, row.err);
    EXPECT_EQ(run.out, "");
    EXPECT_EQ(run.status, kAborted);
    EXPECT_EQ(run.calls, std::vector<std::string>());
    EXPECT_EQ(run.outputFile, std::nullopt);
  }
}

using End = std::pair<int, std::string>;  // status and standard error
const End kGoodEnd = {0, ""};

constexpr std::string_view kReplayScript = R"(
cd "$GOLDEN_DIR" || exit 125
ulimit -c 0
mkfifo ready
"$SCRIPTED_BUS" conversations 1 >ready &
read -r _ <ready
number=0
while [ $number -lt "$COUNT" ]; do
  (PATH=$PWD/tools; exec "$FIREWALL_CPP") 2>err.$number
  echo $? >>statuses
  number=$((number + 1))
done
)";

// Runs the program once for each conversation, all on one router. The program's tools do nothing:
// what counts is whether it gets as far as starting them and ends well.
std::vector<End> endsOf(const std::vector<Conversation>& conversations) {
  const test_support::TempDir dir;
  std::filesystem::create_directory(dir / "tools");
  for (const char* tool :
       {"iptables-save", "iptables-restore", "ip6tables-save", "ip6tables-restore", "cat"}) {
    std::filesystem::create_symlink("/bin/true", dir / "tools/" + tool);
  }
  test_support::writeFile(dir / "conversations", test_support::conversationLines(conversations));
  test_support::ProcessOptions options;
  options.variables = {{"GOLDEN_DIR", dir.path()},
                       {"SCRIPTED_BUS", SCRIPTED_BUS_PATH},
                       {"FIREWALL_CPP", programUnderTest()},
                       {"COUNT", std::to_string(conversations.size())}};
  requireSuccess(test_support::runProcess({ROUTER_PATH, "--tables=files", "--no-bus", "--",
                                           "/bin/sh", "-c", std::string(kReplayScript)},
                                          options));
  std::vector<End> ends;
  std::istringstream statuses(test_support::readFile(dir / "statuses"));
  for (int status = 0; statuses >> status;) {
    const std::string err = test_support::readFile(dir / ("err." + std::to_string(ends.size())));
    ends.emplace_back(status, test_support::plainError(err));
  }
  return ends;
}

std::string answer(const std::string& members) {
  return wire::data(2, kScriptedObject, members) + wire::objectStatus(2, kScriptedObject, 0);
}

// One row for each stage that can end the run.
TEST(Bus, EndsTheProcessWithTheTextOfTheStageThatFails) {
  const std::string hello = wire::hello(1);
  const std::vector<std::pair<Conversation, std::string>> rows = {
      {{""}, kNoDaemon},
      {{hello, ""}, kDisconnected},
      {{hello, objectFound(), wire::objectStatus(2, kScriptedObject, 6)},
       uncaught("std::runtime_error", "Ubus: Permission denied")},
      {{hello, objectFound(), wire::data(2, kScriptedObject, wire::table("values", ""))},
       kDisconnected},
      {{hello, objectFound(), answer("")},
       uncaught("std::invalid_argument", "BlobMsgParser: Cannot find the element named values")},
      {{hello, objectFound(), answer(wire::table("values", wire::text("nfnlq", "x")))},
       uncaught("std::invalid_argument", "BlobMsgParser: Invalid type.")},
      {{hello, objectFound(), answer(wire::table("values", wire::named(3, "nfnlq", "x")))},
       uncaught("std::invalid_argument", "BlobMsgParser: Invalid format.")},
  };
  std::vector<Conversation> conversations;
  std::vector<End> expected;
  for (const auto& [conversation, err] : rows) {
    conversations.push_back(conversation);
    expected.emplace_back(kAborted, err);
  }
  EXPECT_THAT(endsOf(conversations), ElementsAreArray(expected));
}

// There is no time limit: the program sleeps in its call until it is killed.
TEST(Bus, WhoseDaemonNeverAnswersIsWaitedFor) {
  constexpr int killed = 128 + 9;
  const std::string silence(test_support::kSilence);
  const std::vector<End> ends =
      endsOf({{silence}, {wire::hello(1), silence}, {wire::hello(1), objectFound(), silence}});
  EXPECT_EQ(ends, std::vector<End>(3, End{killed, ""}));
}

// Everything that the daemon says in a run that ends well.
const std::string kWholeConversation =
    wire::hello(1) + objectFound() +
    answer(wire::table(
        "values",
        wire::table("nfnlq", wire::int8(".anonymous", 0) + wire::text(".type", "nfnlq") +
                                 wire::text(".name", "nfnlq") + wire::int32(".index", 0) +
                                 wire::text("queue_first", "2") + wire::text("queue_last", "2") +
                                 wire::array("note", wire::text("", "a") + wire::text("", "bc")))));

TEST(Conversation, ThatEndsAtAnyByteEndsTheRunUntilItsLast) {
  const std::string& whole = kWholeConversation;
  const std::size_t helloSize = wire::hello(1).size();
  std::vector<Conversation> conversations;
  std::vector<End> expected;
  for (std::size_t size = 0; size <= whole.size(); ++size) {
    conversations.push_back({whole.substr(0, size)});
    expected.emplace_back(kAborted, size < helloSize ? kNoDaemon : kDisconnected);
  }
  expected.back() = kGoodEnd;
  EXPECT_THAT(endsOf(conversations), ElementsAreArray(expected));
}

class AlteredByte : public testing::TestWithParam<unsigned int> {};

TEST_P(AlteredByte, AnywhereInTheConversationHasASpecifiedEnd) {
  std::vector<Conversation> conversations;
  for (std::size_t i = 0; i < kWholeConversation.size(); ++i) {
    std::string altered = kWholeConversation;
    altered[i] = static_cast<char>(static_cast<unsigned char>(altered[i]) ^ GetParam());
    conversations.push_back({altered});
  }
  const std::vector<End> ends = endsOf(conversations);
  ASSERT_EQ(ends.size(), conversations.size());
  const std::regex failure(
      "terminate called after throwing an instance of 'std::"
      "(runtime_error'\n  what\\(\\):  Ubus: (Failed to connect to ubusd\\.|Connection failed|"
      "Not found|Parsing message data failed|Invalid command|Unknown error: -?[0-9]+)|"
      "invalid_argument'\n  what\\(\\):  BlobMsgParser: (Invalid (type|format)\\.|"
      "Cannot find the element named (values|\\.name)))\n");
  std::size_t goodEnds = 0;
  for (std::size_t i = 0; i < ends.size(); ++i) {
    if (ends[i] == kGoodEnd) {
      ++goodEnds;
      continue;
    }
    const auto& [status, err] = ends[i];
    EXPECT_EQ(status, kAborted) << "at byte " << i;
    EXPECT_TRUE(std::regex_match(err, failure)) << "at byte " << i << ": " << err;
  }
  // Padding, values and the names of what is not read may be anything.
  EXPECT_GT(goodEnds, 0U);
  EXPECT_LT(goodEnds, ends.size());
}

INSTANTIATE_TEST_SUITE_P(, AlteredByte, testing::Values(0x01U, 0x80U, 0xffU),
                         [](const auto& test) { return "By" + std::to_string(test.param); });

}  // namespace
}  // namespace golden
