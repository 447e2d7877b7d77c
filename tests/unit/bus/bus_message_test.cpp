// The wire format alone, without a socket: what is in a message, and what ends a request. The bytes
// that are written are compared in the tests of client and daemon.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "testbed/libubus/message.h"
#include "tests/support/wire_bytes.h"

namespace {

using std::string_literals::operator""s;
using testbed::MessageBody;
using testbed::MessageType;

// Reads from a text, which must outlive the reader.
testbed::ReadBytes readerOf(const std::string& stream) {
  return [rest = std::string_view(stream)](std::span<char> bytes) mutable {
    if (rest.size() < bytes.size()) return false;
    std::memcpy(bytes.data(), rest.data(), bytes.size());
    rest.remove_prefix(bytes.size());
    return true;
  };
}

std::string textOf(const blob_attr* attr) {
  return {static_cast<const char*>(blob_data(attr)), blob_len(attr)};
}

// What parseBody makes of an outer attribute. Its bytes are a block of their own, so that the
// sanitizer sees any read after them.
std::string parse(const std::string& attribute) {
  std::vector<char> bytes(attribute.begin(), attribute.end());
  MessageBody body;
  if (!testbed::parseBody(bytes, body)) return "malformed";
  std::string text;
  if (body.status) text += " status=" + std::to_string(*body.status);
  if (body.objectPath) text += " path=" + std::string(*body.objectPath);
  if (body.objectId) text += " id=" + std::to_string(*body.objectId);
  if (body.method) text += " method=" + std::string(*body.method);
  if (body.data != nullptr) text += " data=[" + textOf(body.data) + "]";
  return text;
}

TEST(MessageBody, IsParsedOrRefusedWhole) {
  const std::string id = wire::plain(3, wire::big32(7));
  const std::vector<std::pair<std::string, std::string>> table = {
      {wire::plain(0, ""), ""},
      {wire::plain(0, wire::plain(1, wire::big32(4)) + wire::plain(2, "uci\0"s) + id +
                          wire::plain(4, "get\0"s) + wire::plain(5, wire::big32(8)) +
                          wire::plain(6, "sign") + wire::plain(7, "data")),
       " status=4 path=uci id=7 method=get data=[data]"},
      {wire::plain(0, wire::plain(7, "")), " data=[]"},
      {wire::plain(0, wire::plain(0x80 | 9, "an unknown one with a name") + id), " id=7"},
      {wire::plain(0, wire::plain(2, "a\0b\0"s)), " path=a"},
      // The outer attribute.
      {"\0\0\0"s, "malformed"},
      {"\0\0\0\x03"s, "malformed"},
      {"\0\0\0\x08"s, "malformed"},
      {"\0\0\0\x04\0\0\0\0"s, "malformed"},
      {wire::plain(1, id), "malformed"},
      {wire::plain(0x80, id), "malformed"},
      // Its children.
      {wire::plain(0, "\x07\0\0\x03"s), "malformed"},
      {wire::plain(0, "\x07\0\0\x05"s), "malformed"},
      {wire::plain(0, "\x07\xff\xff\xff"s), "malformed"},
      {wire::plain(0, id + "\x07\0\0\x09xxxx"s), "malformed"},
      {"\0\0\0\x09\x07\0\0\x05x"s, "malformed"},  // its padding lies outside
      {"\0\0\0\x06\x07\0"s, "malformed"},
      // Wrong lengths, a missing NUL, twice the same, a name where none may be.
      {wire::plain(0, wire::plain(1, "abc")), "malformed"},
      {wire::plain(0, wire::plain(3, "abcde")), "malformed"},
      {wire::plain(0, wire::plain(2, "")), "malformed"},
      {wire::plain(0, wire::plain(4, "get")), "malformed"},
      {wire::plain(0, id + id), "malformed"},
      {wire::plain(0, wire::plain(2, "a\0"s) + wire::plain(2, "a\0"s)), "malformed"},
      {wire::plain(0, wire::plain(7, "") + wire::plain(7, "")), "malformed"},
      {wire::plain(0, wire::plain(0x80 | 7, "data")), "malformed"},
      {wire::plain(0, wire::plain(0x80 | 1, "abcd")), "malformed"},
  };
  for (const auto& [attribute, meaning] : table) {
    EXPECT_EQ(parse(attribute), meaning) << testing::PrintToString(attribute);
  }
}

constexpr std::uint32_t askedSequence = 3;
constexpr std::uint32_t askedObject = 0x11223344;

// The replies as "[payload] ", then the status.
std::string outcome(const std::string& stream) {
  std::string text;
  const int status = testbed::readAnswer(
      readerOf(stream),
      {.type = MessageType::Invoke, .sequence = askedSequence, .peer = askedObject},
      [&text](const MessageBody& body) {
        if (body.data != nullptr) text += "[" + textOf(body.data) + "] ";
        return body.data != nullptr;
      });
  return text + std::to_string(status);
}

TEST(Answer, EndsWithTheDaemonsStatusOrTheFaultOfItsBytes) {
  const std::string ok = wire::objectStatus(askedSequence, askedObject, 0);
  const std::string reply = wire::data(askedSequence, askedObject, "abcd");
  const std::string rest(2 * 1024 * 1024, '\0');
  const auto message = [](std::uint32_t type, const std::string& attributes) {
    return wire::message(type, askedSequence, askedObject, attributes);
  };
  const std::vector<std::pair<std::string, std::string>> table = {
      {ok, "0"},
      {reply + ok, "[abcd] 0"},
      {reply + wire::data(askedSequence, askedObject, "") + ok, "[abcd] [] 0"},
      {reply + wire::status(askedSequence, askedObject, 9), "[abcd] 9"},
      {wire::status(askedSequence, askedObject, 4), "4"},
      {wire::status(askedSequence, askedObject, 0xffffffff), "-1"},
      {ok + reply, "0"},
      // What belongs to another request is passed over, malformed or not.
      {wire::status(askedSequence + 1, askedObject, 4) + ok, "0"},
      {wire::status(askedSequence, askedObject + 1, 4) + ok, "0"},
      {wire::data(askedSequence + 1, askedObject, "abcd") + ok, "0"},
      {wire::data(askedSequence, askedObject + 1, "abcd") + ok, "0"},
      {wire::message(1, askedSequence + 1, askedObject, wire::plain(1, "")) + ok, "0"},
      {message(5, wire::plain(7, "abcd")) + ok, "0"},
      // No status came: "no response", unless there was one.
      {message(1, ""), "5"},
      {reply + message(1, ""), "[abcd] 0"},
      {message(1, wire::plain(1, "abc")), "12"},
      {message(2, ""), "12"},
      {message(2, wire::plain(0x80 | 7, "\0\1ab"s)), "12"},
      {message(2, "\x07\0\0\x40"s), "12"},
      // No further message.
      {"", "10"},
      {reply, "[abcd] 10"},
      {reply + ok.substr(0, ok.size() - 1), "[abcd] 10"},
      // What cannot be a message: another version, a length that none has.
      {reply + "\x01"s + ok.substr(1), "[abcd] 10"},
      {reply + ok.substr(0, 8) + "\0\0\0\0"s + rest, "[abcd] 10"},
      {reply + ok.substr(0, 8) + "\0\0\0\x03"s + rest, "[abcd] 10"},
      {reply + ok.substr(0, 8) + "\0\x10\0\x01"s + rest, "[abcd] 10"},
      {reply + ok.substr(0, 8) + "\xff\xff\xff\xff"s + rest, "[abcd] 10"},
  };
  for (const auto& [stream, expected] : table) {
    EXPECT_EQ(outcome(stream), expected) << testing::PrintToString(stream.substr(0, 100));
  }
}

}  // namespace
