// The wire format alone: bodies as a table, streams in pieces, messages as they are written.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "testbed/libubus/message.h"
#include "tests/support/wire_bytes.h"

namespace {

using std::string_literals::operator""s;
using testbed::BodyId;
using testbed::Message;
using testbed::MessageReader;
using testbed::MessageType;

std::string print(const blob_attr* attr) {
  return "[" + std::string(static_cast<const char*>(blob_data(attr)), blob_len(attr)) + "]";
}

// What parseBody makes of an outer attribute. Its bytes are a block of their own, so that the
// sanitizer sees any read behind them.
std::string parse(const std::string& attribute) {
  std::vector<char> bytes(attribute.begin(), attribute.end());
  testbed::MessageBody body;
  if (!testbed::parseBody(bytes, body)) return "malformed";
  std::string text;
  if (body.status) text += " status=" + std::to_string(*body.status);
  if (body.objectPath) text += " path=" + std::string(*body.objectPath);
  if (body.objectId) text += " id=" + std::to_string(*body.objectId);
  if (body.method) text += " method=" + std::string(*body.method);
  if (body.objectType) text += " type=" + std::to_string(*body.objectType);
  if (body.signature != nullptr) text += " signature=" + print(body.signature);
  if (body.data != nullptr) text += " data=" + print(body.data);
  return text;
}

TEST(MessageBody, IsParsedOrRefusedWhole) {
  const std::string id = wire::plain(3, wire::big32(7));
  const std::vector<std::pair<std::string, std::string>> table = {
      {wire::plain(0, ""), ""},
      {wire::plain(0, wire::plain(1, wire::big32(4)) + wire::plain(2, "uci\0"s) + id +
                          wire::plain(4, "get\0"s) + wire::plain(5, wire::big32(8)) +
                          wire::plain(6, "sign") + wire::plain(7, "data")),
       " status=4 path=uci id=7 method=get type=8 signature=[sign] data=[data]"},
      {wire::plain(0, wire::plain(7, "")), " data=[]"},
      {wire::plain(0, wire::plain(0, "x") + wire::plain(8, "y") + wire::plain(127, "") + id),
       " id=7"},
      {wire::plain(0, wire::plain(0x80 | 9, "an unknown one with a name") + id), " id=7"},
      {wire::plain(0, wire::plain(2, "a\0b\0"s)), " path=a"},
      // The outer attribute.
      {"", "malformed"},
      {"\0\0\0"s, "malformed"},
      {"\0\0\0\x03"s, "malformed"},
      {"\0\0\0\x08"s, "malformed"},
      {"\0\0\0\x04\0\0\0\0"s, "malformed"},
      {wire::plain(1, id), "malformed"},
      {wire::plain(0x80, id), "malformed"},
      // Its children.
      {wire::plain(0, "\0\0\0\0"s), "malformed"},
      {wire::plain(0, "\x07\0\0\x03"s), "malformed"},
      {wire::plain(0, "\x07\0\0\x05"s), "malformed"},
      {wire::plain(0, "\x07\xff\xff\xff"s), "malformed"},
      {wire::plain(0, id + "\x07\0\0\x09xxxx"s), "malformed"},
      {"\0\0\0\x09\x07\0\0\x05x"s, "malformed"},  // its padding lies outside
      {"\0\0\0\x06\x07\0"s, "malformed"},
      // Wrong lengths, a missing NUL, twice the same, a name where none may be.
      {wire::plain(0, wire::plain(1, "")), "malformed"},
      {wire::plain(0, wire::plain(1, "abc")), "malformed"},
      {wire::plain(0, wire::plain(3, "abcde")), "malformed"},
      {wire::plain(0, wire::plain(5, "abcdefgh")), "malformed"},
      {wire::plain(0, wire::plain(2, "")), "malformed"},
      {wire::plain(0, wire::plain(2, "uci")), "malformed"},
      {wire::plain(0, wire::plain(4, "get")), "malformed"},
      {wire::plain(0, id + id), "malformed"},
      {wire::plain(0, wire::plain(1, "abcd") + wire::plain(1, "abcd")), "malformed"},
      {wire::plain(0, wire::plain(2, "a\0"s) + wire::plain(2, "a\0"s)), "malformed"},
      {wire::plain(0, wire::plain(7, "") + wire::plain(7, "")), "malformed"},
      {wire::plain(0, wire::plain(6, "") + wire::plain(6, "")), "malformed"},
      {wire::plain(0, wire::plain(0x80 | 7, "data")), "malformed"},
      {wire::plain(0, wire::plain(0x80 | 1, "abcd")), "malformed"},
  };
  for (const auto& [attribute, meaning] : table) {
    EXPECT_EQ(parse(attribute), meaning) << testing::PrintToString(attribute);
  }
}

// All messages of a stream that comes in pieces of the given size.
std::string readInPieces(const std::string& stream, std::size_t size) {
  MessageReader reader;
  std::string text;
  for (std::size_t i = 0; i < stream.size(); i += size) {
    const std::string piece = stream.substr(i, size);
    reader.append(piece);
    while (const std::optional<Message> message = reader.next()) {
      text += std::to_string(static_cast<int>(message->header.type)) + " " +
              std::to_string(message->header.sequence) + " " +
              std::to_string(message->header.peer) + " " +
              std::string(message->attribute.begin(), message->attribute.end()) + "\n";
    }
  }
  return text + (reader.isBroken() ? "broken" : "open");
}

TEST(MessageReader, GivesTheSameMessagesHoweverTheStreamIsCut) {
  const std::string stream = wire::hello(0x01020304) + wire::data(0xfffe, 5, "members!") +
                             wire::status(0xffff, 0xffffffff, 0) + wire::status(9, 9, 9).substr(1);
  const std::string expected =
      "0 0 16909060 " + wire::plain(0, "") + "\n2 65534 5 " +
      wire::plain(0, wire::plain(3, wire::big32(5)) + wire::plain(7, "members!")) +
      "\n1 65535 4294967295 " + wire::plain(0, wire::plain(1, wire::big32(0))) + "\n";
  for (std::size_t size = 1; size <= stream.size(); ++size) {
    // The rest begins with the version byte 1: no message can follow.
    EXPECT_EQ(readInPieces(stream, size), expected + "broken") << size;
  }
}

TEST(MessageReader, EndsAtALengthThatNoMessageHas) {
  const std::string header = wire::status(1, 2, 0).substr(0, 8);
  EXPECT_EQ(readInPieces(header + "\0\0\0\x03"s + "more", 100), "broken");
  EXPECT_EQ(readInPieces(header + "\0\0\0\0"s + wire::hello(1), 100), "broken");
  EXPECT_EQ(readInPieces(header + "\0\x10\0\x01"s, 100), "broken");
  EXPECT_EQ(readInPieces(header + "\xff\xff\xff\xff"s, 100), "broken");
  EXPECT_EQ(readInPieces(header + "\0\x10\0\0"s, 100), "open");
}

TEST(MessageReader, TakesAMessageOfTheLargestSize) {
  const std::string stream =
      wire::message(2, 1, 0, wire::plain(7, std::string(1024 * 1024 - 8, 'x')));
  MessageReader reader;
  reader.append(stream);
  const std::optional<Message> message = reader.next();
  ASSERT_TRUE(message);
  EXPECT_EQ(message->attribute.size(), 1024U * 1024U);
  EXPECT_EQ(std::string(message->attribute.begin(), message->attribute.end()), stream.substr(8));
}

TEST(MessageWriter, WritesTheWireFormat) {
  testbed::MessageWriter writer(
      {.version = 0, .type = MessageType::Invoke, .sequence = 0x0102, .peer = 0x03040506});
  writer.addNumber(BodyId::ObjectId, 0x0708090a);
  writer.addString(BodyId::Method, "list");
  writer.addBytes(BodyId::Data, {});
  EXPECT_EQ(writer.finish(),
            "\x00\x05\x01\x02\x03\x04\x05\x06"
            "\x00\x00\x00\x1c"
            "\x03\x00\x00\x08\x07\x08\x09\x0a"
            "\x04\x00\x00\x09list\0\0\0\0"
            "\x07\x00\x00\x04"s);
}

TEST(MessageWriter, RefusesWhatIsOverTheLimit) {
  const testbed::MessageHeader header{.version = 0, .type = MessageType::Data};
  testbed::MessageWriter largest(header);
  largest.addBytes(BodyId::Data, std::string(1024 * 1024 - 8, 'x'));
  EXPECT_TRUE(largest.finish());
  testbed::MessageWriter tooLarge(header);
  tooLarge.addBytes(BodyId::Data, std::string(1024 * 1024 - 7, 'x'));
  EXPECT_FALSE(tooLarge.finish());
}

}  // namespace
