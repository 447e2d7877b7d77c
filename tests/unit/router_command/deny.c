/* `deny namespaces|network|mounts COMMAND...`: runs a command to which the system refuses what is
 * named, as in an ordinary container. A system call filter, so it needs no rights, and everything
 * below the command inherits it. */
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
/* The low half of a 64-bit argument. */
#define ARGUMENT(n) \
  (offsetof(struct seccomp_data, args[n]) + (__BYTE_ORDER == __BIG_ENDIAN ? 4U : 0U))

static int install(unsigned refused_flags, int refuse_mount) {
  struct sock_filter program[] = {
      BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(struct seccomp_data, nr)),
      BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, __NR_mount, refuse_mount ? 6 : 5, 0),
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
  const char* what = argc > 2 ? argv[1] : "";
  const int mounts = strcmp(what, "mounts") == 0;
  const int network = strcmp(what, "network") == 0;
  if (!mounts && !network && strcmp(what, "namespaces") != 0) {
    fprintf(stderr, "usage: deny namespaces|network|mounts COMMAND...\n");
    return 125;
  }
  const unsigned flags = mounts ? 0 : network ? CLONE_NEWNET : ALL_NAMESPACES;
  if (!install(flags, mounts)) {
    perror("deny");
    return 125;
  }
  execvp(argv[2], argv + 2);
  perror(argv[2]);
  return 127;
}
