#!/bin/sh
# Runs one fuzz target from the committed corpus on, with new inputs in a directory of its own that
# is removed. Arguments: build directory, target, seconds.
set -eu
here=$(dirname "$0")
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cp "$here/corpus/$2/"* "$work"
mkdir "$work/new"
"$1/bin/$2_fuzz" -max_total_time="$3" -timeout=10 -print_final_stats=1 -verbosity=0 \
  -dict="$here/dictionary" -artifact_prefix="$1/$2-finding-" "$work/new" "$work" 2> "$work/log" ||
  { cat "$work/log"; exit 1; }
echo "$2: $(sed -n 's/^stat::number_of_executed_units: //p' "$work/log") executions"
