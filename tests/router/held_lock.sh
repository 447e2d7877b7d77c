#!/bin/sh
# Functions for scripts on the router that have somebody hold the tables' lock.

# Another process, $holder, holds the lock until release, or until it is killed.
hold_lock() {
  mkfifo /run/held /run/end
  flock --no-fork /run/xtables.lock sh -c 'echo > /run/held; exec cat /run/end > /dev/null' &
  holder=$!
  cat /run/held > /dev/null
}
release() {
  echo > /run/end
  wait $holder
  rm /run/held /run/end
}

# await_waiting COUNT: until so many processes wait for the lock. The kernel lists them with an arrow
# and names the file by its device and inode. Where a container refuses a /proc of the run's own, the
# list has other tests' locks too.
await_waiting() {
  device=$(mountpoint -d /run)
  file=$(printf %02x:%02x:%d "${device%:*}" "${device#*:}" "$(stat -c %i /run/xtables.lock)")
  until [ "$(grep -c -e "-> FLOCK .* $file " /proc/locks)" -ge "$1" ]; do :; done
}
