#!/bin/sh
# PLATFORM=system: one clear error without libubox and libubus; with them, at a place that
# CMAKE_PREFIX_PATH names, the same sources build and link them, with and without the loop's timer
# symbol that only some builds of libubox have. The testbed's stand-ins, built as shared libraries,
# play the platform's. Arguments: cmake, the C++ compiler.
set -eu
cmake=$1
export CXX="$2"
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

if "$cmake" -S . -B "$work/without" -DPLATFORM=system > "$work/log" 2>&1; then
  echo 'PLATFORM=system was accepted without the libraries'
  exit 1
fi
if [ "$(grep -c 'CMake Error' "$work/log")" != 1 ] ||
   ! grep -q 'libubox and libubus were not found' "$work/log"; then
  cat "$work/log"
  exit 1
fi

mkdir -p "$work/root/include" "$work/root/lib"
cp -r testbed/include/. "$work/root/include"
"$CXX" -std=c++20 -shared -fPIC -I. -Itestbed/include testbed/libubox/*.cpp -o "$work/root/lib/libubox.so"
"$CXX" -std=c++20 -shared -fPIC -I. -Itestbed/include testbed/libubus/*.cpp -o "$work/root/lib/libubus.so"

# Nor do all versions of the headers say in C++ that they are C.
find "$work/root/include" -name '*.h' -exec sed -i '/#ifdef __cplusplus/,/#endif/d' {} +

# build TARGET TIMER: configures and builds against the libraries, and checks that the timer symbol is
# asked for exactly when TIMER is "timer". Unoptimised: what is linked is the question.
build() {
  "$cmake" -S . -B "$work/build" -DPLATFORM=system -DCMAKE_PREFIX_PATH="$work/root" \
    -DCMAKE_BUILD_TYPE=None -DCMAKE_UNITY_BUILD=ON -DCMAKE_UNITY_BUILD_BATCH_SIZE=0 \
    -DWARNINGS_AS_ERRORS=ON > "$work/log" 2>&1 || { cat "$work/log"; exit 1; }
  grep -q "Platform libraries: system ($work/root/lib/libubus.so, $work/root/lib/libubox.so)" "$work/log"
  "$cmake" --build "$work/build" -j 2 --target "$1" > "$work/log" 2>&1 || { cat "$work/log"; exit 1; }
  timer=none
  if nm "$work/build/wrt_cppwrap/libwrt_cppwrap.a" | grep -q ' U uloop_support_paramtimer'; then timer=timer; fi
  if [ "$timer" != "$2" ]; then echo "the timer symbol is asked for: $timer, not $2"; exit 1; fi
}

build firewall_cpp timer
for library in libubus libubox; do
  objdump -p "$work/build/bin/firewall_cpp" | grep -q "NEEDED.*$library.so"
done
# The same build directory has answered the questions for other headers and another platform before.
sed -i '/uloop_support_paramtimer/d' "$work/root/include/libubox/uloop.h"
"$cmake" -S . -B "$work/build" -DPLATFORM=testbed > /dev/null
build wrt_cppwrap none
