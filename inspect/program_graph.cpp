// The walk over the compiler's graph; program_graph.h says what comes of it.
#include "inspect/program_graph.h"

#include <algorithm>
#include <unordered_map>
#include <utility>
#include <variant>

#include "inspect/noted_texts.h"
#include "ipt_compiler/ir_graph.h"
#include "ipt_compiler/simplification.h"

namespace tavrix::inspect {

using _IptIrNode::kNext;
using _IptIrNode::kNoMatch;

namespace {

// Where control goes if the condition does not hold; null if there is no condition, or if that is
// where it goes anyway. A node without a condition may have such an edge, too. Nothing follows it.
const ProxyIrNode* noMatchOf(const ProxyIrNode& node) {
  const ProxyIrNode* const other = node.successor[kNoMatch].get();
  return node.matches().items.empty() || other == node.successor[kNext].get() ? nullptr : other;
}

// The number of the noted text that a target or match came from.
template <class Text>
std::optional<int> sourceOf(const Text& text) {
  return text.file == NotedTexts::kFile ? std::optional<int>(text.line) : std::nullopt;
}

// Several matches come from one text.
std::vector<int> sourcesOf(const IptMatchList& matches) {
  std::vector<int> sources;
  for (const IptMatch& match : matches.items) {
    const std::optional<int> source =
        std::visit([](const auto& option) { return sourceOf(option); }, match);
    if (source) sources.push_back(*source);
  }
  std::ranges::sort(sources);
  sources.erase(std::unique(sources.begin(), sources.end()), sources.end());
  return sources;
}

}  // namespace

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
    if (const ProxyIrNode* other = noMatchOf(*node)) toVisit.push_back(other);
    if (node->successor[kNext]) toVisit.push_back(node->successor[kNext].get());
  }

  std::vector<GraphNode> graph;
  graph.reserve(nodes.size());
  for (const ProxyIrNode* node : nodes) {
    GraphNode& shown = graph.emplace_back();
    for (const IptTarget& target : node->targets()) {
      shown.targets.push_back(target.text);
      shown.targetSources.push_back(sourceOf(target));
    }
    shown.conditionSources = sourcesOf(node->matches());
    shown.condition = matchesText(node->matches());
    shown.isExit = node == exit.get();
    if (node->successor[kNext]) shown.next = numbers[node->successor[kNext].get()];
    if (const ProxyIrNode* other = noMatchOf(*node)) shown.noMatch = numbers[other];
  }
  return graph;
}

}  // namespace tavrix::inspect
