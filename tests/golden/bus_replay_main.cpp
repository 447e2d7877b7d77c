// bus_replay CASES COMMAND [ARGUMENT]...: plays the bus daemon on its default socket and runs the
// command once per case; bus_replay.h has the form of cases and results. The results go to standard
// output.
#include <fcntl.h>
#include <poll.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <fstream>
#include <iostream>
#include <sstream>
#include <string>
#include <system_error>
#include <vector>

#include "tests/golden/bus_replay.h"

namespace golden {
namespace {

constexpr const char* kSocketPath = "/var/run/ubus/ubus.sock";
constexpr std::size_t kMessageHeaderSize = 8;

[[noreturn]] void fail(const std::string& what) {
  throw std::system_error(errno, std::generic_category(), what);
}

int listenOnBus() {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  std::strncpy(address.sun_path, kSocketPath, sizeof(address.sun_path) - 1);
  const void* const untyped = &address;
  const auto* const generic = static_cast<const sockaddr*>(untyped);
  const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (fd < 0 || bind(fd, generic, sizeof(address)) != 0 || listen(fd, 1) != 0) {
    fail(kSocketPath);
  }
  return fd;
}

// The command with its standard error in a memory file.
class Client {
 public:
  explicit Client(char** command) : err_(memfd_create("stderr", MFD_CLOEXEC)) {
    if (err_ < 0) fail("memfd_create");
    if (pipe2(lifeline_.data(), O_CLOEXEC) != 0) fail("pipe2");
    pid_ = fork();
    if (pid_ < 0) fail("fork");
    if (pid_ == 0) {
      dup2(STDERR_FILENO, STDOUT_FILENO);
      dup2(err_, STDERR_FILENO);
      if (dup(lifeline_[1]) < 0) _exit(126);  // the copy stays open in the command
      execvp(command[0], command);
      _exit(127);
    }
    close(lifeline_[1]);
  }
  ~Client() {
    close(err_);
    close(lifeline_[0]);
  }
  Client(const Client&) = delete;
  Client& operator=(const Client&) = delete;

  // The client's connection; -1 when it ends without one.
  int accept(int listener) const {
    std::array<pollfd, 2> polled = {{{listener, POLLIN, 0}, {lifeline_[0], POLLIN, 0}}};
    while (poll(polled.data(), polled.size(), -1) < 0) {
      if (errno != EINTR) fail("poll");
    }
    return polled[0].revents == 0 ? -1 : accept4(listener, nullptr, nullptr, SOCK_CLOEXEC);
  }

  // Ends the client once it sleeps. Between a request and its answer it does so in that call only.
  void killWhenAsleep() const {
    const std::string path = "/proc/" + std::to_string(pid_) + "/stat";
    std::string state;
    do {
      std::ifstream stat(path);
      std::string pid;
      std::string name;
      if (!(stat >> pid >> name >> state)) fail(path);
    } while (state != "S");
    kill(pid_, SIGKILL);
  }

  ReplayResult wait() const {
    int status = 0;
    while (waitpid(pid_, &status, 0) < 0) {
      if (errno != EINTR) fail("waitpid");
    }
    ReplayResult result;
    result.status = WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
    lseek(err_, 0, SEEK_SET);
    std::array<char, 4096> buffer{};
    ssize_t got = 0;
    while ((got = read(err_, buffer.data(), buffer.size())) > 0) {
      result.err.append(buffer.data(), static_cast<std::size_t>(got));
    }
    return result;
  }

 private:
  int err_;
  std::array<int, 2> lifeline_{-1, -1};  // closed at the other side when the client has ended
  pid_t pid_ = -1;
};

// False when the client has closed the connection.
bool readExactly(int fd, char* place, std::size_t size) {
  while (size > 0) {
    const ssize_t got = recv(fd, place, size, 0);
    if (got <= 0) return false;
    place += got;
    size -= static_cast<std::size_t>(got);
  }
  return true;
}

bool readRequest(int fd) {
  std::array<char, kMessageHeaderSize + 4> start{};
  if (!readExactly(fd, start.data(), start.size())) return false;
  std::size_t length = 0;  // of the attribute, with the four bytes that are read already
  for (std::size_t i = kMessageHeaderSize + 1; i < start.size(); ++i) {
    length = length << 8 | static_cast<unsigned char>(start[i]);
  }
  if (length < 4) return false;
  std::string rest(length - 4, '\0');
  return readExactly(fd, rest.data(), rest.size());
}

void sendAll(int fd, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t sent = send(fd, bytes.data(), bytes.size(), MSG_NOSIGNAL);
    if (sent < 0) return;  // the client has gone
    bytes.remove_prefix(static_cast<std::size_t>(sent));
  }
}

void serve(int fd, const Client& client, const std::vector<std::string>& words) {
  for (std::size_t i = 0; i < words.size(); ++i) {
    if (i > 0 && !readRequest(fd)) return;
    if (words[i] == kReplayWait) {
      client.killWhenAsleep();
      return;
    }
    sendAll(fd, fromHex(words[i]));
  }
  // The client may still send what will not be answered.
  shutdown(fd, SHUT_WR);
  std::array<char, 4096> ignored{};
  while (recv(fd, ignored.data(), ignored.size(), 0) > 0) {
  }
}

void runCases(const char* casesPath, char** command) {
  std::ifstream cases(casesPath);
  if (!cases) fail(casesPath);
  const int listener = listenOnBus();
  for (std::string line; std::getline(cases, line);) {
    std::istringstream stream(line);
    std::vector<std::string> words;
    for (std::string word; stream >> word;) words.push_back(word);
    const Client client(command);
    if (const int fd = client.accept(listener); fd >= 0) {
      serve(fd, client, words);
      close(fd);
    }
    const ReplayResult result = client.wait();
    std::cout << result.status << ' ' << toHex(result.err) << '\n';
  }
  close(listener);
  unlink(kSocketPath);
}

}  // namespace
}  // namespace golden

int main(int argc, char** argv) {
  if (argc < 3) {
    std::cerr << "usage: bus_replay CASES COMMAND [ARGUMENT]...\n";
    return 2;
  }
  try {
    golden::runCases(argv[1], argv + 2);
    return 0;
  } catch (const std::exception& error) {
    std::cerr << "bus_replay: " << error.what() << '\n';
    return 1;
  }
}
