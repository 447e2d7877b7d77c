// A view on one received attribute and its direct children. Nothing is copied: the message must
// outlive the parser and every pointer taken from it.
#pragma once

#include <vector>

#include "wrt_cppwrap/blob_msg.h"

namespace wrt_cppwrap {

class BlobMsgParser {
 public:
  // attr: null reads as an attribute without children. Throws std::invalid_argument if the type
  // is not the expected one or a child is malformed.
  explicit BlobMsgParser(blob_attr* attr, int expectedType = kBlobAny);

  // The first child of that name and type. Throws std::invalid_argument if there is none.
  blob_attr* find(const char* name, int type = kBlobAny) const;

  // The text of a string attribute. Throws std::invalid_argument for another type.
  static const char* getString(blob_attr* attr);

  // The name of an attribute, "" for one that has no name header. `attr` must be well formed.
  static const char* nameOf(const blob_attr* attr);

  // The children in message order.
  const std::vector<blob_attr*>& elements() const& { return children; }
  const std::vector<blob_attr*>& elements() const&& = delete;  // dies with the parser

 private:
  std::vector<blob_attr*> children;
};

}  // namespace wrt_cppwrap
