#!/bin/sh
# Every C and C++ file stands as clang-format writes it. Argument: clang-format.
set -eu
git ls-files -z '*.h' '*.cpp' '*.c' | xargs -0 "$1" --dry-run -Werror
