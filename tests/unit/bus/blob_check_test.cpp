// blobmsg_check_attr as a table.
#include <gtest/gtest.h>
#include <libubox/blobmsg.h>

#include <string>
#include <vector>

#include "tests/support/wire_bytes.h"

namespace {

using std::string_literals::operator""s;

struct Row {
  std::string what;
  std::string bytes;
  bool holds;          // without the name check
  bool holdsWithName;  // with it
};

bool check(const std::string& bytes, bool name) {
  return blobmsg_check_attr(wire::Block(bytes).attribute(), name);
}

// An attribute without the padding after it.
std::string unpadded(unsigned int type, const std::string& name, const std::string& data) {
  const std::string bytes = wire::named(type, name, data);
  const std::size_t header = (2 + name.size() + 1 + 3) / 4 * 4;
  return bytes.substr(0, 4 + header + data.size());
}

TEST(BlobmsgCheckAttr, HoldsForWellFormedAttributesOnly) {
  std::vector<Row> rows = {
      {"length 0", "\x80\x00\x00\x00"s, false, false},
      {"length 3", "\x00\x00\x00\x03"s, false, false},
      {"plain and empty", "\x00\x00\x00\x04"s, true, false},
      {"plain string", "\x03\x00\x00\x06x\0"s, true, false},
      {"plain string without NUL", "\x03\x00\x00\x05x"s, false, false},
      {"plain int8", "\x07\x00\x00\x05\x01"s, true, false},
      {"plain int8 of two bytes", "\x07\x00\x00\x06\x01\x02"s, false, false},
      {"extended without a name length", "\x83\x00\x00\x04"s, false, false},
      {"extended with half a name length", "\x83\x00\x00\x05\x00"s, false, false},
      {"name length alone", "\x81\x00\x00\x06\x00\x00"s, false, false},
      {"name header without padding", "\x81\x00\x00\x07\x00\x00\x00"s, false, false},
      {"empty name", "\x81\x00\x00\x08\x00\x00\x00\x00"s, true, false},
      {"name", "\x81\x00\x00\x08\x00\x01n\x00"s, true, true},
      {"no NUL after the empty name", "\x81\x00\x00\x08\x00\x00x\x00"s, false, false},
      {"no NUL after the name", "\x81\x00\x00\x08\x00\x01nx"s, false, false},
      {"name one byte too long", "\x81\x00\x00\x08\x00\x02nm"s, false, false},
      {"name as long as can be said", "\x81\x00\x00\x08\xff\xffn\x00"s, false, false},
      {"anything else as padding of the name", "\x81\x00\x00\x0c\x00\x02nm\x00xyz"s, true, true},
      {"type 8 of any length", unpadded(8, "n", "abc"), true, true},
      {"type 9", unpadded(9, "n", "abc"), false, false},
      {"type 127", unpadded(127, "n", "abc"), false, false},
      {"type 0 of any length", unpadded(0, "n", "abc"), true, true},
      {"array of any content", unpadded(1, "n", "abc"), true, true},
      {"table of any content", unpadded(2, "n", "abcde"), true, true},
      {"string without data", unpadded(3, "n", ""), false, false},
      {"string of a NUL", unpadded(3, "n", "\0"s), true, true},
      {"string with a NUL in it", unpadded(3, "n", "a\0b\0"s), true, true},
      {"string without NUL", unpadded(3, "n", "ab"), false, false},
      {"unnamed string", unpadded(3, "", "ab\0"s), true, false},
  };
  const std::vector<std::pair<unsigned int, std::size_t>> integers = {
      {4, 8}, {5, 4}, {6, 2}, {7, 1}};
  for (const auto& [type, size] : integers) {
    for (std::size_t length = 0; length <= 9; ++length) {
      rows.push_back({"type " + std::to_string(type) + " of " + std::to_string(length) + " bytes",
                      unpadded(type, "n", std::string(length, '\x01')), length == size,
                      length == size});
    }
  }
  for (const Row& row : rows) {
    EXPECT_EQ(check(row.bytes, false), row.holds) << row.what;
    EXPECT_EQ(check(row.bytes, true), row.holdsWithName) << row.what << ", name wanted";
  }
}

}  // namespace
