// Two processes watch over a run: the program that was started, which passes signals in and the
// exit status out, and inside the namespaces the supervisor, whose end ends everything.
#pragma once

#include <sys/types.h>

#include <functional>
#include <optional>
#include <string>

#include "testbed/router/namespaces.h"
#include "testbed/router/run_signals.h"

namespace testbed::router {

// How one attempt at a run came out.
struct Outcome {
  enum class Kind {
    Ran,                // the command ran; `status` is the exit status for it
    Interrupted,        // signal number `status` ended the run
    NamespacesRefused,  // `message` is the reason of this and the following
    TablesUnavailable,
    Failed,
  };
  Kind kind = Kind::Failed;
  int status = 0;
  std::string message;
};

// Forks a supervisor into the namespaces, which runs `setUpAndRun` and ends with its result as exit
// status. `setUpAndRun` calls the function that it is given when the command is about to start;
// what it throws before becomes the outcome. Signals that end a run end the supervisor, and with it
// every process of the run, before this returns; so does the death of the calling process.
Outcome runSupervised(const std::optional<Namespaces>& namespaces, const RunSignals& signals,
                      const std::function<int(const std::function<void()>& started)>& setUpAndRun);

// In the supervisor: waits for `command` and returns its exit status, 128 + N for a signal N that
// ended it or the run. Reaps every orphan meanwhile.
int superviseCommand(pid_t command, const RunSignals& signals);

// In a supervisor without a pid namespace: adopts orphans from now on, so that none escapes
// endDescendants.
void adoptOrphans();

// Kills every process below the calling one and waits for their ends.
void endDescendants();

}  // namespace testbed::router
