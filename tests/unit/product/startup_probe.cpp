// A program with the start-up objects and nothing else: what it prints is what happens before and
// after main.
#include <cstdio>

#include "wrt_cppwrap/uci_config.h"

int main() {
  std::puts(tavrix::params.empty() ? "main with an empty package" : "main");
  std::fflush(stdout);
}
