// The commands of the program, its manual and its command line.
#pragma once

#include <span>
#include <stdexcept>
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
  std::string_view manual;   // what it does, in lines
  // Returns an exit status. Throws a std::exception for what ends it.
  int (*run)(const Request& request, Screen& screen);
};

// In the order of the manual.
std::span<const Command> commands();

// The text of --help.
std::string manual();

// what() is the line for the user.
class WrongUse : public std::invalid_argument {
 public:
  using std::invalid_argument::invalid_argument;
};

struct CommandLine {
  const Command* command = nullptr;  // null: the manual is asked for
  Request request;
};

// Reads the arguments of main; the result refers to them. Throws WrongUse.
CommandLine readCommandLine(int argc, char** argv);

}  // namespace tavrix::inspect
