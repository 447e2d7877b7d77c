// A depth-first walk from every hook over the chains, with a stack of its own, then one pass over
// the rules. Linear in the number of rules, times the five hooks.
#include "testbed/file_tables/commit_checks.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "testbed/file_tables/extensions.h"

namespace file_tables {
namespace {

bool endsTheChain(const Rule& rule, Family family) {
  return rule.targetKind == TargetKind::Verdict && rule.isUnconditional(family);
}

// What the walk needs of one chain.
struct ChainNode {
  std::size_t walkedRules = 0;            // up to the first unconditional verdict
  std::vector<std::size_t> destinations;  // chains that the walked rules lead to
  HookMask reached = 0;
};

std::vector<ChainNode> buildNodes(const Table& table) {
  std::vector<ChainNode> nodes;
  nodes.reserve(table.chains().size());
  for (const Chain& chain : table.chains()) {
    ChainNode node;
    for (const Rule& rule : chain.rules) {
      ++node.walkedRules;
      if (endsTheChain(rule, table.family())) {
        break;
      }
      if (rule.targetKind == TargetKind::Chain || rule.targetKind == TargetKind::Goto) {
        node.destinations.push_back(table.chainIndex(rule.target.name));
      }
    }
    nodes.push_back(std::move(node));
  }
  return nodes;
}

// Marks every chain that the hook leads to. False when the way runs in a loop.
bool markReached(std::vector<ChainNode>& nodes, std::size_t start, HookMask hook) {
  enum class State : std::uint8_t { New, OnPath, Done };
  struct Step {
    std::size_t node;
    std::size_t nextDestination;
  };
  std::vector<State> states(nodes.size(), State::New);
  std::vector<Step> path{{start, 0}};
  states[start] = State::OnPath;
  while (!path.empty()) {
    Step& step = path.back();
    ChainNode& node = nodes[step.node];
    node.reached |= hook;
    if (step.nextDestination == node.destinations.size()) {
      states[step.node] = State::Done;
      path.pop_back();
      continue;
    }
    const std::size_t destination = node.destinations[step.nextDestination++];
    if (states[destination] == State::OnPath) {
      return false;
    }
    if (states[destination] == State::New) {
      states[destination] = State::OnPath;
      path.push_back({destination, 0});
    }
  }
  return true;
}

bool allowsExtension(const ExtensionRule& known, const ExtensionUse& use, const Rule& rule,
                     const Table& table, HookMask reached) {
  const bool protocolFits =
      known.protocols.empty() || std::find(known.protocols.begin(), known.protocols.end(),
                                           rule.protocol) != known.protocols.end();
  return protocolFits && (known.table.empty() || known.table == table.name()) &&
         (reached & static_cast<HookMask>(~known.hooks)) == 0 &&
         (known.kernelRefuses == nullptr || !known.kernelRefuses(rule, use, reached));
}

bool allowsRule(const Rule& rule, const Table& table, HookMask reached) {
  for (const ExtensionUse& match : rule.matches) {
    if (!allowsExtension(*findMatch(match.name, table.family()), match, rule, table, reached)) {
      return false;
    }
  }
  return rule.targetKind != TargetKind::Extension ||
         allowsExtension(*findTarget(rule.target.name, table.family()), rule.target, rule, table,
                         reached);
}

}  // namespace

bool kernelAccepts(const Table& table) {
  std::vector<ChainNode> nodes = buildNodes(table);
  const std::vector<Chain>& chains = table.chains();
  for (std::size_t index = 0; index < chains.size(); ++index) {
    if (chains[index].isBuiltIn() && !markReached(nodes, index, chains[index].hook)) {
      return false;
    }
  }
  for (std::size_t index = 0; index < chains.size(); ++index) {
    std::size_t ruleNumber = 0;
    for (const Rule& rule : chains[index].rules) {
      const bool isWalked = ruleNumber++ < nodes[index].walkedRules;
      const HookMask reached = isWalked ? nodes[index].reached : HookMask{0};
      if (!allowsRule(rule, table, reached)) {
        return false;
      }
    }
  }
  return true;
}

}  // namespace file_tables
