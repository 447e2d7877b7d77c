/* Found under the names of the save and restore tools: starts the system's own legacy tool of that
 * name on the testbed's tables in files. Stands in for nothing, since that tool is the real one.
 *
 * Without the stand-in for the kernel the tool would change this machine's tables, and a library
 * that cannot be preloaded is no error to the dynamic loader. So this program looks for the library
 * first, and has the kernel refuse raw sockets to the tool in any case. */
#define _GNU_SOURCE
#include <errno.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <stddef.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <unistd.h>

#define LIBRARY "libkernel_tables.so"
/* Decides by the name under which it is started which tool it is. */
#define LEGACY_TOOLS "/usr/sbin/xtables-legacy-multi"

_Noreturn static void fail(const char* what, const char* why) {
  fprintf(stderr, "%s: %s: %s\n", program_invocation_short_name, what, why);
  exit(1);
}

/* The library is beside this program, and is loaded before those that the caller preloads. */
static void preload_library(void) {
  char directory[4096];
  const ssize_t length = readlink("/proc/self/exe", directory, sizeof directory - 1);
  if (length < 0) fail("/proc/self/exe", strerror(errno));
  directory[length] = '\0';
  *strrchr(directory, '/') = '\0';
  const char* others = getenv("LD_PRELOAD");
  char* library = NULL;
  char* preloaded = NULL;
  if (asprintf(&library, "%s/%s", directory, LIBRARY) < 0 ||
      asprintf(&preloaded, "%s%s%s", library, others == NULL ? "" : ":",
               others == NULL ? "" : others) < 0) {
    fail(LIBRARY, strerror(ENOMEM));
  }
  if (access(library, R_OK) != 0) fail(library, strerror(errno));
  if (strpbrk(library, ": ") != NULL) fail(library, "the loader cannot preload from such a path");
  if (setenv("LD_PRELOAD", preloaded, 1) != 0) fail("LD_PRELOAD", strerror(errno));
}

static void refuse_raw_sockets(void) {
  /* The kernel has the arguments in 64 bits; the type of a socket is in the lower half. */
  const unsigned type_offset =
      offsetof(struct seccomp_data, args[1]) + (__BYTE_ORDER__ == __ORDER_BIG_ENDIAN__ ? 4 : 0);
  struct sock_filter filter[] = {
      BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(struct seccomp_data, nr)),
      BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_socket, 0, 4),
      BPF_STMT(BPF_LD | BPF_W | BPF_ABS, type_offset),
      BPF_STMT(BPF_ALU | BPF_AND | BPF_K, ~(unsigned)(SOCK_CLOEXEC | SOCK_NONBLOCK)),
      BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SOCK_RAW, 0, 1),
      BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | EPERM),
      BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
  };
  const struct sock_fprog program = {sizeof filter / sizeof *filter, filter};
  if (prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0 ||
      prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) != 0) {
    fail("cannot refuse raw sockets", strerror(errno));
  }
}

int main(int argc, char** argv) {
  (void)argc;
  preload_library();
  refuse_raw_sockets();
  argv[0] = program_invocation_short_name;
  execv(LEGACY_TOOLS, argv);
  fail(LEGACY_TOOLS, strerror(errno));
}
