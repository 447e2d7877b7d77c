// A blob message that is being built.
#pragma once

#include <libubox/blobmsg.h>

#include <string>

namespace wrt_cppwrap {

// Type codes of message elements, as far as they are used.
inline constexpr int kBlobAny = 0;  // no check
inline constexpr int kBlobArray = 1;
inline constexpr int kBlobTable = 2;
inline constexpr int kBlobString = 3;

class BlobMsg {
 public:
  // An empty table. Throws std::system_error when there is no memory for it.
  BlobMsg();
  ~BlobMsg();
  BlobMsg(const BlobMsg&) = delete;
  BlobMsg& operator=(const BlobMsg&) = delete;

  // Both append an element, which can move the whole message in memory: attribute pointers from
  // before the call are dead after it. They throw std::runtime_error when there is no room.
  void addString(const char* name, const std::string& value);
  // Copies the attribute with its type and name.
  void addBlob(blob_attr* attr);

  // The message, owned by the object.
  blob_attr* head() const { return buffer.head; }

 private:
  blob_buf buffer{};
};

}  // namespace wrt_cppwrap
