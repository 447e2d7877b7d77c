// firewall_cpp-inspect: shows what firewall_cpp would do, and changes nothing. Start with
// command_line.cpp, then read the file of a command.
#include <exception>
#include <iostream>

#include "inspect/command_line.h"
#include "inspect/configuration.h"

namespace {

int fail(const char* problem) {
  std::cout.flush();
  std::cerr << "firewall_cpp-inspect: " << problem << '\n';
  return tavrix::inspect::kError;
}

// A malformed answer of the bus is thrown where no exception may pass.
[[noreturn]] void endForMalformedAnswer() {
  try {
    std::rethrow_exception(std::current_exception());
  } catch (const std::exception& error) {
    fail(error.what());
  }
  std::_Exit(tavrix::inspect::kError);
}

}  // namespace

int main(int argc, char** argv) {
  std::set_terminate(endForMalformedAnswer);
  try {
    const tavrix::inspect::CommandLine line = tavrix::inspect::readCommandLine(argc, argv);
    tavrix::inspect::Screen screen = tavrix::inspect::Screen::ofProcess();
    int status = tavrix::inspect::kFine;
    if (line.command == nullptr) {
      screen.text(tavrix::inspect::manual());
    } else {
      const tavrix::inspect::Configuration configuration;
      status = line.command->run(line.request, screen);
    }
    return std::cout.flush() ? status : fail("cannot write the output");
  } catch (const std::exception& error) {
    return fail(error.what());
  }
}
