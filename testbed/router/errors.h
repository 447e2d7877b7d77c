// The ways in which setting up a run can fail, apart by what may still be tried: other namespaces,
// other tables, or nothing.
#pragma once

#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <string>

namespace testbed::router {

// The system refuses these namespaces or a mount inside them.
class NamespacesRefused : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// The namespaces are fine, but the kernel or the tools cannot hold tables in them.
class TablesUnavailable : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// `what` and the text of errno, for the message of an exception.
inline std::string withErrno(const std::string& what) {
  return what + ": " + strerror(errno);
}

}  // namespace testbed::router
