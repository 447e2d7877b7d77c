// Stands in for the message part of libubox: a buffer that grows while a message is built in it,
// and the check of attributes that came from elsewhere. Leaves out what the program does not call:
// parsing by policies, printing, JSON.
#include <libubox/blobmsg.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string_view>

namespace {

constexpr std::size_t minimumBufferSize = 256;
// The largest length that the 24 bits of an attribute's word can say and that is padded.
constexpr std::size_t maximumRawLength = 0xfffffc;
constexpr std::size_t maximumNameLength = 0xffff;

constexpr int arrayType = 1;
constexpr int tableType = 2;
constexpr unsigned int stringType = 3;
// Data bytes that a type asks for, indexed by type; 0 where any number will do.
constexpr std::array<std::size_t, 9> dataSizes = {0, 0, 0, 0, 8, 4, 2, 1, 0};

// Where an attribute lies in its buffer. Unlike a pointer, an offset survives growing.
std::size_t offsetOf(const blob_buf* buf, const blob_attr* attr) {
  return static_cast<std::size_t>(reinterpret_cast<const char*>(attr) -
                                  static_cast<const char*>(buf->buf));
}

blob_attr* attributeAt(const blob_buf* buf, std::size_t offset) {
  return reinterpret_cast<blob_attr*>(static_cast<char*>(buf->buf) + offset);
}

void setWord(blob_attr* attr, bool extended, unsigned int id, std::size_t rawLength) {
  attr->id_len = htobe32((extended ? 0x80000000U : 0U) | (id & 0x7fU) << 24 |
                         static_cast<std::uint32_t>(rawLength));
}

// Doubling keeps the cost of a message linear in its size.
bool growBuffer(blob_buf* buf, int minlen) {
  const auto oldSize = static_cast<std::size_t>(buf->buflen);
  const std::size_t newSize =
      std::max({oldSize * 2, oldSize + static_cast<std::size_t>(minlen), minimumBufferSize});
  void* moved = std::realloc(buf->buf, newSize);
  if (moved == nullptr) return false;
  const std::size_t headOffset = buf->head == nullptr ? 0 : offsetOf(buf, buf->head);
  buf->buf = moved;
  buf->buflen = static_cast<int>(newSize);
  buf->head = attributeAt(buf, headOffset);
  return true;
}

// Zeroed bytes after the last attribute, enough for `rawLength` and its padding. Null if the
// message would be too long or there is no memory. Nothing is counted into the container yet.
blob_attr* reserve(blob_buf* buf, std::size_t rawLength) {
  if (rawLength > maximumRawLength) return nullptr;
  const std::size_t padded = (rawLength + 3) & ~std::size_t{3};
  // Containers are open from the buffer's start to the innermost head, so the end of that head is
  // the end of the message.
  const std::size_t used = offsetOf(buf, buf->head) + blob_pad_len(buf->head);
  if (padded > maximumRawLength - used) return nullptr;
  const auto size = static_cast<std::size_t>(buf->buflen);
  if (used + padded > size && !buf->grow(buf, static_cast<int>(used + padded - size))) {
    return nullptr;
  }
  blob_attr* attr = attributeAt(buf, used);
  std::memset(attr, 0, padded);
  return attr;
}

// Counts a child that lies after the head's last one, with its padding, into the head.
void extendHead(blob_buf* buf, const blob_attr* child) {
  setWord(buf->head, blob_is_extended(buf->head), blob_id(buf->head),
          blob_pad_len(buf->head) + blob_pad_len(child));
}

std::size_t headerLength(std::size_t nameLength) {
  return (2 + nameLength + 1 + 3) & ~std::size_t{3};
}

// Reserves an attribute with its word and name header in place and room for the data. Null if it
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

int blob_buf_init(blob_buf* buf, int id) {
  if (buf->grow == nullptr) buf->grow = growBuffer;
  if (buf->buf == nullptr && !buf->grow(buf, static_cast<int>(sizeof(blob_attr)))) return -ENOMEM;
  buf->head = attributeAt(buf, 0);
  setWord(buf->head, false, static_cast<unsigned int>(id), sizeof(blob_attr));
  return 0;
}

void blob_buf_free(blob_buf* buf) {
  std::free(buf->buf);
  buf->buf = nullptr;
  buf->buflen = 0;
  buf->head = nullptr;
}

int blobmsg_add_field(blob_buf* buf, int type, const char* name, const void* data,
                      unsigned int len) {
  blob_attr* attr = reserveNamed(buf, type, name, len);
  if (attr == nullptr) return -1;
  if (len > 0) std::memcpy(blobmsg_data(attr), data, len);
  extendHead(buf, attr);
  return 0;
}

void* blobmsg_open_nested(blob_buf* buf, const char* name, bool array) {
  const std::size_t parent = offsetOf(buf, buf->head);
  blob_attr* attr = reserveNamed(buf, array ? arrayType : tableType, name, 0);
  if (attr == nullptr) return nullptr;
  buf->head = attr;
  // Not 0, so that the cookie of the root's children is no null pointer.
  return reinterpret_cast<void*>(parent + 1);
}

void blob_nest_end(blob_buf* buf, void* cookie) {
  const blob_attr* child = buf->head;
  buf->head = attributeAt(buf, reinterpret_cast<std::uintptr_t>(cookie) - 1);
  extendHead(buf, child);
}

bool blobmsg_check_attr(const blob_attr* attr, bool name) {
  if (blob_raw_len(attr) < sizeof(blob_attr)) return false;
  if (blob_is_extended(attr) ? !checkNameHeader(attr, name) : name) return false;
  const unsigned int type = blob_id(attr);
  if (type >= dataSizes.size()) return false;
  const std::size_t length = blobmsg_data_len(attr);
  if (type == stringType) {
    return length > 0 && static_cast<const char*>(blobmsg_data(attr))[length - 1] == '\0';
  }
  return dataSizes[type] == 0 || dataSizes[type] == length;
}
