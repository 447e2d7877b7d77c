// A run: the passes of the schedule. A pass that fails ends the run; tables that were committed
// before it stay.
#include <map>
#include <memory>

#include "firewall_cpp/schedule.h"
#include "firewall_cpp/xtables_lock.h"
#include "ipt_compiler/chain_generation.h"
#include "ipt_compiler/ipt_compiler.h"

namespace tavrix {
namespace {

void run() {
  const XtablesLock lock;
  // A program is compiled as soon as it is built, and gone before the next one is built. Both
  // address families have the same plans: the second one takes what was compiled for the first.
  std::map<const HookPlan*, std::shared_ptr<const HookText>> texts;
  const auto compile = [&texts](const HookPlan& plan) -> ChainHook {
    std::shared_ptr<const HookText>& text = texts[&plan];
    if (!text) {
      IptProg program = plan.makeProgram();
      text = std::make_shared<HookText>(generate(program, plan.chain, kOwnChain));
    }
    return {plan.chain, plan.position, kOwnChain, {}, text};
  };
  for (const auto& [tool, table, hooks] : kPasses) {
    IptCompiler compiler(lock, tool, table);
    for (const HookPlan& plan : hooks.first(hooks.size() - 1)) compiler.addHook(compile(plan));
    compiler.commit(compile(hooks.back()));
  }
}

}  // namespace
}  // namespace tavrix

// What leaves it ends the process, with its text on standard error.
int main() {  // NOLINT(bugprone-exception-escape)
  tavrix::run();
}
