// What the bus answers to the program's two requests: whatever the bytes, the end is a specified
// one.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <filesystem>
#include <map>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

#include "tests/golden/bus_replay.h"
#include "tests/golden/golden_run.h"
#include "tests/support/process.h"
#include "tests/support/temp_dir.h"
#include "tests/support/wire_bytes.h"

namespace golden {
namespace {

std::string reply(const std::string& members) {
  return wire::data(2, kObject, members);
}
std::string replyEnd() {
  return wire::objectStatus(2, kObject, 0);
}

std::string section(const std::string& name, const std::string& options) {
  return wire::table(name, wire::int8(".anonymous", 0) + wire::text(".type", "nfnlq") +
                               wire::text(".name", name) + wire::int32(".index", 0) + options);
}
const std::string kQueueMembers = wire::text("queue_first", "2") + wire::text("queue_last", "2");

const std::string kDisconnected = uncaught("std::runtime_error", "Ubus: Connection failed");

// Runs the program against each stream of bytes, all on one router. The program's tools do nothing:
// what counts is whether it gets as far as starting them and ends well.
std::vector<ReplayResult> replayEach(const std::vector<std::string>& streams) {
  const test_support::TempDir dir;
  for (const char* tool :
       {"iptables-save", "iptables-restore", "ip6tables-save", "ip6tables-restore", "cat"}) {
    std::filesystem::create_symlink("/bin/true", dir / tool);
  }
  std::string cases;
  for (const std::string& stream : streams) cases += replayLine({stream});
  test_support::writeFile(dir / "cases", cases);
  const test_support::ProcessResult result =
      test_support::runProcess({ROUTER_PATH, "--tables=files", "--no-bus", "--", "/bin/sh", "-c",
                                R"(ulimit -c 0; exec "$0" "$@")", BUS_REPLAY_PATH, dir / "cases",
                                "/usr/bin/env", "PATH=" + dir.path().string(), FIREWALL_CPP_PATH});
  requireSuccess(result);
  std::vector<ReplayResult> results;
  std::istringstream lines(result.out);
  for (std::string line; std::getline(lines, line);) {
    results.push_back(parseReplayResult(line));
    results.back().err = withoutLoaderNotes(results.back().err);
  }
  if (results.size() != streams.size())
    throw RouterFailed(result.exitStatus, "results are missing");
  return results;
}

RunRecord runOnReply(const std::string& messages) {
  Scenario scenario;
  scenario.bus = false;
  scenario.replay = {{wire::hello(kClient), objectFound(), messages}};
  return runOnce(scenario);
}

void expectMangleRules(const RunRecord& run, const std::string& outputRules) {
  EXPECT_EQ(run.restoreTexts, restoreTextsWith(forBothHooks(outputRules)));
  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(programError(run.err), "");
}

void expectRefused(const std::string& members, const std::string& what) {
  const RunRecord run = runOnReply(reply(members) + replyEnd());
  EXPECT_EQ(run.err, uncaught("std::invalid_argument", "BlobMsgParser: " + what));
  EXPECT_EQ(run.status, kAborted);
  EXPECT_EQ(run.calls, std::vector<std::string>());
}

TEST(Reply, IsReadBySectionNamesAndByStringsAndListsOnly) {
  const std::string sections =
      // A section counts by its ".name", and two of one name add up.
      wire::table("cfg0", wire::text(".name", "nfnlq") + wire::text("queue_first", "2") +
                              wire::int32("queue_last", 9) + wire::table("note", "")) +
      wire::table("nfnlq", wire::text(".name", "another") + wire::text("queue_first", "7")) +
      wire::table("cfg1", wire::text(".name", "nfnlq") + wire::text("queue_last", "2") +
                              // A string and a list of one name make one list.
                              wire::text("matches", "-p udp") + wire::array("pre_targets", "") +
                              wire::array("matches", wire::text("", "AND") + wire::text("", "-4")));
  expectMangleRules(runOnReply(reply(wire::text("other", "x") + wire::table("values", sections) +
                                     wire::table("values", "")) +
                               replyEnd()),
                    "-A OUTPUT -4 -p udp -j NFQUEUE --queue-bypass --queue-num 2 -m comment "
                    "--comment ipt_compiler\n");
}

TEST(Reply, MayBeMissingBeforeAStatusOfSuccess) {
  expectMangleRules(runOnReply(replyEnd()), "");
}

TEST(Reply, MayHoldNoSections) {
  expectMangleRules(runOnReply(reply(wire::table("values", "")) + replyEnd()), "");
}

TEST(Reply, InSeveralMessagesIsTheFirstOne) {
  const std::string first = reply(wire::table("values", section("nfnlq", kQueueMembers)));
  const std::string second = reply(wire::table(
      "values", section("nfnlq", wire::text("queue_first", "7") + wire::text("queue_last", "8"))));
  expectMangleRules(runOnReply(first + second + first + replyEnd()),
                    "-A OUTPUT -j NFQUEUE --queue-bypass --queue-num 2 -m comment --comment "
                    "ipt_compiler\n");
}

TEST(Reply, InSeveralMessagesIsCheckedInEachOfThem) {
  const std::string first = reply(wire::table("values", section("nfnlq", kQueueMembers)));
  const RunRecord run = runOnReply(first + reply(wire::text("other", "x")) + replyEnd());
  EXPECT_EQ(run.err, uncaught("std::invalid_argument",
                              "BlobMsgParser: Cannot find the element named values"));
  EXPECT_EQ(run.status, kAborted);
}

TEST(Reply, OfAMebibyteIsRead) {
  // The largest message that the bus carries; the sizes around it are those of the headers.
  const auto withNote = [](std::size_t size) {
    return reply(wire::table(
        "values", section("nfnlq", kQueueMembers + wire::text("note", std::string(size, 'x')))));
  };
  constexpr std::size_t messageHeader = 8;
  const std::size_t around = withNote(4).size() - 4 - messageHeader;
  const std::string largest = withNote(1048576 - around);
  ASSERT_EQ(largest.size(), 1048576 + messageHeader);
  expectMangleRules(runOnReply(largest + replyEnd()),
                    "-A OUTPUT -j NFQUEUE --queue-bypass --queue-num 2 -m comment --comment "
                    "ipt_compiler\n");
}

TEST(Reply, OfAMebibyteOfSectionsIsRead) {
  std::string sections = section("nfnlq", kQueueMembers);
  std::size_t number = 0;
  while (sections.size() < 1000000) sections += section("s" + std::to_string(number++), "");
  expectMangleRules(runOnReply(reply(wire::table("values", sections)) + replyEnd()),
                    "-A OUTPUT -j NFQUEUE --queue-bypass --queue-num 2 -m comment --comment "
                    "ipt_compiler\n");
}

TEST(Reply, WithoutAValuesTableIsRefused) {
  expectRefused("", "Cannot find the element named values");
  expectRefused(wire::text("value", "x"), "Cannot find the element named values");
  expectRefused(wire::text("values", "x"), "Cannot find the element named values");
  expectRefused(wire::array("values", ""), "Cannot find the element named values");
}

TEST(Reply, WithASectionThatIsNoTableIsRefused) {
  expectRefused(wire::table("values", section("nfnlq", kQueueMembers) + wire::text("nfnlq", "x")),
                "Invalid type.");
  expectRefused(wire::table("values", wire::array("nfnlq", "")), "Invalid type.");
  expectRefused(wire::table("values", wire::int8("nfnlq", 1)), "Invalid type.");
}

TEST(Reply, WithASectionWithoutANameIsRefused) {
  expectRefused(wire::table("values", wire::table("nfnlq", kQueueMembers)),
                "Cannot find the element named .name");
  expectRefused(wire::table("values", wire::table("nfnlq", wire::int32(".name", 1))),
                "Cannot find the element named .name");
}

TEST(Reply, WithAListItemThatIsNoStringIsRefused) {
  for (const std::string& item :
       {wire::int32("", 1), wire::array("", wire::text("", "x")), wire::table("", "")}) {
    expectRefused(wire::table("values", section("nfnlq", wire::array("matches", item))),
                  "Invalid type.");
    expectRefused(
        wire::table("values", section("nfnlq", wire::array("matches", wire::text("", "x") + item))),
        "Invalid type.");
  }
}

TEST(Reply, WithAMalformedAttributeIsRefused) {
  // A string without its NUL, an integer of the wrong size, a type that does not exist.
  for (const std::string& bad : {wire::named(3, "a", "x"), wire::named(3, "a", ""),
                                 wire::named(5, "a", "x"), wire::named(9, "a", "x")}) {
    expectRefused(bad + wire::table("values", ""), "Invalid format.");
    expectRefused(wire::table("values", bad), "Invalid format.");
    expectRefused(wire::table("values", section("nfnlq", bad)), "Invalid format.");
    expectRefused(wire::table("values", section("nfnlq", wire::array("a", bad))),
                  "Invalid format.");
  }
}

// Everything that the daemon says in a run that ends well.
const std::string kWholeConversation =
    wire::hello(kClient) + objectFound() +
    reply(wire::table(
        "values",
        section("nfnlq",
                kQueueMembers + wire::array("note", wire::text("", "a") + wire::text("", "bc"))))) +
    replyEnd();
constexpr std::size_t kHelloSize = 12;

TEST(Conversation, ThatEndsAtAnyByteEndsTheRunUntilItsLast) {
  const std::string& whole = kWholeConversation;
  std::vector<std::string> streams;
  for (std::size_t size = 0; size <= whole.size(); ++size) streams.push_back(whole.substr(0, size));
  const std::vector<ReplayResult> results = replayEach(streams);
  for (std::size_t size = 0; size <= whole.size(); ++size) {
    ReplayResult expected{kAborted, kDisconnected};
    if (size < kHelloSize) {
      expected.err = uncaught("std::runtime_error", "Ubus: Failed to connect to ubusd.");
    }
    if (size == whole.size()) expected = {0, ""};
    EXPECT_EQ(results[size].status, expected.status) << "after " << size << " bytes";
    EXPECT_EQ(results[size].err, expected.err) << "after " << size << " bytes";
  }
}

// The conversation with each byte altered in turn.
std::vector<std::string> alteredConversations(unsigned int change) {
  std::vector<std::string> streams(kWholeConversation.size(), kWholeConversation);
  for (std::size_t i = 0; i < streams.size(); ++i) {
    streams[i][i] = static_cast<char>(static_cast<unsigned char>(streams[i][i]) ^ change);
  }
  return streams;
}

class AlteredByte : public testing::TestWithParam<unsigned int> {};

TEST_P(AlteredByte, AnywhereInTheConversationHasASpecifiedEnd) {
  const std::vector<ReplayResult> results = replayEach(alteredConversations(GetParam()));
  std::vector<std::string> refusals;
  for (const char* what :
       {"Invalid type.", "Invalid format.", "Cannot find the element named values",
        "Cannot find the element named .name"}) {
    refusals.push_back(uncaught("std::invalid_argument", std::string("BlobMsgParser: ") + what));
  }
  const std::regex busFailure(
      "terminate called after throwing an instance of 'std::runtime_error'\n"
      "  what\\(\\):  Ubus: (Failed to connect to ubusd\\.|Connection failed|Not found|"
      "Parsing message data failed|Invalid command|Unknown error: -?[0-9]+)\n");
  std::size_t goodEnds = 0;
  for (std::size_t i = 0; i < results.size(); ++i) {
    const ReplayResult& result = results[i];
    if (result == ReplayResult{0, ""}) {
      ++goodEnds;
      continue;
    }
    EXPECT_EQ(result.status, kAborted) << "at byte " << i;
    EXPECT_TRUE(std::regex_match(result.err, busFailure) ||
                std::find(refusals.begin(), refusals.end(), result.err) != refusals.end())
        << "at byte " << i << ": " << result.err;
  }
  // Padding, values and the names of what is not read may be anything.
  EXPECT_GT(goodEnds, 0U);
  EXPECT_LT(goodEnds, results.size());
}

INSTANTIATE_TEST_SUITE_P(, AlteredByte, testing::Values(0x01U, 0x80U, 0xffU),
                         [](const auto& test) { return "By" + std::to_string(test.param); });

// The end for each byte of the configuration, when all its bits are turned around:
//   .  a good end: the byte is padding, part of a text, or a length beyond the attribute's
//   container
//      (what follows is then not read)
//   F  "Invalid format.": no such type, a name header that does not fit, or no NUL after a text
//   V  "values" is not found
//   N  a section's ".name" is not found
struct AttributeEnds {
  const char* attribute;
  const char* ends;  // header word (4), name length (2), name, NUL and padding, data
};
constexpr AttributeEnds kReplyEnds[] = {
    // The last byte of the length makes it a table that is too short for its section.
    {"values", "FVV.FFVVVVVVF..."},
    {"section nfnlq", "F..NFF.....F"},
    {".anonymous", "FNNNFF..........F......."},
    {".type", "FNNNFF.....F.....F.."},
    {".name", "FNNNFFNNNNNF.....F.."},
    {".index", "F...FF......F......."},
    {"queue_first", "F...FF...........F...F.."},
    {"queue_last", "F...FF..........F....F.."},
    {"note", "F...FF....F."},
    {"item a", "F...FFF..F.."},
    {"item bc", "F...FFF...F."},
};

TEST(Reply, WithEveryBitOfOneByteTurnedAroundIsRefusedForWhatTheByteIs) {
  const std::map<char, std::string> refusals = {{'F', "Invalid format."},
                                                {'V', "Cannot find the element named values"},
                                                {'N', "Cannot find the element named .name"}};
  std::string ends;
  for (const AttributeEnds& attribute : kReplyEnds) ends += attribute.ends;
  const std::size_t start = kWholeConversation.size() - replyEnd().size() - ends.size();
  ASSERT_EQ(kWholeConversation.substr(start + 6, 6), "values");
  const std::vector<std::string> all = alteredConversations(0xff);
  const auto first = all.begin() + static_cast<std::ptrdiff_t>(start);
  const std::vector<ReplayResult> results =
      replayEach({first, first + static_cast<std::ptrdiff_t>(ends.size())});
  for (std::size_t i = 0; i < ends.size(); ++i) {
    const ReplayResult expected =
        ends[i] == '.' ? ReplayResult{0, ""}
                       : ReplayResult{kAborted, uncaught("std::invalid_argument",
                                                         "BlobMsgParser: " + refusals.at(ends[i]))};
    EXPECT_EQ(results[i].status, expected.status) << "at byte " << i;
    EXPECT_EQ(results[i].err, expected.err) << "at byte " << i;
  }
}

}  // namespace
}  // namespace golden
