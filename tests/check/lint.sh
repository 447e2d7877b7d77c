#!/bin/sh
# clang-tidy over one room, by the files that its compiler reads; fuzz targets have a build of their
# own. Arguments: clang-tidy, a configured build directory, the source directory, the room.
set -eu
tidy=$1 build=$2 source=$3 room=$4
sed -n 's/^ *"file": "\(.*\)".*/\1/p' "$build/compile_commands.json" | sort -u |
  awk -v built="$build/$room/" -v own="$source/$room/" 'index($0, built) == 1 || index($0, own) == 1' |
  xargs -d '\n' -n 8 "$tidy" -p "$build" --quiet
