#!/bin/sh
# The recipe, read by GNU make with a stand-in for the build system: what it installs is what
# docs/router.md lists, with the mode and in the package that stand there, and what it depends on has a
# reason. Argument: the build directory.
set -eu
build=$1
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# same WHAT EXPECTED FOUND
same() {
  [ "$2" != "$3" ] || return 0
  printf '%s\nexpected:\n%s\nfound:\n%s\n' "$1" "$2" "$3"
  exit 1
}

packages=testbed/build_system/make_packages
"$packages" "$build" "$work/out"
same 'packages' 'firewall_cpp firewall_cpp-inspect libxtlock-intercept' \
  "$(cd "$work/out" && find . -mindepth 2 -maxdepth 2 -name root | cut -d / -f 2 | sort | xargs)"
same 'files' "$(sed -n 's/^| `\(\/[^`]*\)` | \([0-7]*\) | `\([^`]*\)` |.*/\3 \2 \1/p' docs/router.md | sort)" \
  "$(cd "$work/out" && find ./*/root -type f -printf '%p %m\n' |
    sed 's|^\./\([^/]*\)/root\(/.*\) \([0-7]*\)$|\1 \3 \2|' | sort)"
same 'sources' '-DPLATFORM=system -DINSTALL_PRELOAD_LIBRARY=ON' "$(cat "$work/out/cmake_options")"
same 'configuration that an upgrade keeps' /etc/config/firewall_cpp \
  "$(xargs < "$work/out/firewall_cpp/conffiles")"
same 'and none of the library' '' "$(xargs < "$work/out/libxtlock-intercept/conffiles")"
same 'version' "$(sed -n 's/^project(firewall_cpp VERSION \([0-9.]*\).*/\1/p' CMakeLists.txt)" \
  "$(sed -n 's/^PKG_VERSION:=//p' openwrt/Makefile)"
same 'the empty configuration has no section' '' "$(grep -v '^#' openwrt/files/firewall_cpp.config || :)"

# Each dependency in the recipe's list of reasons, and nothing else there.
reasons=$(sed -n 's/^#   \([a-z].*[a-z0-9]\)   *[a-zA-Z].*/\1/p' openwrt/Makefile | tr ' ' '\n')
same 'dependencies' "$(printf '%s\n' "$reasons" | sed 's/^/+/' | sort)" \
  "$(tr ' ' '\n' < "$work/out/firewall_cpp/depends" | sort)"
same 'dependencies of the second program' '+libstdcpp +libubox +libubus +firewall_cpp' \
  "$(xargs < "$work/out/firewall_cpp-inspect/depends")"
same 'dependencies of the library' '' "$(xargs < "$work/out/libxtlock-intercept/depends")"
# And on the page for those who make an image.
for name in $reasons; do
  grep -q "\`$name\`" docs/router.md || same 'docs/router.md' "the dependency $name" nothing
done
grep -q '^# PKG_LICENSE.*owner' openwrt/Makefile || same 'licence' 'a line that leaves it' nothing
