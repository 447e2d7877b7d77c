// Reading of the live tables and making of the texts that would replace them.
#include "inspect/next_run.h"

#include <unistd.h>

#include <optional>
#include <sstream>
#include <stdexcept>

#include "firewall_cpp/xtables_lock.h"
#include "inspect/tool_output.h"
#include "ipt_compiler/restore_text.h"

namespace tavrix::inspect {
namespace {

constexpr const char* kLockFile = "/var/run/xtables.lock";

// A run goes on with whatever a failing save tool has printed. Here it would be shown as the truth.
std::string save(const Pass& pass) {
  return toolOutput(std::string(pass.tool) + "-save -t " + std::string(pass.table));
}

}  // namespace

std::vector<LiveTable> readLiveTables(const Request& request) {
  std::optional<XtablesLock> lock;
  // Who may not open the file cannot keep others from the tables. The tables can still be read.
  if (geteuid() == 0 || access(kLockFile, R_OK) == 0) lock.emplace();
  std::vector<LiveTable> tables;
  for (const Pass& pass : kPasses) {
    if (request.selects(pass)) tables.push_back({&pass, save(pass)});
  }
  return tables;
}

std::string nextText(const LiveTable& live) {
  HookMap hooks;
  for (const HookPlan& plan : live.pass->hooks) {
    hooks[plan.chain].push_back({plan.chain, plan.position, kOwnChain, plan.makeProgram()});
  }
  std::ostringstream out;
  writeRestoreText(out, live.text, hooks);
  return out.str();
}

const HookPlan& hookOf(const Request& request) {
  std::string known;
  for (const Pass& pass : kPasses) {
    if (pass.tool != kPasses[0].tool) continue;
    for (const HookPlan& plan : pass.hooks) {
      if (pass.table == request.words[0] && plan.chain == request.words[1]) return plan;
      known.append(known.empty() ? "" : ", ").append(pass.table).append(" ").append(plan.chain);
    }
  }
  throw std::invalid_argument("a run has no rules in " + std::string(request.words[0]) + " " +
                              std::string(request.words[1]) + ", but in " + known);
}

std::string titleOf(const Pass& pass) {
  return (pass.tool == "ip6tables" ? "IPv6 " : "IPv4 ") + std::string(pass.table);
}

}  // namespace tavrix::inspect
