// A blob message that is being built.
#pragma once

#include <string>

#include "wrt_cppwrap/platform_headers.h"

namespace wrt_cppwrap {

// Type codes of message elements, as far as they are used.
inline constexpr int kBlobAny = 0;  // no check
inline constexpr int kBlobArray = 1;
inline constexpr int kBlobTable = 2;
inline constexpr int kBlobString = 3;

class BlobMsg {
 public:
  // An empty table. Throws std::system_error if there is no memory for it.
  BlobMsg();
  ~BlobMsg();
  BlobMsg(const BlobMsg&) = delete;
  BlobMsg& operator=(const BlobMsg&) = delete;

  // Both append an element, which can move the whole message in memory: pointers to attributes from
  // before the call are invalid after it. Both throw std::runtime_error if there is no room.
  void addString(const char* name, const std::string& value);
  // Copies the attribute, which must be well formed and have a name header, with type and name.
  void addBlob(blob_attr* attr);

  // The message, owned by the object.
  blob_attr* head() const { return buffer.head; }

 private:
  blob_buf buffer{};
};

}  // namespace wrt_cppwrap
