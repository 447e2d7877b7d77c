#!/bin/sh
# Runs one scenario of the service on an image, with the kernel's tables, the shell of busybox and the
# files of our packages. Arguments: the build directory, the kind of the tables, the scenario; perhaps a
# page, whose block ```console is what the scenario prints, or - to print it.
set -eu
build=$1 tables=$2 scenario=$3 page=${4-}
sources=$(realpath "$(dirname "$0")/../../..")
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
chmod 755 "$work"
"$sources/testbed/build_system/make_packages" "$build" "$work/packages"
status=0
# The IP sets of the example stand ready, as other programs make them.
"$build/testbed/router" "--tables=$tables" --no-bus --config="$sources/examples/firewall_cpp" -- \
  "$sources/testbed/image/enter" "$work/packages" "$build/testbed/ubusd" \
  sh -eu "/machine$sources/tests/router/service/common.sh" "$scenario" "$tables" \
  > "$work/out" 2> "$work/err" || status=$?
if [ "$status" -eq 125 ] && [ "$(id -u)" -ne 0 ]; then
  printf '%s: Skipped\n' "$scenario"
  cat "$work/err"
  exit 77
fi
# After the router's first line there must not be another: what the service has to say is in the log.
if [ "$status" -ne 0 ] || [ "$(wc -l < "$work/err")" -ne 1 ]; then
  cat "$work/out" "$work/err"
  echo "exit status $status"
  exit 1
fi
case $page in
  '') ;;
  -) cat "$work/out" ;;
  *) sed -n '/^```console$/,/^```$/p' "$page" | sed '/^```/d' | diff - "$work/out" ;;
esac
