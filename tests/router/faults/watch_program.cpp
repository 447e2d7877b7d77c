// watch_program REPORT PROGRAM [run|bus [SIGNAL STEP [PROCESS]]]
//
// Runs the product and says in the file REPORT how it ended and what of it was left:
//
//     status=134 left=none lock=free after=free
//
// status: as a shell tells it. left: "some" when a process that the program started was there after
// its end. lock: the tables' lock at that moment; after: the same when the last of those processes
// had ended, too. "free", "held" or "missing".
//
// With a third argument the program is traced and its steps follow, a line each: those system calls
// through which others see something of it. "run" has those from the lock on, "bus" what it
// receives. The program, or another process, gets the signal right after the step of that number,
// counted from 1, when the program has seen nothing of the step's result yet. Where the system
// refuses tracing altogether the exit status is 77, which no other failure has.
//
// The program's process is in the file REPORT.pid before it starts.
//
// The program and its tools find PROGRAM_PID in their environment; a tool that reads descriptor 9
// comes to its end when the program has ended.
#include <fcntl.h>
#include <sys/file.h>
#include <sys/prctl.h>
#include <sys/ptrace.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <map>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

namespace {

constexpr int kEnd = 9;
constexpr int kTracingRefused = 77;  // fault_table.cpp knows it, too

class TracingRefused : public std::exception {};

struct Options {
  std::string report;
  std::string program;
  std::string steps = {};  // empty: the program is not traced
  int signal = 0;
  int after = 0;
  pid_t to = 0;  // 0: the program
};

[[noreturn]] void fail(const std::string& what) {
  throw std::system_error(errno, std::generic_category(), what);
}

// The calls that start a process have several names, and not each of them everywhere.
const std::map<std::uint64_t, std::string_view> kRunCalls = {
    {SYS_flock, "flock"}, {SYS_openat, "open"}, {SYS_write, "write"}, {SYS_writev, "write"},
    {SYS_close, "close"}, {SYS_wait4, "wait"},  {SYS_clone, "start"}, {SYS_clone3, "start"},
#ifdef SYS_fork
    {SYS_open, "open"},   {SYS_fork, "start"},  {SYS_vfork, "start"},
#endif
};
const std::map<std::uint64_t, std::string_view> kBusCalls = {{SYS_recvfrom, "receive"},
                                                             {SYS_recvmsg, "receive"}};

// Follows one process, not those that it starts, from system call to system call.
class Tracer {
 public:
  Tracer(pid_t program, const Options& options)
      : program_(program),
        options_(options),
        calls_(options.steps == "bus" ? kBusCalls : kRunCalls),
        counting_(options.steps == "bus") {}

  // The names of the steps until the signal was sent, or until the program's end with its status.
  std::vector<std::string_view> follow(std::optional<int>& waitStatus) {
    int status = 0;
    if (waitpid(program_, &status, 0) < 0) fail("waitpid");
    if (WIFEXITED(status) && WEXITSTATUS(status) == kTracingRefused) throw TracingRefused();
    if (!WIFSTOPPED(status)) throw std::runtime_error("the program does not wait for its tracer");
    if (ptrace(PTRACE_SETOPTIONS, program_, 0, PTRACE_O_TRACESYSGOOD | PTRACE_O_EXITKILL) != 0) {
      fail("PTRACE_SETOPTIONS");
    }
    int passedOn = 0;
    while (true) {
      if (ptrace(PTRACE_SYSCALL, program_, 0, passedOn) != 0) fail("PTRACE_SYSCALL");
      if (waitpid(program_, &status, 0) < 0) fail("waitpid");
      if (!WIFSTOPPED(status)) {
        waitStatus = status;
        return steps_;
      }
      passedOn = 0;
      if (WSTOPSIG(status) == (SIGTRAP | 0x80)) {
        if (takeCall() && static_cast<int>(steps_.size()) == options_.after) {
          kill(options_.to == 0 ? program_ : options_.to, options_.signal);
          // A killed process is no longer there to be left alone.
          if (ptrace(PTRACE_DETACH, program_, 0, 0) != 0 && errno != ESRCH) fail("PTRACE_DETACH");
          return steps_;
        }
      } else if (WSTOPSIG(status) != SIGTRAP) {  // that one comes with the start of the program
        passedOn = WSTOPSIG(status);
      }
    }
  }

