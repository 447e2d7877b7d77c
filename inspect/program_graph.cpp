// The walk over the compiler's graph; program_graph.h says what comes of it.
#include "inspect/program_graph.h"

#include <unordered_map>
#include <utility>

#include "ipt_compiler/ir_graph.h"
#include "ipt_compiler/simplification.h"

namespace tavrix::inspect {

using _IptIrNode::kNext;
using _IptIrNode::kNoMatch;

std::vector<GraphNode> readGraph(IptProg program, bool simplified) {
  const ProxyIrNode::Pointer exit = makeProxy();
  program = sequence({std::move(program), {exit, exit}});
  if (simplified) simplify(program.first, exit);

  std::vector<const ProxyIrNode*> nodes;
  std::unordered_map<const ProxyIrNode*, std::size_t> numbers;
  std::vector<const ProxyIrNode*> toVisit = {program.first.get()};
  while (!toVisit.empty()) {
    const ProxyIrNode* const node = toVisit.back();
    toVisit.pop_back();
    if (!numbers.emplace(node, nodes.size()).second) continue;
    nodes.push_back(node);
    for (const std::size_t index : {kNoMatch, kNext}) {
      if (node->successor[index]) toVisit.push_back(node->successor[index].get());
    }
  }

  std::vector<GraphNode> graph;
  graph.reserve(nodes.size());
  for (const ProxyIrNode* node : nodes) {
    GraphNode& shown = graph.emplace_back();
    for (const IptTarget& target : node->targets) shown.targets.push_back(target.text);
    shown.condition = matchesText(node->matches);
    shown.isExit = node == exit.get();
    if (node->successor[kNext]) shown.next = numbers[node->successor[kNext].get()];
    // The compiler takes a condition for one that always holds if the edges lead to one node.
    if (!node->isUnconditional() && node->successor[kNoMatch]) {
      shown.noMatch = numbers[node->successor[kNoMatch].get()];
    }
  }
  return graph;
}

}  // namespace tavrix::inspect
