// Messages as they are built, compared byte for byte with what the platform's layout says.
#include <gtest/gtest.h>
#include <libubox/blobmsg.h>

#include <cerrno>
#include <cstring>
#include <string>
#include <vector>

#include "tests/support/wire_bytes.h"

namespace {

using std::string_literals::operator""s;

class BlobLayout : public testing::Test {
 protected:
  BlobLayout() { EXPECT_EQ(blob_buf_init(&buffer_, 2), 0); }
  ~BlobLayout() override { blob_buf_free(&buffer_); }

  std::string bytes() const {
    return {reinterpret_cast<const char*>(buffer_.head), blob_raw_len(buffer_.head)};
  }
  int add(int type, const char* name, const std::string& data) {
    return blobmsg_add_field(&buffer_, type, name, data.data(),
                             static_cast<unsigned int>(data.size()));
  }

  blob_buf buffer_{};
};

TEST_F(BlobLayout, AFieldIsWordNameHeaderAndDataEachPaddedWithZeros) {
  ASSERT_EQ(add(3, "config", "firewall_cpp\0"s), 0);
  EXPECT_EQ(bytes(),
            "\x02\x00\x00\x24"  // the root's length covers the padding of its child
            "\x83\x00\x00\x1d"  // extended, type 3, length without padding
            "\x00\x06"
            "config\0\0\0\0"
            "firewall_cpp\0\0\0\0"s);
}

TEST_F(BlobLayout, NameHeadersOfEveryLengthEndInANulAndAtAMultipleOfFour) {
  const std::vector<std::pair<const char*, std::string>> table = {
      {"", "\x00\x00\x00\x00"s},
      {"a", "\x00\x01"s + "a\0"s},
      {"ab", "\x00\x02"s + "ab\0\0\0\0"s},
      {"abcde", "\x00\x05"s + "abcde\0"s},
      {"abcdef", "\x00\x06"s + "abcdef\0\0\0\0"s},
  };
  for (const auto& [name, header] : table) {
    ASSERT_EQ(blob_buf_init(&buffer_, 2), 0);
    ASSERT_EQ(add(7, name, "\x01"), 0);
    EXPECT_EQ(bytes().substr(8), header + "\x01\0\0\0"s) << name;
  }
}

TEST_F(BlobLayout, TablesAndArraysNest) {
  void* const values = blobmsg_open_nested(&buffer_, "values", false);
  ASSERT_NE(values, nullptr);
  void* const matches = blobmsg_open_nested(&buffer_, "matches", true);
  ASSERT_NE(matches, nullptr);
  ASSERT_EQ(add(3, "", "OR\0"s), 0);
  ASSERT_EQ(add(3, "", "-6\0"s), 0);
  blob_nest_end(&buffer_, matches);
  void* const empty = blobmsg_open_nested(&buffer_, "empty", true);
  ASSERT_NE(empty, nullptr);
  blob_nest_end(&buffer_, empty);
  ASSERT_EQ(add(7, "flag", "\x01"), 0);
  blob_nest_end(&buffer_, values);
  ASSERT_EQ(add(3, "after", "\0"s), 0);
  EXPECT_EQ(bytes(),
            "\x02\x00\x00\x68"
            "\x82\x00\x00\x54\x00\x06values\0\0\0\0"
            "\x81\x00\x00\x28\x00\x07matches\0\0\0"
            "\x83\x00\x00\x0b\0\0\0\0OR\0\0"
            "\x83\x00\x00\x0b\0\0\0\0-6\0\0"
            "\x81\x00\x00\x0c\x00\x05"
            "empty\0"
            "\x87\x00\x00\x0d\x00\x04"
            "flag\0\0\x01\0\0\0"
            "\x83\x00\x00\x0d\x00\x05"
            "after\0\0\0\0\0"s);
}

TEST_F(BlobLayout, GrowingKeepsWhatWasWrittenAndTheOpenContainers) {
  std::string items;
  void* const list = blobmsg_open_nested(&buffer_, "list", true);
  ASSERT_NE(list, nullptr);
  const int firstSize = buffer_.buflen;
  for (int i = 0; i < 1000; ++i) {
    const std::string value(static_cast<std::size_t>(i % 37), 'v');
    ASSERT_EQ(add(3, "", value + '\0'), 0);
    items += wire::text("", value);
  }
  blob_nest_end(&buffer_, list);
  EXPECT_GT(buffer_.buflen, firstSize);
  EXPECT_EQ(bytes(), wire::plain(2, wire::array("list", items)));
}

TEST_F(BlobLayout, InitialisingAgainEmptiesTheMessage) {
  ASSERT_EQ(add(3, "name", "value\0"s), 0);
  ASSERT_EQ(blob_buf_init(&buffer_, 5), 0);
  EXPECT_EQ(bytes(), "\x05\x00\x00\x04"s);
  blob_buf_free(&buffer_);
  ASSERT_EQ(blob_buf_init(&buffer_, 6), 0);
  EXPECT_EQ(bytes(), "\x06\x00\x00\x04"s);
}

bool refuseToGrow(blob_buf*, int) {
  return false;
}

TEST(BlobBuffer, WithoutMemoryInitialisingAndAddingFail) {
  blob_buf buffer{};
  buffer.grow = refuseToGrow;
  EXPECT_EQ(blob_buf_init(&buffer, 2), -ENOMEM);

  blob_buf full{};
  ASSERT_EQ(blob_buf_init(&full, 2), 0);
  full.grow = refuseToGrow;
  const std::string data(static_cast<std::size_t>(full.buflen), 'x');
  EXPECT_EQ(
      blobmsg_add_field(&full, 3, "n", data.c_str(), static_cast<unsigned int>(data.size() + 1)),
      -1);
  EXPECT_EQ(blob_raw_len(full.head), 4U);
  blob_buf_free(&full);
}

TEST_F(BlobLayout, AFieldThatNoLengthCanSayIsRefusedAndLeavesTheMessageAsItWas) {
  const std::string before = bytes();
  EXPECT_EQ(add(3, "n", std::string(0xffffff, 'x')), -1);
  EXPECT_EQ(add(3, std::string(0x10000, 'n').c_str(), "x\0"s), -1);
  EXPECT_EQ(blobmsg_open_nested(&buffer_, std::string(0x10000, 'n').c_str(), true), nullptr);
  EXPECT_EQ(bytes(), before);
  ASSERT_EQ(add(3, std::string(0xffff, 'n').c_str(), "x\0"s), 0);
  EXPECT_EQ(bytes(), wire::plain(2, wire::text(std::string(0xffff, 'n'), "x")));
}

TEST_F(BlobLayout, ThePartsOfAMessageTogetherAreHeldToTheSameLimit) {
  const std::string half(0x7ffff4, 'x');
  ASSERT_EQ(add(3, "", half), 0);
  void* const list = blobmsg_open_nested(&buffer_, "", true);
  ASSERT_NE(list, nullptr);
  EXPECT_EQ(add(3, "", half), -1);
  blob_nest_end(&buffer_, list);
  EXPECT_EQ(bytes(), wire::plain(2, wire::named(3, "", half) + wire::array("", "")));
}

TEST(BlobAccessors, ReadTheWordAndTheNameHeader) {
  const std::string bytes =
      "\x83\x00\x00\x0d\x00\x02"
      "ab\0\0\0\0x\0\0\0"s;
  const auto* const attr = reinterpret_cast<const blob_attr*>(bytes.data());
  EXPECT_TRUE(blob_is_extended(attr));
  EXPECT_EQ(blob_id(attr), 3U);
  EXPECT_EQ(blob_raw_len(attr), 13U);
  EXPECT_EQ(blob_len(attr), 9U);
  EXPECT_EQ(blob_pad_len(attr), 16U);
  EXPECT_EQ(blob_data(attr), bytes.data() + 4);
  EXPECT_EQ(reinterpret_cast<const char*>(blob_next(attr)), bytes.data() + 16);
  EXPECT_STREQ(blobmsg_name(attr), "ab");
  EXPECT_EQ(blobmsg_data(attr), bytes.data() + 12);
  EXPECT_EQ(blobmsg_data_len(attr), 1U);
}

TEST(BlobAccessors, WorkOnAnAttributeWithoutAName) {
  const std::string bytes = "\x7f\x00\x00\x06zz\0\0"s;
  const auto* const attr = reinterpret_cast<const blob_attr*>(bytes.data());
  EXPECT_FALSE(blob_is_extended(attr));
  EXPECT_EQ(blob_id(attr), 0x7fU);
  EXPECT_STREQ(blobmsg_name(attr), "");
  EXPECT_EQ(blobmsg_data(attr), bytes.data() + 4);
  EXPECT_EQ(blobmsg_data_len(attr), 2U);
}

}  // namespace
