// Building of a message; blob_msg.h says what the calls promise.
#include "wrt_cppwrap/blob_msg.h"

#include <stdexcept>
#include <system_error>

namespace wrt_cppwrap {

BlobMsg::BlobMsg() {
  const int result = blob_buf_init(&buffer, kBlobTable);
  if (result != 0) throw std::system_error(-result, std::generic_category());
}

BlobMsg::~BlobMsg() {
  blob_buf_free(&buffer);
}

void BlobMsg::addString(const char* name, const std::string& value) {
  const auto length = static_cast<unsigned>(value.size() + 1);  // with the terminating NUL
  if (blobmsg_add_field(&buffer, kBlobString, name, value.c_str(), length) != 0) {
    throw std::runtime_error(std::string("BlobMsg: failed to add the element named ") + name);
  }
}

void BlobMsg::addBlob(blob_attr* attr) {
  if (blobmsg_add_field(&buffer, static_cast<int>(blob_id(attr)), blobmsg_name(attr),
                        blobmsg_data(attr), static_cast<unsigned>(blobmsg_data_len(attr))) != 0) {
    throw std::runtime_error("BlobMsg: failed to add blob.");
  }
}

}  // namespace wrt_cppwrap
