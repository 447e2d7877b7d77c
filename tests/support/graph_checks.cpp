#include "tests/support/graph_checks.h"

#include <algorithm>
#include <sstream>
#include <utility>
#include <vector>

#include "ipt_compiler/post_dominators.h"
#include "ipt_compiler/simplification.h"
#include "tests/support/program_comparison.h"

namespace test_support {
namespace {

using tavrix::ProxyIrNode;
using tavrix::_IptIrNode::kNext;
using tavrix::_IptIrNode::kNoMatch;

Edges edgesOf(const NodeNumbers& nodes) {
  Edges edges;
  for (std::size_t i = 0; i < nodes.size(); ++i) {
    for (const std::size_t index : {kNext, kNoMatch}) {
      const ProxyIrNode::Pointer& successor = nodes[i].successor[index];
      if (successor) edges.emplace_back(i, nodes.of(*successor));
    }
  }
  return edges;
}

// As postDominatorsByBoost, by the product. Every path ends at the exit.
std::vector<std::size_t> postDominatorsByProduct(std::size_t size, const Edges& edges) {
  std::vector<std::vector<std::size_t>> successors(size);
  for (const auto& [from, to] : edges) successors[from].push_back(to);
  std::vector<tavrix::IdomVertex> vertices(size);
  std::vector<bool> isLinked(size, false);
  // A vertex is linked after its successors.
  std::vector<std::size_t> path = {0};
  while (!path.empty()) {
    const std::size_t vertex = path.back();
    const auto first =
        std::ranges::find_if(successors[vertex], [&](std::size_t next) { return !isLinked[next]; });
    if (first != successors[vertex].end()) {
      path.push_back(*first);
      continue;
    }
    for (const std::size_t next : successors[vertex]) vertices[vertex].addSuccessor(vertices[next]);
    isLinked[vertex] = true;
    path.pop_back();
  }
  std::vector<std::size_t> dominators(size, size);
  for (std::size_t i = 0; i < size; ++i) {
    if (successors[i].empty()) continue;
    dominators[i] = static_cast<std::size_t>(&vertices[i].postDominator() - vertices.data());
  }
  return dominators;
}

std::string text(const std::vector<std::size_t>& numbers) {
  std::string all;
  for (const std::size_t number : numbers) all += ' ' + std::to_string(number);
  return all;
}

bool isJunction(const ProxyIrNode& node) {
  return !node.isExit && node.targets().empty() && node.isUnconditional();
}

// Whether `next` may be what is left of a condition whose modules all moved into the one of `node`.
bool isEmptied(const ProxyIrNode& node, const ProxyIrNode& next) {
  const auto modules =
      std::ranges::count_if(node.matches().items, [](const tavrix::IptMatch& match) {
        return tavrix::matchKind(match) == tavrix::_IptMatches::Match::kKind;
      });
  return modules >= 2 && node.successor[kNext].get() == &next &&
         node.successor[kNoMatch].get() != &next && next.predecessorCount == 1 &&
         next.matches().items.empty() && next.matches().elementCount == 0 &&
         !next.successor[kNoMatch];
}

}  // namespace

std::string GraphChecks::counts() const {
  std::ostringstream text;
  text << programs_ << " programs, " << packets_ << " packets, " << compared_.size() << " graphs, "
       << emptiedJunctions_ << " emptied junctions";
  return text.str();
}

std::string GraphChecks::checkPostDominators(const NodeNumbers& nodes, const ProxyIrNode& exit) {
  const Edges edges = edgesOf(nodes);
  if (compared_.contains(edges)) return {};
  const std::size_t exitNumber = nodes.of(exit);
  const auto byProduct = postDominatorsByProduct(nodes.size(), edges);
  const auto byBoost = postDominatorsByBoost(nodes.size(), edges, exitNumber);
  if (byProduct == byBoost) {
    compared_.insert(edges);
    return {};
  }
  return "post-dominators are" + text(byProduct) + "\nby Boost they are" + text(byBoost) + '\n';
}

std::string GraphChecks::check(tavrix::IptProg program, const Runs& expected) {
  ++programs_;
  packets_ += expected.packets.size();
  const ProxyIrNode::Pointer exit = tavrix::makeProxy();
  program = tavrix::sequence({program, {exit, exit}});
  std::string wrong = checkPostDominators(NodeNumbers(*program.first), *exit);

  std::uint64_t emptied = 0;
  // What must hold after every simplification; counts the emptied junctions.
  const auto simplifyAndCheck = [&] {
    tavrix::simplify(program.first, exit);
    const NodeNumbers nodes(*program.first);
    wrong += checkPostDominators(nodes, *exit) + wrongPredecessorCounts(nodes);
    for (std::size_t i = 0; i < expected.packets.size(); ++i) {
      const Holds holds = holdsIn(expected.numbers, expected.packets[i]);
      if (evaluate(program, holds) == expected.met[i]) continue;
      wrong += "simplification changes what packet " + std::to_string(i) + " meets\n";
    }
    emptied = 0;
    for (std::size_t i = 0; i < nodes.size(); ++i) {
      for (const ProxyIrNode::Pointer& successor : nodes[i].successor) {
        if (!successor || !isJunction(*successor)) continue;
        if (isEmptied(nodes[i], *successor)) {
          ++emptied;
        } else {
          wrong += "the junction after node " + std::to_string(i) + " was left\n";
        }
      }
    }
    return graphText(program.first);
  };
  const std::string once = simplifyAndCheck();
  if (emptied == 0) {
    tavrix::simplify(program.first, exit);
    if (const std::string twice = graphText(program.first); twice != once) {
      wrong += "simplified again:\n" + twice;
    }
  } else {
    emptiedJunctions_ += emptied;
    // That takes the emptied junctions away, and then there is nothing else to do.
    const std::string twice = simplifyAndCheck();
    tavrix::simplify(program.first, exit);
    if (emptied != 0 || graphText(program.first) != twice) wrong += "not emptied:\n" + twice;
  }
  return wrong.empty() ? wrong : wrong + "simplified:\n" + once;
}

std::string GraphChecks::checkOnce(const ProgramSource& source) {
  const std::vector<std::string> tokens = tokensOf(source);
  tavrix::IptProg program = buildProgram(tokens);
  const Runs runs = runsOf(program);
  if (isMisread(source, runs)) return "misread\n";
  const std::string wrong = check(std::move(program), runs);
  const auto difference = findDifference(runs, buildProgram(tokens), "PREROUTING");
  return difference ? wrong + describe(*difference) : wrong;
}

std::string GraphChecks::check(const ProgramSource& program) {
  if (checkOnce(program).empty()) return {};
  const ProgramSource smallest =
      shrink(program, [this](const ProgramSource& smaller) { return !checkOnce(smaller).empty(); });
  return configurationOf(tokensOf(smallest)) + checkOnce(smallest);
}

}  // namespace test_support
