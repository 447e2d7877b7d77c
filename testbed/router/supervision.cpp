// Starts the supervisor of a run, watches over it from outside, and over the command from inside.
#include "testbed/router/supervision.h"

#include <dirent.h>
#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <exception>
#include <fstream>
#include <map>
#include <memory>
#include <string_view>
#include <utility>
#include <vector>

#include "testbed/router/errors.h"
#include "testbed/router/run_tool.h"

namespace testbed::router {
namespace {

// First byte of what the supervisor reports through its pipe; a message follows a failure.
constexpr char kStarted = 'S';
constexpr std::array<std::pair<char, Outcome::Kind>, 4> kReports = {{
    {kStarted, Outcome::Kind::Ran},
    {'N', Outcome::Kind::NamespacesRefused},
    {'T', Outcome::Kind::TablesUnavailable},
    {'F', Outcome::Kind::Failed},
}};

class Pipe {
 public:
  Pipe() {
    if (pipe2(ends_.data(), O_CLOEXEC) != 0) throw std::runtime_error(withErrno("pipe"));
  }
  ~Pipe() {
    closeEnd(0);
    closeEnd(1);
  }
  Pipe(const Pipe&) = delete;
  Pipe& operator=(const Pipe&) = delete;

  void closeReader() { closeEnd(0); }
  void closeWriter() { closeEnd(1); }
  // A report is far shorter than what a pipe holds, so writing never waits for the reader.
  void send(char kind, std::string_view message) const {
    const std::string report = kind + std::string(message.substr(0, 4000));
    if (write(ends_[1], report.data(), report.size()) < 0) return;
  }
  std::string receiveAll() const {
    std::string text;
    std::array<char, 4096> buffer = {};
    for (ssize_t got = 0; (got = read(ends_[0], buffer.data(), buffer.size())) > 0;) {
      text.append(buffer.data(), static_cast<std::size_t>(got));
    }
    return text;
  }
  bool readerIsGone() const {
    pollfd polled = {ends_[1], POLLOUT, 0};
    return poll(&polled, 1, 0) > 0 && (polled.revents & POLLERR) != 0;
  }

 private:
  void closeEnd(std::size_t end) {
    if (ends_[end] >= 0) close(ends_[end]);
    ends_[end] = -1;
  }

  std::array<int, 2> ends_ = {-1, -1};
};

// The supervisor's whole life. The end of a pid namespace's first process is the end of all others
// in it; a supervisor without one has to clean up first and therefore gets a signal that waits.
[[noreturn]] void runSupervisor(
    Pipe& report, int endSignal,
    const std::function<int(const std::function<void()>&)>& setUpAndRun) {
  int status = 125;
  prctl(PR_SET_PDEATHSIG, endSignal);
  report.closeReader();
  // The starter may have died before the line above that.
  if (report.readerIsGone()) _exit(status);
  try {
    status = setUpAndRun([&] { report.send(kStarted, ""); });
  } catch (const NamespacesRefused& error) {
    report.send('N', error.what());
  } catch (const TablesUnavailable& error) {
    report.send('T', error.what());
  } catch (const std::exception& error) {
    report.send('F', error.what());
  }
  _exit(status);
}

Outcome readOutcome(const std::string& report, int waitStatus) {
  for (const auto& [letter, kind] : kReports) {
    if (!report.starts_with(letter)) continue;
    // Only a signal from elsewhere can end the supervisor itself.
    if (kind == Outcome::Kind::Ran && WIFSIGNALED(waitStatus)) break;
    return {kind, exitStatusOf(waitStatus), report.substr(1)};
  }
  return {Outcome::Kind::Failed, 0,
          "the supervisor ended with status " + std::to_string(exitStatusOf(waitStatus))};
}

// The number that the text begins with, else 0.
pid_t readNumber(std::string_view text) {
  pid_t number = 0;
  std::from_chars(text.data(), text.data() + text.size(), number);
  return number;
}

// Parent process of each running process, from /proc; zombies are left to their parents.
std::map<pid_t, pid_t> readParents() {
  std::map<pid_t, pid_t> parents;
  const std::unique_ptr<DIR, int (*)(DIR*)> listing(opendir("/proc"), closedir);
  if (!listing) return parents;
  while (const dirent* entry = readdir(listing.get())) {
    const pid_t process = readNumber(entry->d_name);
    if (process <= 0) continue;
    std::ifstream file("/proc/" + std::string(entry->d_name) + "/stat");
    std::string text;
    std::getline(file, text, '\0');
    // The name in parentheses may hold anything; state and parent follow its last parenthesis.
    const std::size_t nameEnd = text.rfind(')');
    if (nameEnd == std::string::npos || nameEnd + 4 > text.size()) continue;
    if (text[nameEnd + 2] != 'Z') parents[process] = readNumber(text.substr(nameEnd + 4));
  }
  return parents;
}

std::vector<pid_t> findDescendants() {
  std::multimap<pid_t, pid_t> children;
  for (const auto& [process, parent] : readParents()) children.emplace(parent, process);
  std::vector<pid_t> found = {getpid()};
  for (std::size_t next = 0; next < found.size(); ++next) {
    const auto [begin, end] = children.equal_range(found[next]);
    for (auto child = begin; child != end; ++child) found.push_back(child->second);
  }
  found.erase(found.begin());
  return found;
}

}  // namespace

Outcome runSupervised(const std::optional<Namespaces>& namespaces, const RunSignals& signals,
                      const std::function<int(const std::function<void()>&)>& setUpAndRun) {
  const int endSignal = namespaces ? SIGKILL : SIGTERM;
  Pipe report;
  const pid_t supervisor = forkInto(namespaces);
  if (supervisor == 0) runSupervisor(report, endSignal, setUpAndRun);
  report.closeWriter();
  int interruptedBy = 0;
  int waitStatus = 0;
  while (waitpid(supervisor, &waitStatus, WNOHANG) == 0) {
    const int number = signals.wait();
    if (number == SIGCHLD) continue;
    interruptedBy = number;
    kill(supervisor, endSignal);
  }
  if (interruptedBy != 0) return {Outcome::Kind::Interrupted, interruptedBy, ""};
  return readOutcome(report.receiveAll(), waitStatus);
}

int superviseCommand(pid_t command, const RunSignals& signals) {
  while (true) {
    const int number = signals.wait();
    if (number != SIGCHLD) return 128 + number;
    // One SIGCHLD may stand for several ends.
    int status = 0;
    for (pid_t ended = 0; (ended = waitpid(-1, &status, WNOHANG)) > 0;) {
      if (ended == command) return exitStatusOf(status);
    }
  }
}

void adoptOrphans() {
  prctl(PR_SET_CHILD_SUBREAPER, 1);
}

void endDescendants() {
  // Children of a killed process come to the caller, so each round ends what the one before could
  // not see, until there is no child left to wait for.
  do {
    for (const pid_t process : findDescendants()) kill(process, SIGKILL);
  } while (waitpid(-1, nullptr, 0) > 0 || errno == EINTR);
}

}  // namespace testbed::router
