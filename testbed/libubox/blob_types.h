// The types of named attributes. The platform's interface takes and gives them as plain numbers.
#pragma once

namespace testbed {

enum BlobType : int {
  blobArray = 1,
  blobTable = 2,
  blobString = 3,  // with its NUL
  blobInt64 = 4,
  blobInt32 = 5,
  blobInt16 = 6,
  blobInt8 = 7,
  blobDouble = 8,
};

}  // namespace testbed
