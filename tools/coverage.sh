#!/usr/bin/env bash
# Measures which lines and branches of the product the tests run: builds with counters, runs the
# suite, and prints figures per file, then every line that never ran or has a branch that was never
# taken. Arguments go to CTest: tools/coverage.sh -L unit
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
. tools/packages.sh

install_missing "${coverage_packages[@]}"
# Two tests run the demo, which uses the release build.
for preset in release coverage; do
  echo "Building: $preset"
  quietly cmake --preset "$preset"
  quietly cmake --build --preset "$preset"
done

build=build/coverage
# The build runs the test programs to find their tests; that does not count. Some tests run the
# program as another user, who must be able to add to the counters.
find "$build" -name '*.gcda' -delete
find "$build" -type d -exec chmod a+rwx {} +
umask 0
status=0
ctest --test-dir "$build" -LE 'check|fuzz' -j "$(nproc)" --output-on-failure "$@" || status=$?

mkdir -p build/figures
python3 tools/coverage_report.py "$build" firewall_cpp ipt_compiler wrt_cppwrap \
  | tee build/figures/coverage
exit "$status"
