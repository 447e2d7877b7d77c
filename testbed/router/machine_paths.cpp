// Takes the machine's own paths for one run and gives them back.
#include "testbed/router/machine_paths.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <string_view>

#include "testbed/router/errors.h"
#include "testbed/router/paths.h"

namespace testbed::router {
namespace {

// Any of these exists on a router of the product's platform and on no other machine.
constexpr std::array<const char*, 3> kRouterSigns = {"/etc/openwrt_release", "/etc/openwrt_version",
                                                     "/sbin/procd"};
// Set inside such a run: a second one inside would wait for the first for ever.
constexpr const char* kNestedVariable = "TESTBED_MACHINE_PATHS";
constexpr std::string_view kRunDirectory = "/var/run";

void refuseOnRouter() {
  for (const char* sign : kRouterSigns) {
    if (access(sign, F_OK) == 0) {
      throw std::runtime_error(std::string("this machine is a router (it has ") + sign +
                               "): refusing to use its own paths");
    }
  }
}

// A socket file whose daemon is gone refuses the connection; anything else counts as alive.
void refuseLiveDaemon(const std::string& socketPath) {
  struct stat status = {};
  if (stat(socketPath.c_str(), &status) != 0 && errno == ENOENT) return;
  sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  socketPath.copy(address.sun_path, sizeof(address.sun_path) - 1);
  const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
  if (fd < 0) throw std::runtime_error(withErrno("socket"));
  const void* generic = &address;
  const int connected = connect(fd, static_cast<const sockaddr*>(generic), sizeof(address));
  const bool dead = connected != 0 && (errno == ECONNREFUSED || errno == ENOENT);
  close(fd);
  if (!dead) {
    throw std::runtime_error("a bus daemon lives on " + socketPath +
                             ": refusing to use the machine's own paths");
  }
}

// Makes a directory if it is missing, and then removes it at the end.
class DirectoryForRun {
 public:
  explicit DirectoryForRun(std::string path)
      : path_(std::move(path)), made_(mkdir(path_.c_str(), 0755) == 0) {
    if (!made_ && errno != EEXIST) throw std::runtime_error(withErrno("cannot make " + path_));
  }
  ~DirectoryForRun() {
    if (made_) rmdir(path_.c_str());
  }
  DirectoryForRun(const DirectoryForRun&) = delete;
  DirectoryForRun& operator=(const DirectoryForRun&) = delete;

 private:
  std::string path_;
  bool made_;
};

// Leaves a path free for the run: what stands there is renamed, and renamed back at the end over
// whatever the run made. What a killed run has left aside is the machine's, so it stands in the
// way.
class FreePath {
 public:
  explicit FreePath(std::string_view path)
      : path_(path), aside_(path_ + ".before-router"), renamed_(moveAside()) {}
  ~FreePath() {
    if (!renamed_) {
      unlink(path_.c_str());
    } else if (rename(aside_.c_str(), path_.c_str()) != 0) {
      dprintf(STDERR_FILENO, "router: cannot put back %s: %s\n", path_.c_str(), strerror(errno));
    }
  }
  FreePath(const FreePath&) = delete;
  FreePath& operator=(const FreePath&) = delete;

 private:
  bool moveAside() const {
    struct stat status = {};
    if (lstat(aside_.c_str(), &status) == 0) {
      throw std::runtime_error(aside_ + " is left from a run that was killed: rename it to " +
                               path_ + " or remove it");
    }
    if (rename(path_.c_str(), aside_.c_str()) == 0) return true;
    if (errno != ENOENT) throw std::runtime_error(withErrno("cannot set aside " + path_));
    return false;
  }

  std::string path_;
  std::string aside_;
  bool renamed_;
};

// The tables' lock file is shared with every other tool of the machine, so an existing one is used
// as it is. One that the run made is removed, under its lock: nobody is using it then.
class LockFileForRun {
 public:
  explicit LockFileForRun(std::string_view path)
      : path_(path), existed_(access(path_.c_str(), F_OK) == 0) {}
  ~LockFileForRun() {
    if (existed_) return;
    const int fd = open(path_.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) return;
    if (flock(fd, LOCK_EX | LOCK_NB) == 0) unlink(path_.c_str());
    close(fd);
  }
  LockFileForRun(const LockFileForRun&) = delete;
  LockFileForRun& operator=(const LockFileForRun&) = delete;

 private:
  std::string path_;
  bool existed_;
};

}  // namespace

// Members are taken in this order and given back in the reverse one.
class MachinePaths::Parts {
 public:
  Parts()
      : busDirectory_(std::filesystem::path(kBusSocket).parent_path()),
        busSocket_(kBusSocket),
        tablesLock_(kTablesLock),
        compilerOutput_(kCompilerOutput) {}

 private:
  DirectoryForRun busDirectory_;
  FreePath busSocket_;
  LockFileForRun tablesLock_;
  FreePath compilerOutput_;
};

MachineLock::MachineLock() {
  refuseOnRouter();
  if (getenv(kNestedVariable) != nullptr) {
    throw std::runtime_error("already inside a run that uses the machine's own paths");
  }
  // The directory itself carries the lock.
  fd_ = open(std::string(kRunDirectory).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (fd_ < 0 || flock(fd_, LOCK_EX) != 0) {
    const std::string error = withErrno("lock of " + std::string(kRunDirectory));
    if (fd_ >= 0) close(fd_);
    throw std::runtime_error(error);
  }
}

MachineLock::~MachineLock() {
  close(fd_);
}

MachinePaths::MachinePaths(const MachineLock&) {
  refuseLiveDaemon(std::string(kBusSocket));
  parts_ = std::make_unique<Parts>();
  setenv(kNestedVariable, "1", 1);
}

MachinePaths::~MachinePaths() = default;

}  // namespace testbed::router
