// The growing buffer in which a message is built. blob_space.h is the part that blobmsg.cpp shares.
#include <libubox/blob.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "testbed/libubox/blob_space.h"

namespace testbed {
namespace {

constexpr std::size_t minimumBufferSize = 256;

char* bytes(const blob_buf* buf) {
  return static_cast<char*>(buf->buf);
}

// Containers are open from the buffer's start to the innermost head, so the end of that head is the
// end of the message.
std::size_t usedBytes(const blob_buf* buf) {
  return offsetOf(buf, buf->head) + blob_pad_len(buf->head);
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

}  // namespace

std::size_t offsetOf(const blob_buf* buf, const blob_attr* attr) {
  return static_cast<std::size_t>(reinterpret_cast<const char*>(attr) - bytes(buf));
}

blob_attr* attributeAt(const blob_buf* buf, std::size_t offset) {
  return reinterpret_cast<blob_attr*>(bytes(buf) + offset);
}

void setWord(blob_attr* attr, bool extended, unsigned int id, std::size_t rawLength) {
  attr->id_len = htobe32((extended ? 0x80000000U : 0U) | (id & 0x7fU) << 24 |
                         static_cast<std::uint32_t>(rawLength));
}

blob_attr* reserve(blob_buf* buf, std::size_t rawLength) {
  if (rawLength > maximumRawLength) return nullptr;
  const std::size_t padded = (rawLength + 3) & ~std::size_t{3};
  const std::size_t used = usedBytes(buf);
  if (padded > maximumRawLength - used) return nullptr;
  const auto size = static_cast<std::size_t>(buf->buflen);
  if (used + padded > size && !buf->grow(buf, static_cast<int>(used + padded - size))) {
    return nullptr;
  }
  blob_attr* attr = attributeAt(buf, used);
  std::memset(attr, 0, padded);
  return attr;
}

void extendHead(blob_buf* buf, const blob_attr* child) {
  setWord(buf->head, blob_is_extended(buf->head), blob_id(buf->head),
          blob_pad_len(buf->head) + blob_pad_len(child));
}

}  // namespace testbed

int blob_buf_init(blob_buf* buf, int id) {
  if (buf->grow == nullptr) buf->grow = testbed::growBuffer;
  if (buf->buf == nullptr && !buf->grow(buf, static_cast<int>(sizeof(blob_attr)))) return -ENOMEM;
  buf->head = testbed::attributeAt(buf, 0);
  testbed::setWord(buf->head, false, static_cast<unsigned int>(id), sizeof(blob_attr));
  return 0;
}

void blob_buf_free(blob_buf* buf) {
  std::free(buf->buf);
  buf->buf = nullptr;
  buf->buflen = 0;
  buf->head = nullptr;
}

void blob_nest_end(blob_buf* buf, void* cookie) {
  const blob_attr* child = buf->head;
  buf->head = testbed::attributeAt(buf, reinterpret_cast<std::uintptr_t>(cookie) - 1);
  testbed::extendHead(buf, child);
}
