// Linked into the programs of a coverage build. The counters of a run are written when it exits; a
// run that ends in an uncaught exception, as the product's do on any error, would lose them.
#include <signal.h>
#include <stddef.h>

void __gcov_dump(void);

static void dumpAndAbort(int number) {
  __gcov_dump();
  signal(number, SIG_DFL);
  raise(number);
}

// Before the start-up objects, whose constructors may throw. Named for the linker: see COVERAGE in
// cmake/CompileOptions.cmake.
__attribute__((constructor(101))) void dumpCountersOnAbort(void) {
  signal(SIGABRT, dumpAndAbort);
}
