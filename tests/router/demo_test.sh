#!/bin/sh
# ./demo ends well, and finds nothing that a second or a third run changes. Arguments: a command that runs it in
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
end='Second run: no change

What a third run would change, as firewall_cpp-inspect diff shows it:
(nothing)'
if [ "$status" -ne 0 ] || [ "$(printf '%s\n' "$output" | tail -n 4)" != "$end" ]; then
  printf '%s\nexit status %s\n' "$output" "$status"
  exit 1
fi
