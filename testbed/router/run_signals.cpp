// Blocks and awaits the signals that steer a run.
#include "testbed/router/run_signals.h"

#include <array>
#include <stdexcept>

#include "testbed/router/errors.h"

namespace testbed::router {
namespace {

constexpr std::array<int, 4> kEndSignals = {SIGINT, SIGTERM, SIGHUP, SIGQUIT};

bool isIgnored(int number) {
  struct sigaction action = {};
  return sigaction(number, nullptr, &action) == 0 && action.sa_handler == SIG_IGN;
}

}  // namespace

RunSignals::RunSignals() {
  // With SIGCHLD ignored the kernel would throw exit statuses away.
  if (signal(SIGCHLD, SIG_DFL) == SIG_ERR) throw std::runtime_error(withErrno("signal"));
  sigemptyset(&awaited_);
  sigaddset(&awaited_, SIGCHLD);
  for (const int number : kEndSignals) {
    if (!isIgnored(number)) sigaddset(&awaited_, number);
  }
  sigprocmask(SIG_BLOCK, &awaited_, &before_);
}

int RunSignals::wait() const {
  int number = 0;
  while (sigwait(&awaited_, &number) != 0) {
  }
  return number;
}

void RunSignals::restore() const {
  sigprocmask(SIG_SETMASK, &before_, nullptr);
}

void RunSignals::block() const {
  sigprocmask(SIG_BLOCK, &awaited_, nullptr);
}

}  // namespace testbed::router
