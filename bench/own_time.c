/* Preloaded into firewall_cpp by tools/bench.sh: at the end of the program, appends a line to the
 * file that OWN_TIME names, with its CPU time in microseconds and its peak memory in kB. The tools
 * that the program starts are separate processes, whose time is not in it. */
#define _GNU_SOURCE
#include <errno.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/resource.h>
#include <time.h>

__attribute__((destructor)) static void report(void) {
  const char* path = getenv("OWN_TIME");
  struct timespec used;
  struct rusage usage;
  FILE* file = NULL;
  if (path == NULL || strcmp(program_invocation_short_name, "firewall_cpp") != 0) return;
  if (clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &used) != 0) return;
  if (getrusage(RUSAGE_SELF, &usage) != 0) return;
  file = fopen(path, "a");
  if (file == NULL) return;
  (void)fprintf(file, "%ld %ld\n", used.tv_sec * 1000000 + used.tv_nsec / 1000, usage.ru_maxrss);
  (void)fclose(file);
}
