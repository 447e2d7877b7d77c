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

#include "tests/unit/product/blob_bytes.h"
#include "tests/unit/product/error_text.h"
#include "wrt_cppwrap/blob_msg_parser.h"

// Let single calls of the library fail; the names are the linker's.
// NOLINTBEGIN(bugprone-reserved-identifier)
namespace {
int initResult = 0;
int addResult = 0;
}  // namespace
extern "C" {
int __real_blob_buf_init(blob_buf* buffer, int id);
int __wrap_blob_buf_init(blob_buf* buffer, int id) {
  return initResult != 0 ? initResult : __real_blob_buf_init(buffer, id);
}
int __real_blobmsg_add_field(blob_buf* buffer, int type, const char* name, const void* data,
                             unsigned int length);
int __wrap_blobmsg_add_field(blob_buf* buffer, int type, const char* name, const void* data,
                             unsigned int length) {
  return addResult != 0 ? addResult : __real_blobmsg_add_field(buffer, type, name, data, length);
}
}
// NOLINTEND(bugprone-reserved-identifier)

namespace wrt_cppwrap {
namespace {

using test_support::attribute;
using test_support::bigEndian;
using test_support::errorText;
using test_support::Message;
using test_support::plainAttribute;
using test_support::stringAttribute;

static_assert(!std::is_copy_constructible_v<BlobMsg> && !std::is_copy_assignable_v<BlobMsg>);

std::string bytesOf(blob_attr* attr) {
  return {reinterpret_cast<const char*>(attr), blob_pad_len(attr)};
}

TEST(BlobMsg, IsATableFromTheStart) {
  const BlobMsg message;
  EXPECT_EQ(bytesOf(message.head()), bigEndian(0x02000004));
}

TEST(BlobMsg, AddsStringsWithTheirNul) {
  BlobMsg message;
  message.addString("config", "firewall_cpp");
  message.addString("", "");
  const std::string elements = stringAttribute("config", "firewall_cpp") + stringAttribute("", "");
  EXPECT_EQ(bytesOf(message.head()), plainAttribute(2, elements));
  EXPECT_EQ(blob_raw_len(message.head()), 4 + elements.size());
}

TEST(BlobMsg, AddsACopyOfAnAttributeWithTypeAndName) {
  for (const std::string& original :
       {stringAttribute("name", "text"), attribute(2, "table", stringAttribute("a", "b")),
        attribute(5, "", bigEndian(7)), attribute(1, "list", "")}) {
    BlobMsg message;
    {
      Message source(original);
      message.addBlob(source.head());
    }
    EXPECT_EQ(bytesOf(message.head()), plainAttribute(2, original));
  }
}

TEST(BlobMsg, GrowsWithItsContent) {
  BlobMsg message;
  std::string elements;
  for (int i = 0; i < 1000; ++i) {
    message.addString("name", std::string(100, 'x'));
    elements += stringAttribute("name", std::string(100, 'x'));
  }
  EXPECT_EQ(bytesOf(message.head()), plainAttribute(2, elements));
}

TEST(BlobMsg, FailsWithTheSystemsTextWhenTheBufferDoes) {
  initResult = -ENOMEM;
  try {
    BlobMsg message;
    ADD_FAILURE() << "no error";
  } catch (const std::system_error& error) {
    EXPECT_EQ(error.code(), std::error_code(ENOMEM, std::generic_category()));
    EXPECT_STREQ(error.what(), "Cannot allocate memory");
  }
  initResult = 0;
}

TEST(BlobMsg, NamesTheElementThatCannotBeAdded) {
  BlobMsg message;
  Message source(stringAttribute("name", "text"));
  addResult = -1;
  EXPECT_EQ(errorText<std::runtime_error>([&] { message.addString("config", "x"); }),
            "BlobMsg: failed to add the element named config");
  EXPECT_EQ(errorText<std::runtime_error>([&] { message.addBlob(source.head()); }),
            "BlobMsg: failed to add blob.");
  addResult = 0;
  EXPECT_EQ(bytesOf(message.head()), bigEndian(0x02000004));
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
    Message message(bytes);
    const BlobMsgParser parser(message.head(), type);
  });
}

TEST(BlobMsgParser, CollectsTheDirectChildrenInOrder) {
  Message message(plainAttribute(0, stringAttribute("b", "1") +
                                        attribute(2, "a", stringAttribute("inner", "2")) +
                                        stringAttribute("b", "12345") + attribute(7, "flag", "x")));
  const BlobMsgParser parser(message.head());
  EXPECT_EQ(namesIn(parser), (std::vector<std::string>{"b", "a", "b", "flag"}));
  EXPECT_STREQ(BlobMsgParser::getString(parser.elements()[2]), "12345");
  const BlobMsgParser inner(parser.elements()[1], kBlobTable);
  EXPECT_EQ(namesIn(inner), (std::vector<std::string>{"inner"}));
}

TEST(BlobMsgParser, ReadsNamedAndUnnamedAttributes) {
  Message named(
      attribute(1, "list", stringAttribute("", "x") + plainAttribute(3, std::string("y\0", 2))));
  const BlobMsgParser parser(named.head(), kBlobArray);
  EXPECT_EQ(namesIn(parser), (std::vector<std::string>{"", ""}));
  Message empty(plainAttribute(2, ""));
  EXPECT_TRUE(namesIn(BlobMsgParser(empty.head())).empty());
}

