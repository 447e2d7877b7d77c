#!/bin/sh
# Functions for scripts on the router that have somebody hold the tables' lock.

die() {
  echo "$1" >&2
  exit 1
}

# start_beside COMMAND...: starts a process, $!, beside the script. It writes a line to descriptor 7
# when it is ready, and reads one from 8 before it ends. Both sides open both FIFOs at once, so that
# nobody waits for a process that is gone.
start_beside() {
  mkfifo /run/ready /run/end
  "$@" 7> /run/ready 8< /run/end &
  exec 3< /run/ready 4> /run/end
  rm /run/ready /run/end
  read -r _ <&3 || die "$1 has ended early"
  exec 3<&-
}
# end_beside PROCESS
end_beside() {
  (echo >&4) || :  # it may be gone
  exec 4>&-
  wait "$1"
}

# Another process, $holder, holds the lock until release, or until it is killed.
hold_lock() {
  start_beside flock --no-fork /run/xtables.lock sh -c 'echo >&7; read -r _ <&8'
  holder=$!
}
release() { end_beside $holder; }

# await_waiting PROCESS...: until so many processes wait for the lock; ends the script when one of
# these is gone. The kernel lists them with an arrow and names the file by its device and inode.
# Where a container refuses a /proc of the run's own, the list has other tests' locks too.
await_waiting() {
  device=$(mountpoint -d /run)
  file=$(printf %02x:%02x:%d "${device%:*}" "${device#*:}" "$(stat -c %i /run/xtables.lock)")
  until [ "$(grep -c -e "-> FLOCK .* $file " /proc/locks)" -ge $# ]; do
    for process; do
      kill -0 "$process" 2> /dev/null || die 'a process that is to wait for the lock has ended'
    done
  done
}
