// Adds named attributes to a message and checks those that came from elsewhere.
#include <libubox/blobmsg.h>

#include <array>
#include <cstring>
#include <string_view>

#include "testbed/libubox/blob_space.h"
#include "testbed/libubox/blob_types.h"

namespace testbed {
namespace {

// Data bytes that a type asks for, indexed by type; 0 where any number will do.
constexpr std::array<std::size_t, 9> dataSizes = {0, 0, 0, 0, 8, 4, 2, 1, 0};

constexpr std::size_t maximumNameLength = 0xffff;

std::size_t headerLength(std::size_t nameLength) {
  return (2 + nameLength + 1 + 3) & ~std::size_t{3};
}

// Reserves an attribute with its word and name header in place and room for the data. Null when it
// cannot be added.
blob_attr* reserveNamed(blob_buf* buf, int type, const char* name, std::size_t dataLength) {
  const std::string_view text = name == nullptr ? "" : name;
  if (text.size() > maximumNameLength || dataLength > maximumRawLength) return nullptr;
  const std::size_t rawLength = sizeof(blob_attr) + headerLength(text.size()) + dataLength;
  blob_attr* attr = reserve(buf, rawLength);
  if (attr == nullptr) return nullptr;
  setWord(attr, true, static_cast<unsigned int>(type), rawLength);
  attr->data[0] = static_cast<char>(text.size() >> 8);
  attr->data[1] = static_cast<char>(text.size() & 0xff);
  if (!text.empty()) std::memcpy(attr->data + 2, text.data(), text.size());
  return attr;
}

// The name header of an extended attribute whose word is already known to be sound.
bool checkNameHeader(const blob_attr* attr, bool nameRequired) {
  const std::size_t payload = blob_len(attr);
  if (payload < 2) return false;
  const std::size_t nameLength = std::size_t{static_cast<unsigned char>(attr->data[0])} << 8 |
                                 std::size_t{static_cast<unsigned char>(attr->data[1])};
  if (headerLength(nameLength) > payload) return false;
  if (nameRequired && nameLength == 0) return false;
  return attr->data[2 + nameLength] == '\0';
}

}  // namespace
}  // namespace testbed

int blobmsg_add_field(blob_buf* buf, int type, const char* name, const void* data,
                      unsigned int len) {
  blob_attr* attr = testbed::reserveNamed(buf, type, name, len);
  if (attr == nullptr) return -1;
  if (len > 0) std::memcpy(blobmsg_data(attr), data, len);
  testbed::extendHead(buf, attr);
  return 0;
}

void* blobmsg_open_nested(blob_buf* buf, const char* name, bool array) {
  const std::size_t parent = testbed::offsetOf(buf, buf->head);
  blob_attr* attr =
      testbed::reserveNamed(buf, array ? testbed::blobArray : testbed::blobTable, name, 0);
  if (attr == nullptr) return nullptr;
  buf->head = attr;
  // Not 0, so that the cookie of the root's children is no null pointer.
  return reinterpret_cast<void*>(parent + 1);
}

bool blobmsg_check_attr(const blob_attr* attr, bool name) {
  if (blob_raw_len(attr) < sizeof(blob_attr)) return false;
  if (blob_is_extended(attr)) {
    if (!testbed::checkNameHeader(attr, name)) return false;
  } else if (name) {
    return false;
  }
  const unsigned int type = blob_id(attr);
  if (type >= testbed::dataSizes.size()) return false;
  const std::size_t length = blobmsg_data_len(attr);
  if (type == testbed::blobString) {
    return length > 0 && static_cast<const char*>(blobmsg_data(attr))[length - 1] == '\0';
  }
  return testbed::dataSizes[type] == 0 || testbed::dataSizes[type] == length;
}
