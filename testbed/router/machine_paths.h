// Tables in files on a machine that refuses namespaces: the product's fixed paths are then the
// machine's own, taken for one run at a time and given back as they were.
#pragma once

#include <memory>

namespace testbed::router {

// The right to use the machine's paths. The constructor waits while another run has it; it refuses,
// with a std::runtime_error that names the reason, when the machine is a router or inside another
// such run. Leaves no file behind.
class MachineLock {
 public:
  MachineLock();
  ~MachineLock();
  MachineLock(const MachineLock&) = delete;
  MachineLock& operator=(const MachineLock&) = delete;

 private:
  int fd_ = -1;
};

// Holds the machine's socket, lock and output paths for one run. The constructor throws
// std::runtime_error when a bus daemon answers on the socket, when the paths cannot be written, or
// when a killed run has left something set aside.
//
// What stood at these paths is set aside (a lock file stays in use) and put back by the destructor,
// which removes everything made there since. The preload library is not put into /usr/lib: tools
// that keep tables in files do without.
class MachinePaths {
 public:
  explicit MachinePaths(const MachineLock& lock);
  ~MachinePaths();
  MachinePaths(const MachinePaths&) = delete;
  MachinePaths& operator=(const MachinePaths&) = delete;

 private:
  class Parts;
  std::unique_ptr<Parts> parts_;
};

}  // namespace testbed::router
