// Starts programs for the setup of a run.
#include "testbed/router/run_tool.h"

#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstdio>
#include <stdexcept>
#include <string_view>

#include "testbed/router/errors.h"

namespace testbed::router {
namespace {

// Memory files instead of pipes: the tool can print or leave unread as much as it likes, and nobody
// has to serve three descriptors at a time.
class MemoryFile {
 public:
  explicit MemoryFile(std::string_view content = {}) : fd_(memfd_create("router", MFD_CLOEXEC)) {
    if (fd_ < 0) throw std::runtime_error(withErrno("memfd_create"));
    while (!content.empty()) {
      const ssize_t written = write(fd_, content.data(), content.size());
      if (written < 0) throw std::runtime_error(withErrno("write"));
      content.remove_prefix(static_cast<std::size_t>(written));
    }
    rewind();
  }
  ~MemoryFile() { close(fd_); }
  MemoryFile(const MemoryFile&) = delete;
  MemoryFile& operator=(const MemoryFile&) = delete;

  int fd() const { return fd_; }
  std::string content() const {
    rewind();
    std::string text;
    std::array<char, 4096> buffer = {};
    for (ssize_t got = 0; (got = read(fd_, buffer.data(), buffer.size())) > 0;) {
      text.append(buffer.data(), static_cast<std::size_t>(got));
    }
    return text;
  }

 private:
  void rewind() const { lseek(fd_, 0, SEEK_SET); }

  int fd_;
};

[[noreturn]] void execute(std::vector<std::string> arguments) {
  std::vector<char*> argv;
  argv.reserve(arguments.size() + 1);
  for (std::string& argument : arguments) argv.push_back(argument.data());
  argv.push_back(nullptr);
  execvp(argv[0], argv.data());
  const int status = errno == ENOENT ? 127 : 126;
  dprintf(STDERR_FILENO, "router: cannot run %s: %s\n", argv[0], strerror(errno));
  _exit(status);
}

}  // namespace

int exitStatusOf(int waitStatus) {
  return WIFSIGNALED(waitStatus) ? 128 + WTERMSIG(waitStatus) : WEXITSTATUS(waitStatus);
}

pid_t startProgram(const std::vector<std::string>& arguments,
                   const std::function<void()>& prepare) {
  const pid_t parent = getpid();
  const pid_t child = fork();
  if (child < 0) throw std::runtime_error(withErrno("fork"));
  if (child == 0) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    // The parent may have died before the line above.
    if (getppid() != parent) _exit(126);
    prepare();
    execute(arguments);
  }
  return child;
}

ToolResult runTool(const std::vector<std::string>& arguments, const std::string& input) {
  const MemoryFile in(input);
  const MemoryFile out;
  const MemoryFile err;
  const pid_t child = startProgram(arguments, [&] {
    dup2(in.fd(), STDIN_FILENO);
    dup2(out.fd(), STDOUT_FILENO);
    dup2(err.fd(), STDERR_FILENO);
  });
  int status = 0;
  while (waitpid(child, &status, 0) < 0) {
    if (errno != EINTR) throw std::runtime_error(withErrno("waitpid"));
  }
  return {exitStatusOf(status), out.content(), err.content()};
}

}  // namespace testbed::router
