#!/bin/sh
# Runs one fuzz target from the committed corpus on; new inputs go to a directory of its own that is
# removed, a finding to the build directory. Arguments: build directory, target, seconds.
set -eu
corpus=$(dirname "$0")/corpus/$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
mkdir "$work/new"
"$1/bin/$2_fuzz" -max_total_time="$3" -timeout=60 -print_final_stats=1 -verbosity=0 \
  -dict="$(dirname "$0")/dictionary" -artifact_prefix="$1/$2-finding-" "$work/new" "$corpus" \
  2> "$work/log" || { cat "$work/log"; exit 1; }
echo "$2: $(sed -n 's/^stat::number_of_executed_units: *//p' "$work/log") executions"
