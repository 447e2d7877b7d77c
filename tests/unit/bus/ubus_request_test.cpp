// One request against the daemon's bytes, without a socket: what ends it, what is passed over.
#include <gtest/gtest.h>
#include <libubus.h>

#include <optional>
#include <string>
#include <vector>

#include "testbed/libubus/message.h"
#include "testbed/libubus/request.h"
#include "tests/support/wire_bytes.h"

namespace {

using std::string_literals::operator""s;

constexpr std::uint32_t sequence = 3;
constexpr std::uint32_t askedObject = 0x11223344;

void describe(ubus_request* request, int type, blob_attr* msg) {
  *static_cast<std::string*>(request->priv) +=
      std::to_string(type) + (blob_is_extended(msg) ? " extended [" : " [") +
      std::string(static_cast<const char*>(blobmsg_data(msg)), blobmsg_data_len(msg)) + "] ";
}

// The handler's calls as "TYPE [payload] ", then the status, or "waiting" while there is none.
std::string outcome(const std::string& stream) {
  testbed::MessageReader reader;
  std::string text;
  testbed::PendingRequest request(sequence, askedObject, [&text](const testbed::MessageBody& body) {
    return testbed::callDataHandler(describe, &text, body);
  });
  reader.append(stream);
  const std::optional<int> status = testbed::handleAvailable(reader, request);
  return text + (status ? std::to_string(*status) : "waiting");
}

TEST(UbusRequest, EndsWithTheDaemonsStatusAfterAnyNumberOfReplies) {
  const std::string ok = wire::objectStatus(sequence, askedObject, 0);
  const std::string reply = wire::data(sequence, askedObject, "abcd");
  const std::vector<std::pair<std::string, std::string>> table = {
      {"", "waiting"},
      {ok, "0"},
      {reply, "2 [abcd] waiting"},
      {reply + ok, "2 [abcd] 0"},
      {reply + wire::data(sequence, askedObject, "") + ok, "2 [abcd] 2 [] 0"},
      {reply + wire::status(sequence, askedObject, 9), "2 [abcd] 9"},
      {wire::status(sequence, askedObject, 4), "4"},
      {wire::status(sequence, askedObject, 300), "300"},
      {wire::status(sequence, askedObject, 0xffffffff), "-1"},
      {ok + reply, "0"},
      {wire::status(sequence, askedObject, 2) + "\xff\xff"s, "2"},
  };
  for (const auto& [stream, expected] : table) EXPECT_EQ(outcome(stream), expected);
}

TEST(UbusRequest, PassesOverWhatBelongsToAnotherRequest) {
  const std::string ok = wire::status(sequence, askedObject, 0);
  const std::vector<std::string> others = {
      wire::status(sequence + 1, askedObject, 4),
      wire::status(sequence - 1, askedObject, 4),
      wire::status(sequence, askedObject + 1, 4),
      wire::status(sequence, 0, 4),
      wire::data(sequence + 1, askedObject, "abcd"),
      wire::data(sequence, askedObject + 1, "abcd"),
      wire::hello(askedObject),
      wire::message(0, sequence, askedObject, ""),
      wire::message(3, sequence, askedObject, ""),
      wire::message(5, sequence, askedObject, wire::plain(7, "abcd")),
      wire::message(200, sequence, askedObject, wire::plain(1, wire::big32(4))),
      // Malformed, but not this request's.
      wire::message(1, sequence + 1, askedObject, wire::plain(1, "")),
  };
  for (const std::string& other : others) {
    EXPECT_EQ(outcome(other), "waiting") << testing::PrintToString(other);
    EXPECT_EQ(outcome(other + ok), "0") << testing::PrintToString(other);
  }
}

TEST(UbusRequest, FailsOnMessagesThatAreMalformedOrLackAnAttribute) {
  const std::string reply = wire::data(sequence, askedObject, "abcd");
  const auto data = [](const std::string& attributes) {
    return wire::message(2, sequence, askedObject, attributes);
  };
  const std::vector<std::pair<std::string, std::string>> table = {
      // No status came: "no response", unless there was one.
      {wire::message(1, sequence, askedObject, ""), "5"},
      {wire::message(1, sequence, askedObject, wire::plain(3, wire::big32(askedObject))), "5"},
      {reply + wire::message(1, sequence, askedObject, ""), "2 [abcd] 0"},
      {wire::message(1, sequence, askedObject, wire::plain(1, "abc")), "12"},
      {data(""), "12"},
      {data(wire::plain(3, wire::big32(askedObject))), "12"},
      {data(wire::plain(0x80 | 7, "\0\1ab"s)), "12"},
      {data(wire::plain(7, "ab") + wire::plain(7, "cd")), "12"},
      {data("\x07\0\0\x40"s), "12"},
      {data("\x07\xff\xff\xfe"s), "12"},
      {reply + data(""), "2 [abcd] 12"},
      {"\x01"s + wire::status(sequence, askedObject, 0).substr(1), "10"},
      {reply + wire::big32(0) + wire::big32(0) + wire::big32(0), "2 [abcd] 10"},
      {wire::big32(0) + wire::big32(0) + "\0\x20\0\0"s, "10"},
  };
  for (const auto& [stream, expected] : table) {
    EXPECT_EQ(outcome(stream), expected) << testing::PrintToString(stream);
  }
}

TEST(UbusRequest, WithoutAHandlerIgnoresReplies) {
  testbed::MessageReader reader;
  testbed::PendingRequest request(sequence, askedObject, [](const testbed::MessageBody& body) {
    return testbed::callDataHandler(nullptr, nullptr, body);
  });
  reader.append(wire::data(sequence, askedObject, "abcd") + wire::status(sequence, askedObject, 0));
  EXPECT_EQ(testbed::handleAvailable(reader, request), 0);
}

// What a status message with one flipped bit must lead to, by the meaning of the byte.
std::string expectedOfFlippedStatus(std::size_t byte, unsigned int bit) {
  if (byte == 0) return "10";       // the version
  if (byte <= 7) return "waiting";  // type, sequence or peer: not an answer any more
  if (byte == 8) return "12";       // extended bit or id of the outer attribute
  if (byte == 9) return bit < 4 ? "waiting" : "10";  // longer: more is to come, or over the limit
  if (byte == 10) return "waiting";
  if (byte == 11) {
    // 12 bytes long; 8 leaves the child without its payload, 4 leaves no child.
    if (bit == 2) return "12";
    if (bit == 3) return "5";
    return "waiting";
  }
  if (byte == 12) return bit == 7 ? "12" : "5";  // extended, or another id: there is no status
  if (byte <= 15) return "12";                   // the child's length
  const std::uint32_t status = 4U ^ 1U << ((19 - byte) * 8 + bit);
  return std::to_string(static_cast<int>(status));
}

TEST(UbusRequest, EveryFlippedBitOfAStatusLeadsToItsOwnEnd) {
  const std::string message = wire::status(sequence, askedObject, 4);
  ASSERT_EQ(message.size(), 20U);
  for (std::size_t byte = 0; byte < message.size(); ++byte) {
    for (unsigned int bit = 0; bit < 8; ++bit) {
      std::string flipped = message;
      flipped[byte] = static_cast<char>(flipped[byte] ^ 1 << bit);
      EXPECT_EQ(outcome(flipped), expectedOfFlippedStatus(byte, bit)) << byte << ", bit " << bit;
    }
  }
}

// Whatever a reply's bytes say, what reaches the handler lies inside the message.
TEST(UbusRequest, EveryValueOfEveryByteOfAReplyGivesAPartOfItOrNothing) {
  const std::string members = wire::table("values", wire::text("name", "value"));
  const std::string reply = wire::data(sequence, askedObject, members);
  const std::string ok = wire::status(sequence, askedObject, 0);
  const std::size_t membersBegin = reply.size() - members.size();
  for (std::size_t byte = 0; byte < reply.size(); ++byte) {
    for (int value = 0; value < 256; ++value) {
      std::string changed = reply;
      changed[byte] = static_cast<char>(value);
      const std::string result = outcome(changed + ok);
      if (changed == reply || byte >= membersBegin) {
        EXPECT_EQ(result, "2 [" + changed.substr(membersBegin) + "] 0");
        continue;
      }
      const std::size_t handlerEnd = result.rfind("] ");
      const std::string end =
          handlerEnd == std::string::npos ? result : result.substr(handlerEnd + 2);
      EXPECT_TRUE(end == "0" || end == "5" || end == "10" || end == "12" || end == "waiting")
          << byte << ": " << value << ": " << testing::PrintToString(result);
      if (handlerEnd != std::string::npos) {
        EXPECT_EQ(result.substr(0, 3), "2 [");
        EXPECT_NE(changed.find(result.substr(3, handlerEnd - 3)), std::string::npos);
      }
    }
  }
}

TEST(UbusStrerror, KnowsEveryStatus) {
  const std::vector<std::string> texts = {"Success",
                                          "Invalid command",
                                          "Invalid argument",
                                          "Method not found",
                                          "Not found",
                                          "No response",
                                          "Permission denied",
                                          "Request timed out",
                                          "Operation not supported",
                                          "Unknown error",
                                          "Connection failed",
                                          "Out of memory",
                                          "Parsing message data failed",
                                          "System error"};
  for (std::size_t status = 0; status < texts.size(); ++status) {
    EXPECT_EQ(ubus_strerror(static_cast<int>(status)), texts[status]);
  }
  EXPECT_STREQ(ubus_strerror(14), "Unknown error: 14");
  EXPECT_STREQ(ubus_strerror(-1), "Unknown error: -1");
  EXPECT_STREQ(ubus_strerror(2147483647), "Unknown error: 2147483647");
  EXPECT_STREQ(ubus_strerror(-2147483647 - 1), "Unknown error: -2147483648");
}

}  // namespace
