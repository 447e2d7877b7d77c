// Messages as the library lays them out and checks them. The product's tests of messages pin the
// rest on the way: growth, accessors, what a reader refuses.
#include <gtest/gtest.h>
#include <libubox/blobmsg.h>

#include <string>
#include <vector>

#include "testbed/libubox/blob_buffer.h"
#include "tests/support/wire_bytes.h"

namespace {

using std::string_literals::operator""s;

TEST(BlobLayout, IsTheOneThatThePlatformDescribes) {
  testbed::BlobBuffer buffer;
  const auto add = [&buffer](int type, const char* name, const std::string& data) {
    const auto size = static_cast<unsigned int>(data.size());
    EXPECT_EQ(blobmsg_add_field(buffer.get(), type, name, data.data(), size), 0);
  };
  void* const values = blobmsg_open_nested(buffer.get(), "values", false);
  void* const matches = blobmsg_open_nested(buffer.get(), "matches", true);
  add(3, "", "OR\0"s);
  add(3, "", "-6\0"s);
  blob_nest_end(buffer.get(), matches);
  blob_nest_end(buffer.get(), blobmsg_open_nested(buffer.get(), "empty", true));
  add(7, "flag", "\x01");
  blob_nest_end(buffer.get(), values);
  add(3, "after", "\0"s);
  const blob_attr* const head = buffer.get()->head;
  EXPECT_EQ(std::string(reinterpret_cast<const char*>(head), blob_raw_len(head)),
            "\x02\x00\x00\x68"  // the length of a container covers the padding in it
            "\x82\x00\x00\x54\x00\x06values\0\0\0\0"
            "\x81\x00\x00\x28\x00\x07matches\0\0\0"
            "\x83\x00\x00\x0b\0\0\0\0OR\0\0"  // and that of another attribute not its own
            "\x83\x00\x00\x0b\0\0\0\0-6\0\0"
            "\x81\x00\x00\x0c\x00\x05"
            "empty\0"
            "\x87\x00\x00\x0d\x00\x04"
            "flag\0\0\x01\0\0\0"
            "\x83\x00\x00\x0d\x00\x05"
            "after\0\0\0\0\0"s);
}

// An attribute without the padding after it.
std::string unpadded(unsigned int type, const std::string& name, const std::string& data) {
  const std::string bytes = wire::named(type, name, data);
  const std::size_t header = (2 + name.size() + 1 + 3) / 4 * 4;
  return bytes.substr(0, 4 + header + data.size());
}

TEST(BlobmsgCheckAttr, HoldsForWellFormedAttributesOnly) {
  std::vector<std::pair<std::string, bool>> rows = {
      {"\x00\x00\x00\x03"s, false},
      {"\x00\x00\x00\x04"s, true},
      {"\x03\x00\x00\x06x\0"s, true},
      {"\x03\x00\x00\x05x"s, false},
      {"\x83\x00\x00\x05\x00"s, false},              // half a name length
      {"\x81\x00\x00\x07\x00\x00\x00"s, false},      // a name header without its padding
      {"\x81\x00\x00\x08\x00\x00\x00\x00"s, true},   // an empty name
      {"\x81\x00\x00\x08\x00\x00x\x00"s, false},     // no NUL after it
      {"\x81\x00\x00\x08\x00\x01nx"s, false},        // no NUL after a name
      {"\x81\x00\x00\x08\x00\x02nm"s, false},        // a name one byte too long
      {"\x81\x00\x00\x08\xff\xffn\x00"s, false},     // as long as can be said
      {"\x81\x00\x00\x0c\x00\x02nm\x00xyz"s, true},  // anything as padding of the name
      {unpadded(0, "n", "abc"), true},
      {unpadded(1, "n", "abc"), true},
      {unpadded(2, "n", "abcde"), true},
      {unpadded(3, "n", ""), false},
      {unpadded(3, "n", "\0"s), true},
      {unpadded(3, "n", "a\0b\0"s), true},
      {unpadded(3, "n", "ab"), false},
      {unpadded(8, "n", "abc"), true},
      {unpadded(9, "n", "abc"), false},
      {unpadded(127, "n", "abc"), false},
  };
  const std::vector<std::pair<unsigned int, std::size_t>> integers = {
      {4, 8}, {5, 4}, {6, 2}, {7, 1}};
  for (const auto& [type, size] : integers) {
    for (std::size_t length = 0; length <= 9; ++length) {
      rows.emplace_back(unpadded(type, "n", std::string(length, '\x01')), length == size);
    }
  }
  for (const auto& [bytes, holds] : rows) {
    EXPECT_EQ(blobmsg_check_attr(wire::Block(bytes).attribute(), false), holds)
        << testing::PrintToString(bytes);
  }
}

}  // namespace
