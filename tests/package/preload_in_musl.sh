#!/bin/sh
# The preload library in processes of the platform's C library, musl: the tables' lock is passed over,
# every other lock is taken as ever, and nothing else of a process changes.
set -eu
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
same() {
  [ "$2" != "$3" ] || return 0
  printf '%s: expected %s, found %s\n' "$1" "$2" "$3"
  exit 1
}

musl-gcc -Os -Wall -Wextra -Werror -shared -fPIC openwrt/libxtlock_intercept.c -o "$work/library.so"
same 'what it defines' 'flock' "$(nm -D --defined-only --format=posix "$work/library.so" |
  cut -d ' ' -f 1 | grep -vxE '_init|_fini' | xargs)"
same 'what it calls' 'fstat getenv stat syscall' \
  "$(nm -D --undefined-only --format=posix "$work/library.so" | awk '$2 == "U" { print $1 }' | sort | xargs)"
same "the tables' lock, by the name that the program uses" /var/run/xtables.lock \
  "$(grep -ao '/[a-z/]*xtables\.lock' "$work/library.so")"

# Takes the lock of a file without waiting, for writing and then once more for reading: "taken",
# "busy" or another error.
cat > "$work/take.c" << 'END'
#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <string.h>
#include <sys/file.h>

static const char* take(const char* file, int mode) {
  if (flock(open(file, O_RDONLY | O_CREAT, 0600), mode | LOCK_NB) == 0) return "taken";
  return errno == EWOULDBLOCK ? "busy" : strerror(errno);
}

int main(int argc, char** argv) {
  const char* first = take(argv[argc - 1], LOCK_EX);
  printf("%s, %s\n", first, take(argv[argc - 1], LOCK_SH));
}
END
musl-gcc "$work/take.c" -o "$work/take"
: > "$work/b"
ln -s a "$work/link"
# preloaded TABLES_LOCK FILE; and the same for lock a, or another name of it, while somebody has it.
preloaded() { LD_PRELOAD="$work/library.so" XTABLES_LOCKFILE="$1" "$work/take" "$work/$2"; }
held() { (flock 9 && preloaded "$1" "${2-a}" 9>&-) 9> "$work/a"; }
same 'the library is needed' 'busy, busy' "$(flock "$work/a" "$work/take" "$work/a")"
same "the tables' lock" 'taken, taken' "$(held "$work/a")"
same 'under another name' 'taken, taken' "$(held "$work/a" link)"
same 'another lock' 'busy, busy' "$(held "$work/b")"
same "the tables' lock has no file" 'busy, busy' "$(held "$work/none")"
same "the tables' lock has no name" 'busy, busy' "$(held '')"
same 'a free lock is really taken' 'taken, busy' "$(preloaded "$work/b" a)"
same 'no file' 'Bad file descriptor, Bad file descriptor' "$(preloaded "$work/b" none/a)"
