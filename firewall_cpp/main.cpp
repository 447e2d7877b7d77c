// The schedule of a run: one pass per tool and table, in this order. A pass that fails ends the
// run; tables that were committed before it stay.
#include <cstdint>
#include <memory>
#include <string_view>
#include <utility>
#include <vector>

#include "firewall_cpp/chain_programs.h"
#include "firewall_cpp/xtables_lock.h"
#include "ipt_compiler/chain_generation.h"
#include "ipt_compiler/ipt_compiler.h"

namespace tavrix {
namespace {

struct HookPlan {
  std::string_view chain;
  std::uint32_t position;
  IptProg (*makeProgram)();
  std::shared_ptr<const HookText> text = nullptr;

  // Compiled, so that each program is gone before the next one is built. Both address families get
  // the same ones, so the second takes what was compiled for the first.
  ChainHook make() {
    constexpr bool kOwnChain = false;
    if (!text) {
      IptProg program = makeProgram();
      text = std::make_shared<HookText>(generate(program, chain, kOwnChain));
    }
    return {chain, position, kOwnChain, {}, text};
  }
};

struct Table {
  std::string_view name;
  std::vector<HookPlan> hooks;  // one or two
};

void run() {
  // The hooks of each table, the same for both address families. The asymmetry is intended: in
  // mangle the generated jumps come after every saved rule, in nat and filter before.
  Table tables[] = {
      {"mangle",
       {{"PREROUTING", kHookAtEnd, manglePreroutingProgram},
        {"OUTPUT", kHookAtEnd, mangleOutputProgram}}},
      {"nat", {{"PREROUTING", 0, natPreroutingProgram}}},
      {"filter", {{"INPUT", 0, filterInputProgram}, {"FORWARD", 0, filterForwardProgram}}},
  };

  const XtablesLock lock;
  for (const std::string_view tool : {"iptables", "ip6tables"}) {
    for (auto& [table, hooks] : tables) {
      IptCompiler compiler(lock, tool, table);
      ChainHook hook = hooks.front().make();
      if (hooks.size() == 2) {
        compiler.commit(std::move(hook), hooks.back().make());
      } else {
        compiler.commit(std::move(hook));
      }
    }
  }
}

}  // namespace
}  // namespace tavrix

// What leaves it ends the process, with its text on standard error.
int main() {  // NOLINT(bugprone-exception-escape)
  tavrix::run();
}
