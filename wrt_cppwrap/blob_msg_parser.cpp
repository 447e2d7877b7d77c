// Checks and reading of a received attribute; blob_msg_parser.h says what the calls promise.
#include "wrt_cppwrap/blob_msg_parser.h"

#include <cstring>
#include <stdexcept>
#include <string>

namespace wrt_cppwrap {
namespace {

int typeOf(const blob_attr* attr) {
  return static_cast<int>(blob_id(attr));
}

[[noreturn]] void failType() {
  throw std::invalid_argument("BlobMsgParser: Invalid type.");
}
[[noreturn]] void failFormat() {
  throw std::invalid_argument("BlobMsgParser: Invalid format.");
}

}  // namespace

BlobMsgParser::BlobMsgParser(blob_attr* attr, int expectedType) {
  if (attr == nullptr) {
    if (expectedType != kBlobAny) failType();
    return;
  }
  if (expectedType != kBlobAny && typeOf(attr) != expectedType) failType();
  // An attribute inside another one was checked there, as a child. The outermost one was not, so
  // here its own header is checked before its payload is read.
  if (blob_raw_len(attr) < sizeof(blob_attr) ||
      (blob_is_extended(attr) && !blobmsg_check_attr(attr, false))) {
    failFormat();
  }

  std::size_t remaining = blobmsg_data_len(attr);
  auto* child = static_cast<blob_attr*>(blobmsg_data(attr));
  while (remaining >= sizeof(blob_attr) && blob_pad_len(child) >= sizeof(blob_attr) &&
         blob_pad_len(child) <= remaining) {
    if (!blobmsg_check_attr(child, false)) failFormat();
    children.push_back(child);
    remaining -= blob_pad_len(child);
    child = blob_next(child);
  }
}

blob_attr* BlobMsgParser::find(const char* name, int type) const {
  for (blob_attr* child : children) {
    if (std::strcmp(nameOf(child), name) == 0 && (type == kBlobAny || type == typeOf(child))) {
      return child;
    }
  }
  throw std::invalid_argument(std::string("BlobMsgParser: Cannot find the element named ") + name);
}

// blobmsg_name itself may only be called for an attribute that has a name header.
const char* BlobMsgParser::nameOf(const blob_attr* attr) {
  return blob_is_extended(attr) ? blobmsg_name(attr) : "";
}

const char* BlobMsgParser::getString(blob_attr* attr) {
  if (typeOf(attr) != kBlobString) failType();
  return static_cast<const char*>(blobmsg_data(attr));
}

}  // namespace wrt_cppwrap
