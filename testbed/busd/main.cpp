// The testbed's bus daemon: offers the object "uci" on the bus socket, from configuration files.
//
//     ubusd [--socket=PATH] [--config-dir=DIR] [--ready-fd=N]
//
// It stays in the foreground until SIGTERM or SIGINT, then removes its socket and exits with 0.
// Exit status 1: it cannot run, with the reason on standard error; 2: wrong arguments.
#include <sys/signalfd.h>
#include <unistd.h>

#include <charconv>
#include <csignal>
#include <cstdio>
#include <exception>
#include <string>
#include <string_view>
#include <system_error>

#include "testbed/busd/bus_listener.h"
#include "testbed/busd/bus_server.h"
#include "testbed/busd/uci_service.h"
#include "testbed/libubus/message.h"

namespace {

struct Options {
  std::string socket = testbed::defaultBusSocket;
  std::string configDir = "/etc/config";
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
      options.configDir = value;
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

// A descriptor that becomes readable when the daemon is to stop. From here on the signals wait
// there, so that none of them can end the process between two steps of its clean-up.
int openStopSignals() {
  sigset_t signals;
  sigemptyset(&signals);
  sigaddset(&signals, SIGTERM);
  sigaddset(&signals, SIGINT);
  // A reader of the messages that goes away must not take the daemon with it.
  std::signal(SIGPIPE, SIG_IGN);
  if (sigprocmask(SIG_BLOCK, &signals, nullptr) != 0) return -1;
  return signalfd(-1, &signals, SFD_CLOEXEC);
}

void tellReady(int fd) {
  if (fd < 0) return;
  if (write(fd, "\n", 1) != 1) {
    throw std::system_error(errno, std::generic_category(), "--ready-fd");
  }
  close(fd);
}

}  // namespace

int main(int argc, char** argv) {
  Options options;
  if (!parseOptions(argc, argv, options)) {
    std::fputs("usage: ubusd [--socket=PATH] [--config-dir=DIR] [--ready-fd=N]\n", stderr);
    return 2;
  }
  try {
    const int stop = openStopSignals();
    if (stop < 0) throw std::system_error(errno, std::generic_category(), "signals");
    const testbed::UciService uci(options.configDir);
    const testbed::BusListener listener(options.socket);
    testbed::BusServer server(listener.fd(), uci);
    tellReady(options.readyFd);
    server.run(stop);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "ubusd: %s\n", error.what());
    return 1;
  }
  return 0;
}
