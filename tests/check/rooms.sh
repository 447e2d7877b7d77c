#!/bin/sh
# Who may include whom: the compiler knows nothing of the bus and the features, the bus wrappers
# nothing of rules, the product nothing of the testbed and the tests. Within the compiler, a stage
# knows the stages before it and not the driver.
set -eu
bad=0
# forbid FILES PATTERN: none of the files includes a path that matches.
forbid() {
  files=$1
  pattern=$2
  if git -c safe.directory='*' grep -nE "^#include [\"<]($pattern)" -- "$files"; then
    echo "$files must not include $pattern"
    bad=1
  fi
}
forbid ipt_compiler 'wrt_cppwrap/|firewall_cpp/|inspect/|testbed/|tests/|libub'
forbid 'ipt_compiler/[!i]*' 'ipt_compiler/ipt_compiler.h'
forbid 'ipt_compiler/ir_*' 'ipt_compiler/(ipt_compiler|simpl|post|chain|restore|rule_parser)'
forbid 'ipt_compiler/rule_model.*' 'ipt_compiler/(rule_parser|ir_|simpl|post|chain|restore)'
forbid 'ipt_compiler/simplification.*' 'ipt_compiler/(post|chain|restore|rule_parser)'
forbid 'ipt_compiler/chain_generation.*' 'ipt_compiler/(restore|rule_parser)'
forbid 'ipt_compiler/export/*' 'ipt_compiler/(simpl|post|chain|restore)'
forbid wrt_cppwrap 'ipt_compiler/|firewall_cpp/|inspect/|testbed/|tests/'
forbid firewall_cpp 'inspect/|testbed/|tests/|libub'
forbid 'firewall_cpp/nfnlq' 'ipt_compiler/[^e]|firewall_cpp/kovsel'
forbid 'firewall_cpp/kovsel' 'ipt_compiler/[^e]|firewall_cpp/nfnlq'
forbid inspect 'testbed/|tests/|libub'
# What a node of the graph is made of concerns one file there.
forbid 'inspect/[!p]*' 'ipt_compiler/(ir_|simpl|post)'
forbid examples 'ipt_compiler/[^e]|firewall_cpp/|testbed/|tests/|libub'
forbid testbed 'tests/|firewall_cpp/|inspect/|ipt_compiler/|wrt_cppwrap/'
exit $bad
