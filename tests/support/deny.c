/* `deny namespaces|network|mounts|ptrace COMMAND...`: stands in for an ordinary container, which
 * refuses the command what is named. A system call filter, so it needs no rights, and everything
 * below the command inherits it. It leaves out whatever else a container refuses. */
#define _GNU_SOURCE
#include <endian.h>
#include <errno.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sched.h>
#include <stddef.h>
#include <stdio.h>
#include <string.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <unistd.h>

#define ALL_NAMESPACES (CLONE_NEWNS | CLONE_NEWNET | CLONE_NEWPID | CLONE_NEWUSER)
#define NO_CALL (~0U)
/* The low half of a 64-bit argument. */
#define ARGUMENT(n) \
  (offsetof(struct seccomp_data, args[n]) + (__BYTE_ORDER == __BIG_ENDIAN ? 4U : 0U))

static int install(unsigned refused_flags, unsigned refused_call) {
  struct sock_filter program[] = {
      BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(struct seccomp_data, nr)),
      BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, refused_call, 6, 0),
      /* Its flags lie in memory, out of reach; a C library then uses the older call. */
      BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, __NR_clone3, 6, 0),
      BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, __NR_clone, 1, 0),
      BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, __NR_unshare, 0, 2),
      BPF_STMT(BPF_LD | BPF_W | BPF_ABS, ARGUMENT(0)),
      BPF_JUMP(BPF_JMP | BPF_JSET | BPF_K, refused_flags, 1, 0),
      BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
      BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | EPERM),
      BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | ENOSYS),
  };
  struct sock_fprog filter = {sizeof program / sizeof program[0], program};
  return prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 &&
         prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &filter) == 0;
}

int main(int argc, char** argv) {
  static const struct {
    const char* name;
    unsigned flags; /* of clone and unshare */
    unsigned call;  /* refused whole */
  } choices[] = {
      {"namespaces", ALL_NAMESPACES, NO_CALL},
      {"network", CLONE_NEWNET, NO_CALL},
      {"mounts", 0, __NR_mount},
      {"ptrace", 0, __NR_ptrace},
  };
  for (size_t i = 0; argc > 2 && i < sizeof choices / sizeof choices[0]; i++) {
    if (strcmp(argv[1], choices[i].name) != 0) continue;
    if (install(choices[i].flags, choices[i].call)) execvp(argv[2], argv + 2);
    perror("deny");
    return 125;
  }
  fprintf(stderr, "usage: deny namespaces|network|mounts|ptrace COMMAND...\n");
  return 125;
}
