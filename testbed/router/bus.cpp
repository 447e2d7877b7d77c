// Starts the bus daemon of a run.
#include "testbed/router/bus.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <stdexcept>

#include "testbed/router/errors.h"
#include "testbed/router/run_tool.h"

namespace testbed::router {

void startBus(const std::string& daemon, const std::string& socket,
              const std::string& configDirectory) {
  std::array<int, 2> ready = {};
  if (pipe2(ready.data(), O_CLOEXEC) != 0) throw std::runtime_error(withErrno("pipe"));
  startProgram({daemon, "--socket=" + socket, "--config-dir=" + configDirectory,
                "--ready-fd=" + std::to_string(ready[1])},
               [&] {
                 fcntl(ready[1], F_SETFD, 0);
                 // The command's input is not the daemon's to read.
                 const int null = open("/dev/null", O_RDONLY | O_CLOEXEC);
                 dup2(null, STDIN_FILENO);
               });
  close(ready[1]);
  // The end of the pipe without a byte means that the daemon is gone; it has said why.
  char byte = 0;
  ssize_t got = 0;
  do {
    got = read(ready[0], &byte, 1);
  } while (got < 0 && errno == EINTR);
  close(ready[0]);
  if (got != 1) throw std::runtime_error("the bus daemon did not start");
}

}  // namespace testbed::router
