// What AddressSanitizer notes of each allocation is two calls deep in the tests: whole stacks would
// take a fifth of their time. For a report with more, run the test with
// ASAN_OPTIONS=malloc_context_size=30.

// NOLINTNEXTLINE(bugprone-reserved-identifier,readability-identifier-naming): the sanitizer's name
extern "C" const char* __asan_default_options() {
  return "malloc_context_size=2";
}
