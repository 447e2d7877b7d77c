// A program with the start-up objects and nothing else: it prints what they ask of the bus, and
// where main stands between that.
#include <cstdio>

#include "tests/support/fake_bus.h"
#include "wrt_cppwrap/uci_config.h"

namespace {

// Runs after the last object is destroyed.
[[gnu::destructor]] void printCalls() {
  for (const std::string& call : test_support::fakeBus().calls) std::puts(call.c_str());
}

}  // namespace

int main() {
  test_support::fakeBus().calls.emplace_back(tavrix::params.empty() ? "main with an empty package"
                                                                    : "main");
}
