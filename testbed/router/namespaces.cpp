// Forks into namespaces and prepares fresh user and network namespaces.
#include "testbed/router/namespaces.h"

#include <fcntl.h>
#include <net/if.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <csignal>
#include <string>

#include "testbed/router/errors.h"

namespace testbed::router {
namespace {

void writeProcFile(const char* path, const std::string& text) {
  const int fd = open(path, O_WRONLY | O_CLOEXEC);
  const bool written = fd >= 0 && write(fd, text.data(), text.size()) >= 0;
  const std::string error = written ? "" : withErrno(path);
  if (fd >= 0) close(fd);
  if (!written) throw NamespacesRefused(error);
}

}  // namespace

std::vector<std::optional<Namespaces>> namespacesToTry(bool forKernelTables) {
  std::vector<std::optional<Namespaces>> choices;
  for (const bool network : {true, false}) {
    if (!network && forKernelTables) break;
    if (geteuid() == 0) choices.emplace_back(Namespaces{.user = false, .network = network});
    choices.emplace_back(Namespaces{.user = true, .network = network});
  }
  if (!forKernelTables) choices.emplace_back(std::nullopt);
  return choices;
}

pid_t forkInto(const std::optional<Namespaces>& namespaces) {
  int flags = SIGCHLD;
  if (namespaces) {
    flags |= CLONE_NEWNS | CLONE_NEWPID;
    if (namespaces->user) flags |= CLONE_NEWUSER;
    if (namespaces->network) flags |= CLONE_NEWNET;
  }
  // The system call itself: the library's clone wants a function and a stack, and unshare would
  // need a second fork for the pid namespace.
  const auto child =
      static_cast<pid_t>(syscall(SYS_clone, flags, nullptr, nullptr, nullptr, nullptr));
  if (child < 0) throw NamespacesRefused(withErrno("clone"));
  return child;
}

void becomeNamespaceRoot(uid_t user, gid_t group) {
  // Without this the kernel refuses a group map to whoever has no right to change groups outside.
  writeProcFile("/proc/self/setgroups", "deny");
  writeProcFile("/proc/self/uid_map", "0 " + std::to_string(user) + " 1");
  writeProcFile("/proc/self/gid_map", "0 " + std::to_string(group) + " 1");
}

void bringUpLoopback() {
  const int fd = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  if (fd < 0) throw NamespacesRefused(withErrno("socket"));
  ifreq request = {};
  strncpy(request.ifr_name, "lo", IFNAMSIZ - 1);
  request.ifr_flags = IFF_UP;
  const bool up = ioctl(fd, SIOCSIFFLAGS, &request) == 0;
  const std::string error = up ? "" : withErrno("loopback device");
  close(fd);
  if (!up) throw NamespacesRefused(error);
}

}  // namespace testbed::router
