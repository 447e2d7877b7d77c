// The schedule of a run: one pass per tool and table, in this order. A pass that fails ends the
// run; tables that were committed before it stay.
#include <cstdint>
#include <span>
#include <string_view>
#include <utility>

#include "firewall_cpp/chain_programs.h"
#include "firewall_cpp/xtables_lock.h"
#include "ipt_compiler/ipt_compiler.h"

namespace tavrix {
namespace {

struct HookPlan {
  std::string_view chain;
  std::uint32_t position;
  IptProg (*makeProgram)();

  ChainHook make() const {
    return {.chain = chain, .position = position, .ownChain = false, .program = makeProgram()};
  }
};

// The hooks of one table, the same for both address families. The asymmetry is intended: in mangle
// the generated jumps come after every saved rule, in nat and filter before.
constexpr HookPlan kMangleHooks[] = {
    {"PREROUTING", kHookAtEnd, manglePreroutingProgram},
    {"OUTPUT", kHookAtEnd, mangleOutputProgram},
};
constexpr HookPlan kNatHooks[] = {
    {"PREROUTING", 0, natPreroutingProgram},
};
constexpr HookPlan kFilterHooks[] = {
    {"INPUT", 0, filterInputProgram},
    {"FORWARD", 0, filterForwardProgram},
};

struct Pass {
  std::string_view tool;
  std::string_view table;
  std::span<const HookPlan> hooks;  // one or two
};

constexpr Pass kPasses[] = {
    {"iptables", "mangle", kMangleHooks}, {"iptables", "nat", kNatHooks},
    {"iptables", "filter", kFilterHooks}, {"ip6tables", "mangle", kMangleHooks},
    {"ip6tables", "nat", kNatHooks},      {"ip6tables", "filter", kFilterHooks},
};

}  // namespace
}  // namespace tavrix

// What leaves it ends the process, with its text on standard error.
int main() {  // NOLINT(bugprone-exception-escape)
  const tavrix::XtablesLock lock;
  for (const auto& [tool, table, hooks] : tavrix::kPasses) {
    tavrix::IptCompiler compiler(lock, tool, table);
    tavrix::ChainHook hook = hooks.front().make();
    if (hooks.size() == 2) {
      compiler.commit(std::move(hook), hooks.back().make());
    } else {
      compiler.commit(std::move(hook));
    }
  }
}
