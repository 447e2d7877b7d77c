// Stands between the product and the system calls of a run that a test must not make for real: the
// lock file of the machine, starting tools. The product's calls arrive here; those of the tests do
// not.
#pragma once

#include <functional>
#include <string>
#include <vector>

namespace test_support {

struct SystemCalls {
  std::vector<std::string> log;  // calls for the lock, as "open PATH FLAGS MODE"

  std::string lockFile;  // opened in place of the machine's lock file; empty: open fails
  bool flockFails = false;
  bool popenFails = false;  // for any command
  int systemResult = 0;     // what system() returns; the command is not run
  std::function<void(const std::string&)> onSystem;  // gets the command
};

// The state of the running test.
SystemCalls& systemCalls();

// Sets everything up anew, with a lock file of the test's own; every test begins with it.
void resetSystemCalls(const std::string& lockFile);

}  // namespace test_support
