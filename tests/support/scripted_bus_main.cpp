// scripted_bus FILE DESCRIPTOR: see scripted_bus.h.
#include <unistd.h>

#include <cstdlib>
#include <exception>
#include <iostream>

#include "tests/support/scripted_bus.h"
#include "tests/support/temp_dir.h"

int main(int argc, char** argv) {
  if (argc != 3) {
    std::cerr << "usage: scripted_bus FILE DESCRIPTOR\n";
    return 2;
  }
  try {
    const auto conversations = test_support::parseConversations(test_support::readFile(argv[1]));
    test_support::ScriptedBus bus("/var/run/ubus/ubus.sock");
    const int ready = std::atoi(argv[2]);
    if (write(ready, "\n", 1) != 1) return 1;
    close(ready);
    bus.serve(conversations);
    return 0;
  } catch (const std::exception& error) {
    std::cerr << "scripted_bus: " << error.what() << '\n';
    return 1;
  }
}
