// Blob messages: built, and read whatever is in them.
#include "wrt_cppwrap/blob_msg.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstddef>
#include <stdexcept>
#include <string>
#include <system_error>
#include <type_traits>
#include <vector>

#include "tests/support/wire_bytes.h"
#include "tests/unit/product/error_text.h"
#include "wrt_cppwrap/blob_msg_parser.h"

// The product's calls of the library arrive here, so that one of them can fail.
namespace {
int initResult = 0;
int addResult = 0;
}  // namespace
extern "C" {
int redirected_blob_buf_init(blob_buf* buffer, int id) {
  return initResult != 0 ? initResult : blob_buf_init(buffer, id);
}
int redirected_blobmsg_add_field(blob_buf* buffer, int type, const char* name, const void* data,
                                 unsigned int length) {
  return addResult != 0 ? addResult : blobmsg_add_field(buffer, type, name, data, length);
}
}

namespace wrt_cppwrap {
namespace {

using test_support::errorText;
using wire::big32;

static_assert(!std::is_copy_constructible_v<BlobMsg> && !std::is_copy_assignable_v<BlobMsg>);

std::string bytesOf(blob_attr* attr) {
  return {reinterpret_cast<const char*>(attr), blob_pad_len(attr)};
}

TEST(BlobMsg, AddsStringsWithTheirNul) {
  BlobMsg message;
  message.addString("config", "firewall_cpp");
  message.addString("", "");
  const std::string elements = wire::text("config", "firewall_cpp") + wire::text("", "");
  EXPECT_EQ(bytesOf(message.head()), wire::plain(2, elements));
  EXPECT_EQ(blob_raw_len(message.head()), 4 + elements.size());
}

TEST(BlobMsg, AddsACopyOfAnAttributeWithTypeAndName) {
  for (const std::string& original :
       {wire::text("name", "text"), wire::named(2, "table", wire::text("a", "b")),
        wire::named(5, "", big32(7)), wire::named(1, "list", "")}) {
    BlobMsg message;
    {
      wire::Block source(original);
      message.addBlob(source.attribute());
    }
    EXPECT_EQ(bytesOf(message.head()), wire::plain(2, original));
  }
}

TEST(BlobMsg, FailsWithTheSystemsTextWhenTheBufferDoes) {
  initResult = -ENOMEM;
  try {
    BlobMsg message;
    ADD_FAILURE() << "no error";
  } catch (const std::system_error& error) {
    EXPECT_EQ(error.code(), std::error_code(ENOMEM, std::generic_category()));
    EXPECT_EQ(error.what(), error.code().message());
  }
  initResult = 0;
}

TEST(BlobMsg, NamesTheElementThatCannotBeAdded) {
  BlobMsg message;
  wire::Block source(wire::text("name", "text"));
  addResult = -1;
  EXPECT_EQ(errorText<std::runtime_error>([&] { message.addString("config", "x"); }),
            "BlobMsg: failed to add the element named config");
  EXPECT_EQ(errorText<std::runtime_error>([&] { message.addBlob(source.attribute()); }),
            "BlobMsg: failed to add blob.");
  addResult = 0;
  EXPECT_EQ(bytesOf(message.head()), big32(0x02000004));
}

constexpr const char* kInvalidType = "BlobMsgParser: Invalid type.";
constexpr const char* kInvalidFormat = "BlobMsgParser: Invalid format.";

std::vector<std::string> namesIn(const BlobMsgParser& parser) {
  std::vector<std::string> names;
  for (const blob_attr* child : parser.elements()) names.emplace_back(BlobMsgParser::nameOf(child));
  return names;
}

std::string parseError(const std::string& bytes, int type = kBlobAny) {
  return errorText<std::invalid_argument>([&] {
    wire::Block message(bytes);
    const BlobMsgParser parser(message.attribute(), type);
  });
}

TEST(BlobMsgParser, CollectsTheDirectChildrenInOrder) {
  wire::Block message(wire::plain(0, wire::text("b", "1") +
                                         wire::named(2, "a", wire::text("inner", "2")) +
                                         wire::text("b", "12345") + wire::named(7, "flag", "x") +
                                         wire::plain(3, std::string("y\0", 2))));
  const BlobMsgParser parser(message.attribute());
  EXPECT_EQ(namesIn(parser), (std::vector<std::string>{"b", "a", "b", "flag", ""}));
  EXPECT_STREQ(BlobMsgParser::getString(parser.elements()[2]), "12345");
  const BlobMsgParser inner(parser.elements()[1], kBlobTable);
  EXPECT_EQ(namesIn(inner), (std::vector<std::string>{"inner"}));
}

TEST(BlobMsgParser, ChecksTheMessageItselfAndItsTypeUnlessAnyWillDo) {
  const std::string table = wire::named(2, "t", "");
  EXPECT_EQ(parseError(table), "(no error)");
  EXPECT_EQ(parseError(table, kBlobTable), "(no error)");
  EXPECT_EQ(parseError(table, kBlobArray), kInvalidType);
  EXPECT_EQ(parseError(table, kBlobString), kInvalidType);
  EXPECT_EQ(parseError(wire::plain(0, ""), kBlobTable), kInvalidType);
  EXPECT_EQ(parseError(wire::named(2, "", wire::text("a", "1"))), "(no error)");
  const std::vector<std::string> malformed = {
      big32(0x02000003),  // shorter than its own word
      big32(0x82000004),  // a name header where there is no room for one
      big32(0x82000008) + std::string("\0\xff"
                                      "ab",
                                      4),  // longer than the payload
  };
  for (const std::string& message : malformed) EXPECT_EQ(parseError(message), kInvalidFormat);
}

TEST(BlobMsgParser, HasNoElementsAndNoTypeWithoutAnAttribute) {
  const BlobMsgParser parser(nullptr);
  EXPECT_TRUE(parser.elements().empty());
  EXPECT_EQ(errorText<std::invalid_argument>([&] { parser.find("x"); }),
            "BlobMsgParser: Cannot find the element named x");
  for (const int type : {kBlobArray, kBlobTable, kBlobString}) {
    EXPECT_EQ(errorText<std::invalid_argument>([&] { const BlobMsgParser typed(nullptr, type); }),
              kInvalidType);
  }
}

TEST(BlobMsgParser, RefusesAMessageWithAMalformedChild) {
  const std::string good = wire::text("a", "1");
  const std::vector<std::string> malformed = {
      wire::named(3, "s", ""),        // a string without its NUL
      wire::named(3, "s", "abc"),     // the same, not empty
      wire::named(4, "n", big32(1)),  // a number of another size
      wire::named(5, "n", "abc"),
      wire::named(6, "n", "abc"),
      wire::named(7, "n", "ab"),
      wire::named(9, "x", ""),       // no such type
      big32(0x83000004),             // a name header where there is no room for one
      big32(0x81000005) + big32(0),  // half a name length
      big32(0x81000007) + big32(0),  // a name header without its padding
      big32(0x81000008) + std::string("\0\0x\0", 4),  // without a NUL after an empty name
      big32(0x81000008) + std::string("\0\2nm", 4),   // a name one byte too long
      big32(0x83000008) + std::string("\0\xff"
                                      "ab",
                                      4),                  // longer than the payload
      big32(0x8300000c) + std::string("\0\1abcd\0\0", 8),  // without a NUL after the name
  };
  for (const std::string& child : malformed) {
    EXPECT_EQ(parseError(wire::plain(2, good + child)), kInvalidFormat);
    EXPECT_EQ(parseError(wire::plain(2, child + good)), kInvalidFormat);
  }
}

// As the library's own walk: what cannot be a child ends it, without an error.
TEST(BlobMsgParser, StopsAtWhatDoesNotFit) {
  const std::string good = wire::text("a", "1");
  const std::vector<std::string> ends = {
      std::string(1, '\0'),
      std::string(3, '\0'),
      big32(0),  // shorter than its own word
      big32(0x03000003 & 0xff000000),
      big32(0x03000009) + "abcd",  // longer than what is left
      big32(0x03ffffff) + "abcd",
  };
  for (const std::string& end : ends) {
    const std::string payload = good + end;
    std::string bytes = big32(static_cast<std::uint32_t>(0x02000004 + payload.size())) + payload;
    wire::Block message(bytes);
    EXPECT_EQ(namesIn(BlobMsgParser(message.attribute())), (std::vector<std::string>{"a"}));
  }
}

TEST(BlobMsgParser, FindsTheFirstChildOfNameAndType) {
  wire::Block message(wire::plain(2, wire::text("a", "first") + wire::named(1, "b", "") +
                                         wire::text("b", "text") + wire::text("a", "x") +
                                         wire::named(2, "b", "")));
  const BlobMsgParser parser(message.attribute());
  EXPECT_EQ(parser.find("a"), parser.elements()[0]);
  EXPECT_EQ(parser.find("a", kBlobString), parser.elements()[0]);
  EXPECT_EQ(parser.find("b"), parser.elements()[1]);
  EXPECT_EQ(parser.find("b", kBlobString), parser.elements()[2]);
  EXPECT_EQ(parser.find("b", kBlobTable), parser.elements()[4]);
  for (const auto& [name, type] :
       {std::pair{"a", kBlobTable}, std::pair{"c", kBlobAny}, std::pair{"A", kBlobAny},
        std::pair{"", kBlobAny}, std::pair{"ab", kBlobAny}}) {
    EXPECT_EQ(errorText<std::invalid_argument>([&, n = name, t = type] { parser.find(n, t); }),
              std::string("BlobMsgParser: Cannot find the element named ") + name);
  }
}

TEST(BlobMsgParser, GivesTheTextOfStringsOnly) {
  wire::Block message(wire::plain(
      2, wire::text("a", "text") + wire::named(2, "b", "") + wire::named(5, "c", big32(1))));
  const BlobMsgParser parser(message.attribute());
  const char* const text = BlobMsgParser::getString(parser.elements()[0]);
  EXPECT_STREQ(text, "text");
  // Inside the message: nothing is copied.
  EXPECT_EQ(text, static_cast<const char*>(blobmsg_data(parser.elements()[0])));
  for (const std::size_t other : {1U, 2U}) {
    EXPECT_EQ(errorText<std::invalid_argument>(
                  [&] { BlobMsgParser::getString(parser.elements()[other]); }),
              kInvalidType);
  }
}

}  // namespace
}  // namespace wrt_cppwrap
