// One attempt at a run: the given tables in the given namespaces.
#pragma once

#include <optional>
#include <string>

#include "testbed/router/namespaces.h"
#include "testbed/router/options.h"
#include "testbed/router/paths.h"
#include "testbed/router/run_signals.h"
#include "testbed/router/supervision.h"
#include "testbed/router/tables.h"

namespace testbed::router {

// What stays the same in every attempt.
struct SessionInput {
  const Options& options;
  const TestbedFiles& files;
  const RunSignals& signals;
  std::optional<std::string> configText;  // content of options.configFile
  std::string tableDirectory;             // options.tableDirectory, existing and canonical
};

struct Attempt {
  TablesKind tables;
  std::optional<Namespaces> namespaces;
  std::string because;  // why no better attempt was possible; may be empty
};

// Sets everything up, prints the first line, runs the command and tears everything down.
Outcome runSession(const SessionInput& input, const Attempt& attempt);

}  // namespace testbed::router
