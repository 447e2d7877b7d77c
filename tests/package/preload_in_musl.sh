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

# Takes the lock of a file without waiting: "taken", or the error.
cat > "$work/take.c" << 'END'
#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <string.h>
#include <sys/file.h>

int main(int argc, char** argv) {
  const int fd = argc == 2 ? open(argv[1], O_RDONLY | O_CREAT, 0600) : -1;
  puts(flock(fd, LOCK_EX | LOCK_NB) == 0 ? "taken" : strerror(errno));
}
END
musl-gcc "$work/take.c" -o "$work/take"
# take LOCK TABLES_LOCK: while another process holds LOCK.
take() { flock "$work/$1" env LD_PRELOAD="$work/library.so" XTABLES_LOCKFILE="$work/$2" "$work/take" "$work/$1"; }
same 'the library is needed' 'Resource temporarily unavailable' \
  "$(flock "$work/a" "$work/take" "$work/a")"
same "the tables' lock" taken "$(take a a)"
: > "$work/b"
same 'another lock' 'Resource temporarily unavailable' "$(take a b)"
same 'the tables lock has no file' 'Resource temporarily unavailable' "$(take a none)"
same 'a free lock' taken \
  "$(LD_PRELOAD="$work/library.so" XTABLES_LOCKFILE="$work/b" "$work/take" "$work/a")"
same 'no file' 'Bad file descriptor' "$(LD_PRELOAD="$work/library.so" "$work/take")"
