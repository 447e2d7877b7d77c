// The schedule of a run: one pass per tool and table, in this order, and the hooks of each.
#pragma once

#include <cstdint>
#include <span>
#include <string_view>

#include "firewall_cpp/kovsel/kovsel.h"
#include "firewall_cpp/nfnlq/nfnlq.h"
#include "ipt_compiler/chain_hook.h"

namespace tavrix {

// Whether a chain holds its program and nothing else. It may hold rules of other programs.
inline constexpr bool kOwnChain = false;

struct HookPlan {
  std::string_view chain;
  std::uint32_t position;
  IptProg (*makeProgram)();  // reads the configuration; errors of the rule sets pass through
};

// Access control first: its marks are there when the queue decision is made.
inline IptProg manglePreroutingProgram() {
  return sequence({kovsel::mangleProgram(), nfnlq::queueProgram()});
}

// The hooks of one table, the same for both address families. The asymmetry is intended: in mangle
// the generated jumps come after every saved rule, in nat and filter before.
inline constexpr HookPlan kMangleHooks[] = {
    {"PREROUTING", kHookAtEnd, manglePreroutingProgram},
    {"OUTPUT", kHookAtEnd, nfnlq::queueProgram},
};
inline constexpr HookPlan kNatHooks[] = {
    {"PREROUTING", 0, kovsel::natPreroutingProgram},
};
inline constexpr HookPlan kFilterHooks[] = {
    {"INPUT", 0, kovsel::filterInputProgram},
    {"FORWARD", 0, kovsel::filterForwardProgram},
};

struct Pass {
  std::string_view tool;
  std::string_view table;
  std::span<const HookPlan> hooks;  // at least one
};

inline constexpr Pass kPasses[] = {
    {"iptables", "mangle", kMangleHooks}, {"iptables", "nat", kNatHooks},
    {"iptables", "filter", kFilterHooks}, {"ip6tables", "mangle", kMangleHooks},
    {"ip6tables", "nat", kNatHooks},      {"ip6tables", "filter", kFilterHooks},
};

}  // namespace tavrix
