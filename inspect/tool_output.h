// Runs a save tool, or a restore tool in its test mode, and reads what it prints.
#pragma once

#include <string>

namespace tavrix::inspect {

struct ToolResult {
  bool isFine;  // whether it ended with status 0
  std::string output;
};

// Runs a shell command; `input` is its standard input. The output is what it writes to standard
// output, and to standard error if the command says so; else that goes to this program's. Throws
// std::runtime_error if it cannot be started.
ToolResult runTool(const std::string& command, const std::string& input);

// The standard output of a shell command; `input` is its standard input. What it writes to standard
// error goes to this program's. Throws std::runtime_error if it cannot be started or fails.
std::string toolOutput(const std::string& command, const std::string& input = "");

}  // namespace tavrix::inspect
