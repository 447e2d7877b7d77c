#!/bin/sh
# ./demo ends well and finds the second run without change. Arguments: a command that runs it in
# another way, for example without namespaces.
set -u
output=$("$@" ./demo 2>&1)
status=$?
case $output in
  *', and proot fails ('*)
    printf '%s: Skipped\n' "$0"
    printf '%s\n' "$output" | tail -n 1
    exit 77
    ;;
esac
if [ "$status" -ne 0 ] || [ "$(printf '%s\n' "$output" | tail -n 1)" != 'Second run: no change' ]; then
  printf '%s\nexit status %s\n' "$output" "$status"
  exit 1
fi
