#!/usr/bin/env bash
# Runs the golden tests with the program, built without sanitizers, under valgrind's memcheck.
# Fails if a test fails or memcheck finds anything. Takes a quarter of an hour; an argument is a
# filter of tests: tools/memcheck.sh 'Schedule.*'
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
. tools/packages.sh

install_missing "${check_packages[@]}" valgrind
build=$PWD/build/memcheck
cmake --preset debug -B "$build" -DSANITIZE=OFF -DBUILD_BENCHMARKS=OFF
cmake --build "$build" --target golden_test

# The tests know the program by its path, so a script takes its place. A build that links the
# program again puts it back.
program=$build/bin/firewall_cpp
if [ "$(head -c 2 "$program")" != '#!' ]; then
  mv "$program" "$program.checked"
  # The tests choose their own PATH and process namespaces: no name and no process number is unique.
  cat > "$program" << END
#!/bin/sh
exec $(command -v valgrind) -q --leak-check=full --show-leak-kinds=definite,indirect,possible \\
  --suppressions='$PWD/tools/memcheck.supp' --child-silent-after-fork=yes --vgdb=no \\
  --log-file="\$($(command -v mktemp) '$build/findings/XXXXXXXX')" '$program.checked'
END
  chmod +x "$program"
fi

rm -rf "$build/findings" "$build/tmp"
mkdir "$build/findings" "$build/tmp"
export TMPDIR=$build/tmp
# Not by CTest, whose time limits are those of a run that nothing slows down.
shards=$(nproc)
tests=()
trap 'kill "${tests[@]}" 2> /dev/null || true' EXIT
for ((i = 0; i < shards; i++)); do
  GTEST_TOTAL_SHARDS=$shards GTEST_SHARD_INDEX=$i \
    "$build/bin/golden_test" --gtest_brief=1 --gtest_filter="${1:-*}" &
  tests+=($!)
done
status=0
for test in "${tests[@]}"; do wait "$test" || status=1; done

runs=$(find "$build/findings" -type f | wc -l)
findings=$(find "$build/findings" -type f -size +0)
for log in $findings; do
  echo "$log:"
  cat "$log"
done
mkdir -p build/figures
echo "memcheck: $runs runs of the program, $(printf '%s' "$findings" | grep -c . || true) with findings" \
  | tee build/figures/memcheck
[ "$runs" -gt 0 ] && [ -z "$findings" ] && exit "$status"
exit 1
