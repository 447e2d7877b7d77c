// Starts the bus daemon of a run.
#pragma once

#include <string>

namespace testbed::router {

// Starts `daemon` on `socket`, serving `configDirectory`, and returns when it listens. The daemon
// dies with the calling process. Throws std::runtime_error when it ends before that.
void startBus(const std::string& daemon, const std::string& socket,
              const std::string& configDirectory);

}  // namespace testbed::router