 private:
  // Looks at the call that begins or ends here. True when it ends and is a step.
  bool takeCall() {
    __ptrace_syscall_info info = {};
    if (ptrace(PTRACE_GET_SYSCALL_INFO, program_, sizeof(info), &info) <= 0) {
      fail("PTRACE_GET_SYSCALL_INFO");
    }
    if (info.op == PTRACE_SYSCALL_INFO_ENTRY) {
      const auto call = calls_.find(info.entry.nr);
      current_ = call == calls_.end() ? "" : call->second;
      if ((current_ == "write" || current_ == "close") && isPipe(info.entry.args[0])) current_ = "";
      counting_ = counting_ || current_ == "flock";
      return false;
    }
    if (info.op != PTRACE_SYSCALL_INFO_EXIT || current_.empty() || !counting_) return false;
    steps_.push_back(current_);
    return true;
  }

  // The program's end of a pipe to a tool; sanitizers probe memory with pipes, too.
  bool isPipe(std::uint64_t descriptor) const {
    std::error_code error;
    const std::filesystem::path link =
        "/proc/" + std::to_string(program_) + "/fd/" + std::to_string(descriptor);
    return std::filesystem::read_symlink(link, error).string().starts_with("pipe:");
  }

  pid_t program_;
  const Options& options_;
  const std::map<std::uint64_t, std::string_view>& calls_;
  bool counting_;
  std::string_view current_;  // empty: no step
  std::vector<std::string_view> steps_;
};

const char* lockState() {
  const int fd = open("/run/xtables.lock", O_RDONLY | O_CLOEXEC);
  if (fd < 0) return "missing";
  const bool free = flock(fd, LOCK_EX | LOCK_NB) == 0;
  close(fd);
  return free ? "free" : "held";
}

// Orphans of the program come to this process. True when one of them still runs.
bool isAnyLeft() {
  pid_t ended = 0;
  while ((ended = waitpid(-1, nullptr, WNOHANG)) > 0) {
  }
  return ended == 0;
}

void awaitAll() {
  while (waitpid(-1, nullptr, 0) > 0 || errno == EINTR) {
  }
}

pid_t start(const Options& options, int end) {
  const pid_t program = fork();
  if (program < 0) fail("fork");
  if (program != 0) return program;
  dup2(end, kEnd);
  setenv("PROGRAM_PID", std::to_string(getpid()).c_str(), 1);
  if (!options.steps.empty()) {
    // The leak check at the program's end wants to trace it, too.
    const char* const given = getenv("ASAN_OPTIONS");
    const std::string before = given == nullptr ? "" : std::string(given) + ":";
    setenv("ASAN_OPTIONS", (before + "detect_leaks=0").c_str(), 1);
    if (ptrace(PTRACE_TRACEME, 0, 0, 0) != 0) {
      _exit(errno == EPERM || errno == ENOSYS ? kTracingRefused : 126);
    }
    if (raise(SIGSTOP) != 0) _exit(126);
  }
  std::ofstream(options.report + ".pid") << getpid() << '\n';
  execl(options.program.c_str(), options.program.c_str(), nullptr);
  _exit(127);
}

void watch(const Options& options) {
  std::array<int, 2> end = {};
  if (pipe2(end.data(), O_CLOEXEC) != 0) fail("pipe2");
  if (prctl(PR_SET_CHILD_SUBREAPER, 1) != 0) fail("PR_SET_CHILD_SUBREAPER");
  const pid_t program = start(options, end[0]);
  close(end[0]);
  std::vector<std::string_view> steps;
  std::optional<int> waitStatus;
  if (!options.steps.empty()) steps = Tracer(program, options).follow(waitStatus);
  int status = waitStatus.value_or(0);
  if (!waitStatus && waitpid(program, &status, 0) < 0) fail("waitpid");
  const char* const lock = lockState();
  const bool left = isAnyLeft();
  close(end[1]);
  awaitAll();

  std::ofstream report(options.report);
  report << "status=" << (WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status))
         << " left=" << (left ? "some" : "none") << " lock=" << lock << " after=" << lockState()
         << '\n';
  for (const std::string_view step : steps) report << step << '\n';
  if (!report.flush()) fail(options.report);
}

Options parseOptions(const std::vector<std::string>& arguments) {
  Options options = {.report = arguments.at(0), .program = arguments.at(1)};
  if (arguments.size() > 2) options.steps = arguments[2];
  if (arguments.size() > 4) {
    options.signal = std::stoi(arguments[3]);
    options.after = std::stoi(arguments[4]);
  }
  if (arguments.size() > 5) options.to = std::stoi(arguments[5]);
  return options;
}

}  // namespace

int main(int argc, char** argv) {
  try {
    watch(parseOptions(std::vector<std::string>(argv + 1, argv + argc)));
    return 0;
  } catch (const TracingRefused&) {
    return kTracingRefused;
  } catch (const std::exception& error) {
    std::cerr << "watch_program: " << error.what() << '\n';
    return 1;
  }
}
