// Starts programs for the setup of a run: short ones that are waited for, and the ones that stay.
#pragma once

#include <sys/types.h>

#include <functional>
#include <string>
#include <vector>

namespace testbed::router {

struct ToolResult {
  int status = 0;  // exit status, or 128 + N when signal N ended it
  std::string out;
  std::string err;
};

// The exit status of a wait status, 128 + N for signal N.
int exitStatusOf(int waitStatus);

// Runs a program by its path with the given standard input and waits for it. Throws
// std::runtime_error when it cannot be started.
ToolResult runTool(const std::vector<std::string>& arguments, const std::string& input);

// Forks and runs a program, looked up in PATH. `prepare` runs in the child before. The program dies
// with its parent. When it cannot be run the child prints why and exits with 126 or 127.
pid_t startProgram(const std::vector<std::string>& arguments, const std::function<void()>& prepare);

}  // namespace testbed::router
