#include "tests/support/process.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <regex>
#include <system_error>

namespace test_support {
namespace {

[[noreturn]] void fail(const std::string& what) {
  throw std::system_error(errno, std::generic_category(), what);
}

// Standard input comes from a memory file, so no writer thread is needed however long it is.
int makeInput(std::string_view text) {
  const int fd = memfd_create("stdin", MFD_CLOEXEC);
  if (fd < 0) fail("memfd_create");
  while (!text.empty()) {
    const ssize_t written = write(fd, text.data(), text.size());
    if (written < 0) fail("write");
    text.remove_prefix(static_cast<std::size_t>(written));
  }
  if (lseek(fd, 0, SEEK_SET) != 0) fail("lseek");
  return fd;
}

// Appends what can be read now; closes the descriptor and sets it to -1 at the end of file.
void readSome(int& fd, std::string& text) {
  std::array<char, 65536> buffer;
  const ssize_t got = read(fd, buffer.data(), buffer.size());
  if (got < 0 && errno == EINTR) return;
  if (got <= 0) {
    close(fd);
    fd = -1;
    return;
  }
  text.append(buffer.data(), static_cast<std::size_t>(got));
}

}  // namespace

BackgroundProcess::BackgroundProcess(const std::vector<std::string>& arguments,
                                     const ProcessOptions& options) {
  std::array<int, 2> outPipe;
  std::array<int, 2> errPipe;
  const int input = makeInput(options.input);
  if (pipe2(outPipe.data(), O_CLOEXEC) != 0 || pipe2(errPipe.data(), O_CLOEXEC) != 0) fail("pipe2");
  std::vector<char*> argv;
  argv.reserve(arguments.size() + 1);
  for (const std::string& argument : arguments) argv.push_back(const_cast<char*>(argument.c_str()));
  argv.push_back(nullptr);
  pid_ = fork();
  if (pid_ < 0) fail("fork");
  if (pid_ == 0) {
    // A test that is killed leaves no process behind.
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    dup2(input, 0);
    dup2(outPipe[1], 1);
    dup2(errPipe[1], 2);
    for (const auto& [name, value] : options.variables) setenv(name.c_str(), value.c_str(), 1);
    execvp(argv[0], argv.data());
    _exit(127);
  }
  close(input);
  close(outPipe[1]);
  close(errPipe[1]);
  out_ = outPipe[0];
  err_ = errPipe[0];
}

BackgroundProcess::~BackgroundProcess() {
  if (out_ >= 0) close(out_);
  if (err_ >= 0) close(err_);
  if (pid_ > 0) {
    kill(pid_, SIGKILL);
    waitpid(pid_, nullptr, 0);
  }
}

void BackgroundProcess::sendSignal(int signal) const {
  kill(pid_, signal);
}

bool BackgroundProcess::readLine(std::string& line) {
  while (outBuffer_.find('\n') == std::string::npos) {
    if (out_ < 0) return false;
    readSome(out_, outBuffer_);
  }
  const std::size_t end = outBuffer_.find('\n');
  line = outBuffer_.substr(0, end);
  outBuffer_.erase(0, end + 1);
  return true;
}

ProcessResult BackgroundProcess::wait() {
  ProcessResult result;
  result.out = std::move(outBuffer_);
  outBuffer_.clear();
  while (out_ >= 0 || err_ >= 0) {
    std::array<pollfd, 2> polled = {{{out_, POLLIN, 0}, {err_, POLLIN, 0}}};
    if (poll(polled.data(), polled.size(), -1) < 0 && errno != EINTR) fail("poll");
    if (polled[0].revents != 0) readSome(out_, result.out);
    if (polled[1].revents != 0) readSome(err_, result.err);
  }
  int status = 0;
  while (waitpid(pid_, &status, 0) < 0) {
    if (errno != EINTR) fail("waitpid");
  }
  pid_ = -1;
  result.err = plainError(result.err);
  if (WIFEXITED(status)) result.exitStatus = WEXITSTATUS(status);
  if (WIFSIGNALED(status)) result.signal = WTERMSIG(status);
  return result;
}

ProcessResult runProcess(const std::vector<std::string>& arguments, const ProcessOptions& options) {
  return BackgroundProcess(arguments, options).wait();
}

std::string uncaught(std::string_view type, std::string_view what) {
  return "terminate called after throwing an instance of '" + std::string(type) +
         "'\n  what():  " + std::string(what) + "\n";
}

std::string plainError(const std::string& err) {
  if (err.find("qemu: ") == std::string::npos && err.find("libc++abi: ") == std::string::npos) {
    return err;
  }
  static const std::regex emulator("qemu: uncaught target signal[^\n]*\n");
  static const std::regex otherRuntime(
      "libc\\+\\+abi: terminating due to uncaught exception of type ([^\n]*?): ");
  return std::regex_replace(std::regex_replace(err, emulator, ""), otherRuntime,
                            "terminate called after throwing an instance of '$1'\n  what():  ");
}

}  // namespace test_support
