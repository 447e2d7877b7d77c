// Texts that hold shell commands and below each what it prints:
//
//     $ firewall_cpp-inspect diff
//     $ false
//     exit status 1
#pragma once

#include <string>

namespace inspect_test {

// The text with the outputs that its commands have now. They run one after the other in one shell,
// on the testbed's router with tables in files, the example household as configuration, the foreign
// rules of the examples in the tables and both programs in PATH. "/etc/config/firewall_cpp" in a
// command is the configuration. Standard error is part of the output; versions and times of the
// tools are not. A line is a command if it begins with "$ ", and the lines after it are its output
// as far as the next command, the end of the text or a line that begins with "```".
std::string replayed(const std::string& text);

// Runs a shell script on that router and returns its standard output; its standard error has to be
// empty. Throws std::runtime_error if the script fails.
std::string runOnRouter(const std::string& script);

}  // namespace inspect_test
