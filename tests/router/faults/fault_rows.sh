#!/bin/sh
# Runs on the router: takes the rows of a table of faults one after the other. A row is a
# directory with the shell texts before, during and after, options for watch_program and scripts of
# failing_tool.sh; what became of the run is written beside them.
#
# FAULTS is the directory of the table, with the tables' text before each run in `old`; BUILD the
# build directory. A row may cover /tmp or /var, so both are reached through /run.
set -eu
mkdir /run/faults /run/build
mount --bind "$FAULTS" /run/faults
mount --bind "$BUILD" /run/build
cd /run/faults
PROGRAM=/run/build${PROGRAM#"$BUILD"}
WATCH_PROGRAM=/run/build${WATCH_PROGRAM#"$BUILD"}
ulimit -c 0
REAL_TOOLS=$(dirname "$(command -v iptables-save)")
export FAULT REAL_TOOLS

# show_tables FILE: the table of each pass in FILE.1 and so on, without times and counters.
show_tables() {
  for family in iptables ip6tables; do
    for table in mangle nat filter; do $family-save -t $table; done
  done | awk -v file="$1" '
    /^#/ { next }
    /^\*/ { pass++ }
    /^:/ { sub(/ \[.*/, " [0:0]") }
    { print > (file "." pass) }'
}

run_program() { PATH=/run/tools "$@"; }

# The bus daemon of a table that starts the router without one. Its process is $bus.
bus=
start_bus() { run_bus "$BUS_DAEMON" --config-dir="$TESTBED_CONFIG_DIR" --ready-fd=7; }
# A scripted one has the conversations on standard input; see scripted_bus.h.
script_bus() {
  cat > /run/conversations
  run_bus "$SCRIPTED_BUS" /run/conversations 7
}
run_bus() {
  stop_bus
  mkfifo /run/bus_ready
  "$@" 7> /run/bus_ready &
  bus=$!
  read -r _ < /run/bus_ready
  rm /run/bus_ready
}
end_bus() {
  if [ -n "$bus" ]; then
    kill $1 $bus 2> /dev/null || :  # a row may have done that
    wait $bus 2> /dev/null || :  # the shell tells of a kill here
    bus=
  fi
}
stop_bus() { end_bus -TERM; }
kill_bus() { end_bus -KILL; }

# Changes a table although somebody holds the lock, as a program does that never asks for it.
change_unlocked() { LD_PRELOAD=/usr/lib/libxtlock_intercept.so "$@"; }

# A tool of the run may write a line to descriptor 7 when it is at its place, and read one from 8
# before it goes on. Only the run's processes have those sides, so nobody waits when it is over.
await_tool() { read -r _ <&5 || die "no tool of $row came to its place"; }
resume_tool() { (echo >&6) || :; }

die() {
  echo "$1" >&2
  exit 1
}

# Another process, $holder, holds the lock until release, or until it is killed. Both sides open both
# FIFOs at once, so that nobody waits for a process that is gone.
hold_lock() {
  mkfifo /run/ready /run/end
  flock --no-fork /run/xtables.lock sh -c 'echo >&7; read -r _ <&8' 7> /run/ready 8< /run/end &
  holder=$!
  exec 3< /run/ready 4> /run/end
  rm /run/ready /run/end
  read -r _ <&3
}
release() {
  echo >&4
  wait $holder
}

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

[ -S /var/run/ubus/ubus.sock ] || start_bus
for row in rows/*; do
  rm -rf /run/tools
  cp -RL tools /run/tools
  for family in iptables ip6tables; do change_unlocked $family-restore < old/$family; done
  echo 0 > /run/count.tool
  echo 0 > /run/count.cat

  FAULT=$PWD/$row
  . "./$row/before"
  mkfifo /run/at /run/go
  # The options may name what was started before.
  eval "run_program '$WATCH_PROGRAM' '$PWD/$row/report' '$PROGRAM' $(cat "$row/options")" \
    > "$row/out" 2> "$row/err" 7> /run/at 8< /run/go &
  run=$!
  exec 5< /run/at 6> /run/go
  rm /run/at /run/go
  . "./$row/during"
  exec 5<&- 6>&-
  wait $run || { cat "$row/err" >&2; exit 1; }
  . "./$row/after"
  show_tables "$row/tables"

  status=0
  "$PROGRAM" > "$row/healed_out" 2> "$row/healed_err" || status=$?
  echo $status > "$row/healed_status"
  show_tables "$row/healed_tables"
done
stop_bus
