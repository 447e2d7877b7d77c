#!/bin/sh
# clang-tidy over one room; fuzz targets have a build of their own. Arguments: clang-tidy, cmake, a
# configured build directory, the room.
set -eu
tidy=$1 build=$3 room=$4
git -c safe.directory='*' ls-files -z "$room/*.cpp" ':!tests/fuzz' | xargs -0 -n 8 "$tidy" -p "$build" --quiet
