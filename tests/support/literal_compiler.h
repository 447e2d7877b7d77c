// A second compiler from rule graphs to chains, for comparison with the product's. It takes every
// step one by one, as it would be told to somebody who has paper and pencil, and spares no work. It
// shares nothing with the product, whose graph it copies into plain nodes of its own.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <string>
#include <string_view>
#include <vector>

#include "ipt_compiler/rule_program.h"

namespace test_support::literal {

struct Match {
  int kind = 0;
  std::string text;
  bool operator==(const Match&) const = default;
};

// The element count is kept beside the items, because a merge lets the two differ.
struct MatchList {
  std::vector<Match> items;
  long elementCount = 0;
  bool operator==(const MatchList&) const = default;
};

struct Node {
  std::size_t number = 0;  // in the order of creation
  bool isExit = false;
  unsigned predecessorCount = 0;
  std::vector<std::string> targets;
  MatchList matches;
  std::array<Node*, 2> successor = {};  // 0: the condition does not hold, 1: it holds, or always

  bool isUnconditional() const { return matches.elementCount == 0 || successor[0] == successor[1]; }
};

// Owns all nodes of a program, those that nothing leads to any more included.
class Graph {
 public:
  Node* makeProxy();
  std::size_t size() const { return nodes_.size(); }

  // target: may be null.
  void setSuccessor(Node& node, std::size_t index, Node* target);

  // From here on the graph knows how edges were before they changed.
  void rememberEdges();
  bool areEdgesDifferent() const;

 private:
  struct Edges {
    const Node* node;
    std::array<Node*, 2> successor;
  };

  std::deque<Node> nodes_;  // they never move
  bool isRemembering_ = false;
  std::vector<Edges> before_;
};

struct Program {
  Node* first;
  Node* last;
};

// A program of the product's that is not simplified yet.
Program copyOf(Graph& graph, const tavrix::IptProg& program);

// Appends an exit node and simplifies until nothing changes. The program's last node is the exit
// afterwards.
void simplify(Graph& graph, Program& program);

// The chain declarations and rules of a simplified program, as compileHook writes them. Raises
// `counter` by the chains that were made.
std::string generate(std::uint32_t& counter, const Graph& graph, const Program& program,
                     std::string_view chain, bool ownChain);

}  // namespace test_support::literal
