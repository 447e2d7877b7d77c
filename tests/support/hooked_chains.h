// The chains in which the rule sets hook their rules, each with the program that they put there for
// the present configuration.
#pragma once

#include <string_view>
#include <vector>

#include "firewall_cpp/schedule.h"
#include "ipt_compiler/ir_graph.h"

namespace test_support {

struct HookedChain {
  std::string_view table;
  std::string_view chain;
  tavrix::IptProg (*makeProgram)();
};

// Those of the IPv4 tables; the IPv6 tables have the same.
inline const std::vector<HookedChain> kHookedChains = [] {
  std::vector<HookedChain> chains;
  for (const tavrix::Pass& pass : tavrix::kPasses) {
    if (pass.tool != "iptables") continue;
    for (const tavrix::HookPlan& plan : pass.hooks) {
      chains.push_back({pass.table, plan.chain, plan.makeProgram});
    }
  }
  return chains;
}();

}  // namespace test_support
