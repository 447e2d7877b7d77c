// The testbed's bus daemon. Stands in for ubusd and rpcd together: offers the object "uci" on the
// bus socket, from configuration files. bus_answer.h says what it serves and what it leaves out.
//
//     ubusd [--socket=PATH] [--config-dir=DIR] [--ready-fd=N]
//
// It stays in the foreground until SIGTERM or SIGINT, then removes its socket and exits with 0.
// Exit status 1: it cannot run, with the reason on standard error; 2: wrong arguments.
//
// Each of a fixed number of threads serves one client at a time, with calls that block: a client
// that is slow or silent holds up its own thread only, and no more than one of its messages and the
// answer are kept. If every thread has a client, the next client waits until one goes.
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <charconv>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <string_view>
#include <system_error>
#include <thread>

#include "testbed/busd/bus_answer.h"
#include "testbed/libubus/bus_socket.h"

namespace {

constexpr int clientsAtATime = 32;

struct Options {
  std::string socket = testbed::defaultBusSocket;
  std::string configDirectory = "/etc/config";
  int readyFd = -1;  // gets a newline and is closed once clients can connect
};

bool takeValue(std::string_view argument, std::string_view name, std::string_view& value) {
  if (!argument.starts_with(name)) return false;
  value = argument.substr(name.size());
  return true;
}

bool parseOptions(int count, char** arguments, Options& options) {
  for (int i = 1; i < count; ++i) {
    const std::string_view argument = arguments[i];
    std::string_view value;
    if (takeValue(argument, "--socket=", value)) {
      options.socket = value;
    } else if (takeValue(argument, "--config-dir=", value)) {
      options.configDirectory = value;
    } else if (takeValue(argument, "--ready-fd=", value)) {
      const char* const end = value.data() + value.size();
      const auto [stop, error] = std::from_chars(value.data(), end, options.readyFd);
      if (error != std::errc() || stop != end || options.readyFd < 0) return false;
    } else {
      return false;
    }
  }
  return true;
}

[[noreturn]] void fail(const std::string& what) {
  throw std::system_error(errno, std::generic_category(), what);
}

// Takes the place of a socket that a dead daemon left, but of no other file.
int listenOn(const std::string& path) {
  const sockaddr_un address = testbed::busAddress(path);
  if (testbed::connectBus(path) >= 0) {
    throw std::runtime_error("a daemon listens on " + path + " already");
  }
  if (std::filesystem::is_socket(path)) unlink(path.c_str());
  const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (fd < 0 || bind(fd, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) != 0 ||
      listen(fd, SOMAXCONN) != 0) {
    fail(path);
  }
  return fd;
}

// Serves one client until it goes, or sends what cannot be a message.
void serveClient(int client, std::uint32_t id, const std::string& configDirectory) {
  const auto read = [client](std::span<char> bytes) { return testbed::receiveAll(client, bytes); };
  bool open = testbed::sendAll(client, testbed::makeHello(id));
  while (open) {
    std::optional<testbed::Message> question = testbed::readMessage(read);
    open = question && testbed::sendAll(client, testbed::answerMessage(*question, configDirectory));
  }
}

void serveClients(int listener, const std::string& configDirectory) {
  static std::atomic<std::uint32_t> lastClientId = 0;
  while (true) {
    const int client = accept4(listener, nullptr, nullptr, SOCK_CLOEXEC);
    if (client < 0) continue;  // it has gone again
    serveClient(client, ++lastClientId, configDirectory);
    close(client);
  }
}

void tellReady(int fd) {
  if (fd < 0) return;
  if (write(fd, "\n", 1) != 1) fail("--ready-fd");
  close(fd);
}

// Serves until a signal comes.
void run(const Options& options) {
  // The signals wait for sigwait, in every thread, so that none of them comes before the clean-up.
  sigset_t signals;
  sigemptyset(&signals);
  sigaddset(&signals, SIGTERM);
  sigaddset(&signals, SIGINT);
  sigprocmask(SIG_BLOCK, &signals, nullptr);
  // A client that goes away before it has read its answer must not end the daemon.
  std::signal(SIGPIPE, SIG_IGN);

  const int listener = listenOn(options.socket);
  tellReady(options.readyFd);
  for (int i = 0; i < clientsAtATime; ++i) {
    std::thread(serveClients, listener, options.configDirectory).detach();
  }
  int signal = 0;
  sigwait(&signals, &signal);
  unlink(options.socket.c_str());
}

}  // namespace

int main(int argc, char** argv) {
  Options options;
  if (!parseOptions(argc, argv, options)) {
    std::fputs("usage: ubusd [--socket=PATH] [--config-dir=DIR] [--ready-fd=N]\n", stderr);
    return 2;
  }
  try {
    run(options);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "ubusd: %s\n", error.what());
    return 1;
  }
  // The threads still run. A return would destroy what they use.
  _exit(0);
}
