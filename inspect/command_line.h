// The commands of the program, its manual and its command line.
#pragma once

#include <string>
#include <string_view>

#include "inspect/request.h"
#include "inspect/screen.h"

namespace tavrix::inspect {

struct Command {
  std::string_view name;
  std::string_view usage;    // what may follow the name
  std::size_t words;         // how many it needs beside options
  bool takesMoreWords;       // they may begin with "-": all options stand before the first word
  std::string_view options;  // the names of those that it knows, with a blank after each
  std::string_view manual;   // what it does, in indented lines
  int (*run)(const Request& request, Screen& screen);
};

// The text of --help.
std::string manual();

struct CommandLine {
  const Command* command = nullptr;  // null: the manual is asked for
  Request request;
};

// Reads the arguments of main; the result refers to them. Throws
// std::invalid_argument, with a line for the user.
CommandLine readCommandLine(int argc, char** argv);

}  // namespace tavrix::inspect
