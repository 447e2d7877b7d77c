/* `refuse_new_calls COMMAND...`: runs a command as on an older kernel. proot translates the paths
 * of the system calls that it knows, which are those of 2014; a newer call would reach the
 * machine's own files. If that one is refused, programs and the C library use an older one. */
#include <errno.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <stddef.h>
#include <stdio.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <unistd.h>

/* From here on a call has the same number on every architecture. */
#define FIRST_COMMON_NUMBER 424

int main(int argc, char** argv) {
  struct sock_filter program[] = {
      BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(struct seccomp_data, nr)),
      BPF_JUMP(BPF_JMP | BPF_JGE | BPF_K, FIRST_COMMON_NUMBER, 3, 0),
      BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_statx, 2, 0),
      BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_renameat2, 1, 0),
      BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_execveat, 0, 1),
      BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | ENOSYS),
      BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
  };
  const struct sock_fprog filter = {sizeof program / sizeof *program, program};
  if (argc < 2 || prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0 ||
      prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &filter) != 0) {
    perror("refuse_new_calls");
    return 125;
  }
  execv(argv[1], argv + 1);
  perror(argv[1]);
  return 125;
}
