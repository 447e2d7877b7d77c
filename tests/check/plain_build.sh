#!/bin/sh
# The build of someone who has a compiler, cmake and make: no preset, no tests. What it installs is
# the two programs and nothing else. Arguments: cmake, the C++ compiler.
set -eu
cmake=$1
export CXX="$2"
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
# Unoptimised and joined, for time: in its release build ./check refuses the warnings of the optimiser
# and compiles each file by itself.
"$cmake" -S . -B "$work/build" -G 'Unix Makefiles' -DCMAKE_BUILD_TYPE=None \
  -DCMAKE_UNITY_BUILD=ON -DCMAKE_UNITY_BUILD_BATCH_SIZE=0 > "$work/log" 2>&1
"$cmake" --build "$work/build" -j 2 >> "$work/log" 2>&1 || { cat "$work/log"; exit 1; }
if grep -q 'warning:' "$work/log"; then cat "$work/log"; exit 1; fi
if [ -d "$work/build/tests" ]; then echo 'tests were built without being asked for'; exit 1; fi
"$cmake" --install "$work/build" --prefix "$work/root" > /dev/null
installed=$(cd "$work/root" && find . -type f | sort | xargs)
if [ "$installed" != './sbin/firewall_cpp ./sbin/firewall_cpp-inspect' ]; then echo "installed: $installed"; exit 1; fi
