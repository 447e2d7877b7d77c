/* Preloaded into the restore tool while its parent holds the tables' lock: the tool's own request
 * for that lock succeeds at once, every other flock() reaches the kernel. The tool opens the lock
 * file itself, so the file is recognised by what the descriptor refers to, not by its name. */
#define _GNU_SOURCE
#include <stdlib.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

/* The path that whoever preloads this has locked. To the tools the same file may be
 * /run/xtables.lock, but not every image has /run. The variable names another file to the tools. */
#define LOCK_FILE "/var/run/xtables.lock"
#define LOCK_FILE_VARIABLE "XTABLES_LOCKFILE"

static int refers_to(const struct stat* opened, const char* path) {
  struct stat named;
  return stat(path, &named) == 0 && named.st_dev == opened->st_dev &&
         named.st_ino == opened->st_ino;
}

static int is_tables_lock(int fd) {
  struct stat opened;
  const char* path = getenv(LOCK_FILE_VARIABLE);
  if (fstat(fd, &opened) != 0) return 0;
  return refers_to(&opened, path != NULL && *path != '\0' ? path : LOCK_FILE);
}

__attribute__((visibility("default"))) int flock(int fd, int operation) {
  if (is_tables_lock(fd)) return 0;
  return (int)syscall(SYS_flock, fd, operation);
}
