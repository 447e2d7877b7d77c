#include "testbed/busd/bus_listener.h"

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <system_error>

namespace testbed {
namespace {

sockaddr_un makeAddress(const std::string& path) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  if (path.empty() || path.size() >= sizeof(address.sun_path)) {
    throw std::runtime_error("not a usable socket path: \"" + path + "\"");
  }
  std::memcpy(address.sun_path, path.data(), path.size());
  return address;
}

[[noreturn]] void fail(const std::string& what) {
  throw std::system_error(errno, std::generic_category(), what);
}

int makeSocket() {
  const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
  if (fd < 0) fail("socket");
  return fd;
}

const sockaddr* generic(const sockaddr_un& address) {
  return reinterpret_cast<const sockaddr*>(&address);
}

}  // namespace

BusListener::BusListener(const std::filesystem::path& path) : path_(path) {
  try {
    makeAddress(path_);
    makeDirectories();
    removeStaleSocket();
    listenOnSocket();
  } catch (...) {
    cleanUp();
    throw;
  }
}

BusListener::~BusListener() {
  cleanUp();
}

void BusListener::makeDirectories() {
  std::vector<std::filesystem::path> missing;
  std::filesystem::path directory = std::filesystem::path(path_).parent_path();
  while (!directory.empty() && !std::filesystem::exists(directory)) {
    missing.push_back(directory);
    directory = directory.parent_path();
  }
  std::reverse(missing.begin(), missing.end());
  for (const std::filesystem::path& made : missing) {
    if (std::filesystem::create_directory(made)) madeDirectories_.push_back(made);
  }
}

// Only a socket that refuses connections is nobody's.
void BusListener::removeStaleSocket() const {
  struct stat status {};
  if (lstat(path_.c_str(), &status) != 0) {
    if (errno == ENOENT) return;
    fail(path_);
  }
  if (!S_ISSOCK(status.st_mode)) throw std::runtime_error(path_ + " exists and is no socket");
  const sockaddr_un address = makeAddress(path_);
  const int fd = makeSocket();
  const bool refused = connect(fd, generic(address), sizeof(address)) != 0 && errno == ECONNREFUSED;
  close(fd);
  if (!refused) throw std::runtime_error("a daemon listens on " + path_ + " already");
  if (unlink(path_.c_str()) != 0) fail(path_);
}

void BusListener::listenOnSocket() {
  const sockaddr_un address = makeAddress(path_);
  fd_ = makeSocket();
  if (bind(fd_, generic(address), sizeof(address)) != 0) fail(path_);
  bound_ = true;
  struct stat status {};
  if (lstat(path_.c_str(), &status) != 0) fail(path_);
  device_ = status.st_dev;
  inode_ = status.st_ino;
  if (listen(fd_, SOMAXCONN) != 0) fail(path_);
}

void BusListener::cleanUp() noexcept {
  if (fd_ >= 0) close(fd_);
  struct stat status {};
  if (bound_ && lstat(path_.c_str(), &status) == 0 && status.st_dev == device_ &&
      status.st_ino == inode_) {
    unlink(path_.c_str());
  }
  // rmdir refuses a directory that somebody else has put something into; then the outer ones stay.
  for (auto made = madeDirectories_.rbegin(); made != madeDirectories_.rend(); ++made) {
    rmdir(made->c_str());
  }
}

}  // namespace testbed
