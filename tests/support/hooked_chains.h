// The chains in which the rule sets hook their rules, each with the program that they put there for
// the present configuration.
#pragma once

#include <array>
#include <string_view>

#include "firewall_cpp/chain_programs.h"
#include "ipt_compiler/ir_graph.h"

namespace test_support {

struct HookedChain {
  std::string_view table;
  std::string_view chain;
  tavrix::IptProg (*makeProgram)();
};

inline constexpr std::array<HookedChain, 5> kHookedChains = {
    {{"mangle", "PREROUTING", tavrix::manglePreroutingProgram},
     {"mangle", "OUTPUT", tavrix::mangleOutputProgram},
     {"nat", "PREROUTING", tavrix::natPreroutingProgram},
     {"filter", "INPUT", tavrix::filterInputProgram},
     {"filter", "FORWARD", tavrix::filterForwardProgram}}};

}  // namespace test_support
