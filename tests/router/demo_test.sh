#!/bin/sh
# ./demo ends well, finds nothing that a second or a third run changes, and explains a packet.
# Arguments: a command that runs it in another way, for example without namespaces.
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
middle='Second run: no change

What a third run would change, as firewall_cpp-inspect diff shows it:
(nothing)

What becomes of a forwarded TCP packet'
end='
What happens: -m tavrix-xtcounter --inc 2001; -j REJECT --reject-with tcp-reset
'
case $status$output in
  0*"$middle"*"$end"*) ;;
  *)
    printf '%s\nexit status %s\n' "$output" "$status"
    exit 1
    ;;
esac
