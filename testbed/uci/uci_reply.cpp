// uci_reply.h says what this stands in for.
#include "testbed/uci/uci_reply.h"

#include <cstddef>
#include <cstdint>
#include <string>

#include "testbed/libubox/blob_buffer.h"

namespace testbed {
namespace {

bool addString(blob_buf* buffer, const char* name, const std::string& value) {
  return blobmsg_add_field(buffer, blobString, name, value.c_str(),
                           static_cast<unsigned int>(value.size() + 1)) == 0;
}

bool addList(blob_buf* buffer, const UciOption& option) {
  void* const array = blobmsg_open_nested(buffer, option.name.c_str(), true);
  if (array == nullptr) return false;
  for (const std::string& value : option.values) {
    if (!addString(buffer, "", value)) return false;
  }
  blob_nest_end(buffer, array);
  return true;
}

bool addSection(blob_buf* buffer, const UciSection& section, std::size_t index) {
  void* const table = blobmsg_open_nested(buffer, section.name.c_str(), false);
  if (table == nullptr) return false;
  const std::uint8_t anonymous = section.anonymous ? 1 : 0;
  const std::uint32_t bigIndex = htobe32(static_cast<std::uint32_t>(index));
  if (blobmsg_add_field(buffer, blobInt8, ".anonymous", &anonymous, sizeof(anonymous)) != 0 ||
      !addString(buffer, ".type", section.type) || !addString(buffer, ".name", section.name) ||
      blobmsg_add_field(buffer, blobInt32, ".index", &bigIndex, sizeof(bigIndex)) != 0) {
    return false;
  }
  for (const UciOption& option : section.options) {
    const bool added = option.isList
                           ? addList(buffer, option)
                           : addString(buffer, option.name.c_str(), option.values.front());
    if (!added) return false;
  }
  blob_nest_end(buffer, table);
  return true;
}

}  // namespace

bool writeReply(const UciPackage& package, blob_buf* buffer) {
  void* const values = blobmsg_open_nested(buffer, "values", false);
  if (values == nullptr) return false;
  std::size_t index = 0;
  for (const UciSection& section : package.sections) {
    if (!addSection(buffer, section, index++)) return false;
  }
  blob_nest_end(buffer, values);
  return true;
}

}  // namespace testbed