TEST(BlobMsgParser, ChecksTheTypeUnlessAnyWillDo) {
  const std::string table = attribute(2, "t", "");
  EXPECT_EQ(parseError(table), "(no error)");
  EXPECT_EQ(parseError(table, kBlobTable), "(no error)");
  EXPECT_EQ(parseError(table, kBlobArray), kInvalidType);
  EXPECT_EQ(parseError(table, kBlobString), kInvalidType);
  EXPECT_EQ(parseError(plainAttribute(0, ""), kBlobTable), kInvalidType);
}

TEST(BlobMsgParser, HasNoElementsWithoutAnAttribute) {
  const BlobMsgParser parser(nullptr);
  EXPECT_TRUE(parser.elements().empty());
  EXPECT_EQ(errorText<std::invalid_argument>([&] { parser.find("x"); }),
            "BlobMsgParser: Cannot find the element named x");
}

TEST(BlobMsgParser, FindsNoTypeWithoutAnAttribute) {
  for (const int type : {kBlobArray, kBlobTable, kBlobString}) {
    EXPECT_EQ(errorText<std::invalid_argument>([&] { const BlobMsgParser parser(nullptr, type); }),
              kInvalidType);
  }
}

TEST(BlobMsgParser, RefusesAMessageWithAMalformedChild) {
  const std::string good = stringAttribute("a", "1");
  const std::vector<std::string> malformed = {
      attribute(3, "s", ""),            // a string without its NUL
      attribute(3, "s", "abc"),         // the same, not empty
      attribute(4, "n", bigEndian(1)),  // a number of another size
      attribute(5, "n", "abc"),
      attribute(6, "n", "abc"),
      attribute(7, "n", "ab"),
      attribute(9, "x", ""),  // no such type
      bigEndian(0x83000004),  // a name header where there is no room for one
      bigEndian(0x83000008) + std::string("\0\xff"
                                          "ab",
                                          4),                  // longer than the payload
      bigEndian(0x8300000c) + std::string("\0\1abcd\0\0", 8),  // without a NUL behind the name
  };
  for (const std::string& child : malformed) {
    EXPECT_EQ(parseError(plainAttribute(2, good + child)), kInvalidFormat);
    EXPECT_EQ(parseError(plainAttribute(2, child + good)), kInvalidFormat);
  }
}

TEST(BlobMsgParser, RefusesAMessageWhoseOwnHeaderIsMalformed) {
  const std::vector<std::string> malformed = {
      bigEndian(0x02000003),  // shorter than its own word
      bigEndian(0x82000004),  // a name header where there is no room for one
      bigEndian(0x82000008) + std::string("\0\xff"
                                          "ab",
                                          4),  // longer than the payload
  };
  for (const std::string& message : malformed) EXPECT_EQ(parseError(message), kInvalidFormat);
}

TEST(BlobMsgParser, TakesAMessageWithAnEmptyNameOfItsOwn) {
  EXPECT_EQ(parseError(attribute(2, "", stringAttribute("a", "1"))), "(no error)");
}

// As the library's own walk: what cannot be a child ends it, without an error.
TEST(BlobMsgParser, StopsAtWhatDoesNotFit) {
  const std::string good = stringAttribute("a", "1");
  const std::vector<std::string> ends = {
      std::string(1, '\0'),
      std::string(3, '\0'),
      bigEndian(0),  // shorter than its own word
      bigEndian(0x03000003 & 0xff000000),
      bigEndian(0x03000009) + "abcd",  // longer than what is left
      bigEndian(0x03ffffff) + "abcd",
  };
  for (const std::string& end : ends) {
    const std::string payload = good + end;
    std::string bytes = bigEndian(0x02000000UL + 4 + payload.size()) + payload;
    Message message(bytes);
    EXPECT_EQ(namesIn(BlobMsgParser(message.head())), (std::vector<std::string>{"a"}));
  }
}

TEST(BlobMsgParser, FindsTheFirstChildOfNameAndType) {
  Message message(plainAttribute(2, stringAttribute("a", "first") + attribute(1, "b", "") +
                                        stringAttribute("b", "text") + stringAttribute("a", "x") +
                                        attribute(2, "b", "")));
  const BlobMsgParser parser(message.head());
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
  Message message(plainAttribute(
      2, stringAttribute("a", "text") + attribute(2, "b", "") + attribute(5, "c", bigEndian(1))));
  const BlobMsgParser parser(message.head());
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

// Reads everything in a message; the depth is what the test's messages have.
void readAll(blob_attr* attr) {
  const BlobMsgParser parser(attr);
  for (blob_attr* child : parser.elements()) {
    static_cast<void>(std::string(BlobMsgParser::nameOf(child)));
    const unsigned type = blob_id(child);
    if (type == static_cast<unsigned>(kBlobString)) {
      static_cast<void>(std::string(BlobMsgParser::getString(child)));
    } else if (type == static_cast<unsigned>(kBlobTable) ||
               type == static_cast<unsigned>(kBlobArray)) {
      readAll(child);
    }
  }
}

// Every byte of a good message with every value in its place: an error or not, but nothing is read
// behind its end.
TEST(BlobMsgParser, NeverReadsBehindABrokenMessage) {
  const std::string list = attribute(1, "l", stringAttribute("", "x") + stringAttribute("", "yz"));
  const std::string good = plainAttribute(
      0, attribute(2, "values", attribute(2, "s", stringAttribute(".name", "s") + list)));
  for (std::size_t i = 4; i < good.size(); ++i) {
    for (int value = 0; value < 256; ++value) {
      std::string broken = good;
      broken[i] = static_cast<char>(value);
      const std::string error = errorText<std::invalid_argument>([&] {
        Message message(broken);
        readAll(message.head());
      });
      ASSERT_TRUE(error == "(no error)" || error == kInvalidFormat) << i << ' ' << value << error;
    }
  }
}

}  // namespace
}  // namespace wrt_cppwrap
