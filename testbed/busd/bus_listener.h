// The daemon's socket in the file system: made at start, gone at the end.
#pragma once

#include <sys/types.h>

#include <filesystem>
#include <string>
#include <vector>

namespace testbed {

class BusListener {
 public:
  // Makes the missing directories and listens. A socket left behind by a dead daemon is replaced.
  // Throws std::runtime_error when the path is too long, when a daemon answers there, when
  // something else than a socket has the name, or when the system refuses.
  explicit BusListener(const std::filesystem::path& path);
  // Removes the socket, unless another daemon has replaced it, and those directories that the
  // constructor made and that are empty.
  ~BusListener();
  BusListener(const BusListener&) = delete;
  BusListener& operator=(const BusListener&) = delete;

  int fd() const { return fd_; }

 private:
  void makeDirectories();
  void removeStaleSocket() const;
  void listenOnSocket();
  void cleanUp() noexcept;

  std::string path_;
  int fd_ = -1;
  bool bound_ = false;
  dev_t device_ = 0;
  ino_t inode_ = 0;
  std::vector<std::filesystem::path> madeDirectories_;  // outermost first
};

}  // namespace testbed
