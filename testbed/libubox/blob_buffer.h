// A message being built and the type numbers of its attributes, for the testbed's own code. Stands
// in for nothing: libubox leaves both to its users, and the program has a wrapper of its own.
#pragma once

#include <libubox/blobmsg.h>

#include <new>
#include <span>

namespace testbed {

enum BlobType : int {
  blobArray = 1,
  blobTable = 2,
  blobString = 3,  // with its NUL
  blobInt32 = 5,
  blobInt8 = 7,
};

class BlobBuffer {
 public:
  // An empty table. Throws std::bad_alloc.
  BlobBuffer() {
    if (blob_buf_init(&buffer_, blobTable) != 0) throw std::bad_alloc();
  }
  ~BlobBuffer() { blob_buf_free(&buffer_); }
  BlobBuffer(const BlobBuffer&) = delete;
  BlobBuffer& operator=(const BlobBuffer&) = delete;

  blob_buf* get() { return &buffer_; }
  // The table's members as they go into another attribute; valid until something is added.
  std::span<const char> members() const {
    return {static_cast<const char*>(blob_data(buffer_.head)), blob_len(buffer_.head)};
  }

 private:
  blob_buf buffer_{};
};

}  // namespace testbed
