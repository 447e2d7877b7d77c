// The schedule of a run: one pass per tool and table, in this order, and the hooks of each.
#pragma once

#include <cstdint>
#include <span>
#include <string_view>

#include "firewall_cpp/chain_programs.h"
#include "ipt_compiler/chain_hook.h"

namespace tavrix {

// Whether the program is all that its chain holds.
inline constexpr bool kOwnChain = false;

struct HookPlan {
  std::string_view chain;
  std::uint32_t position;
  IptProg (*makeProgram)();

  ChainHook make() const {
    return {.chain = chain, .position = position, .ownChain = kOwnChain, .program = makeProgram()};
  }
};

// The hooks of one table, the same for both address families. The asymmetry is intended: in mangle
// the generated jumps come after every saved rule, in nat and filter before.
inline constexpr HookPlan kMangleHooks[] = {
    {"PREROUTING", kHookAtEnd, manglePreroutingProgram},
    {"OUTPUT", kHookAtEnd, mangleOutputProgram},
};
inline constexpr HookPlan kNatHooks[] = {
    {"PREROUTING", 0, natPreroutingProgram},
};
inline constexpr HookPlan kFilterHooks[] = {
    {"INPUT", 0, filterInputProgram},
    {"FORWARD", 0, filterForwardProgram},
};

struct Pass {
  std::string_view tool;
  std::string_view table;
  std::span<const HookPlan> hooks;  // one or two
};

inline constexpr Pass kPasses[] = {
    {"iptables", "mangle", kMangleHooks}, {"iptables", "nat", kNatHooks},
    {"iptables", "filter", kFilterHooks}, {"ip6tables", "mangle", kMangleHooks},
    {"ip6tables", "nat", kNatHooks},      {"ip6tables", "filter", kFilterHooks},
};

}  // namespace tavrix
