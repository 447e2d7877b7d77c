// What an error number of a call on a bus socket means, to the client and to the daemon.
#pragma once

#include <cerrno>

namespace testbed {

// Whether the same call may succeed later.
inline bool isTemporary(int error) {
  return error == EINTR || error == EAGAIN || error == EWOULDBLOCK;
}

}  // namespace testbed
