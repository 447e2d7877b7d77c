#!/bin/sh
# Who may include whom: the compiler knows nothing of the bus and the features, the bus wrappers
# nothing of rules, the product nothing of the testbed and the tests.
set -eu
bad=0
# forbid ROOM PATTERN: no file of the room includes a path that matches.
forbid() {
  if git -c safe.directory='*' grep -nE "^#include [\"<]($2)" -- "$1"; then
    echo "$1 must not include $2"
    bad=1
  fi
}
forbid ipt_compiler 'wrt_cppwrap/|firewall_cpp/|testbed/|tests/|libub'
forbid wrt_cppwrap 'ipt_compiler/|firewall_cpp/|testbed/|tests/'
forbid firewall_cpp 'testbed/|tests/|libub'
forbid 'firewall_cpp/nfnlq' 'ipt_compiler/[^e]|firewall_cpp/kovsel'
forbid 'firewall_cpp/kovsel' 'ipt_compiler/[^e]|firewall_cpp/nfnlq'
forbid examples 'ipt_compiler/[^e]|firewall_cpp/|testbed/|tests/|libub'
forbid testbed 'tests/|firewall_cpp/|ipt_compiler/|wrt_cppwrap/'
exit $bad
