#!/bin/sh
# The scripts of the packages, and those that stand in for the platform's beside them, are right for
# busybox ash and for shellcheck.
set -eu
for script in openwrt/files/*.init openwrt/files/*.include openwrt/files/*.defaults \
  testbed/image/root/etc/rc.common testbed/image/root/etc/init.d/* testbed/image/root/usr/*bin/* \
  tests/router/service/*.sh tests/package/*.sh testbed/build_system/make_packages; do
  busybox ash -n "$script"
  # rc.common reads START and STOP; the other two are a service's own file and a text on purpose.
  shellcheck -s sh -x -e SC2034,SC1090,SC2016 "$script"
done
shellcheck -s bash testbed/image/enter
