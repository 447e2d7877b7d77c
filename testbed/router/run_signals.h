// The signals that steer a run: those that end it, and the ends of child processes.
#pragma once

#include <csignal>

namespace testbed::router {

// Blocks SIGCHLD and the signals that end a run, except those that the caller of the program had
// switched off, and delivers them through wait() instead: no handler runs anywhere. Inherited by
// forks.
class RunSignals {
 public:
  RunSignals();  // throws std::runtime_error

  // The next signal.
  int wait() const;
  // Gives a forked process, about to run another program, the signals as they were before.
  void restore() const;
  // Blocks them again after restore().
  void block() const;

 private:
  sigset_t awaited_ = {};
  sigset_t before_ = {};
};

}  // namespace testbed::router
