// A second reader of the language, for comparison with the product's: the graph that a token list
// stands for, made in plain steps of plain nodes. It shares nothing with the product but the
// parsers of single rule texts. literal_compiler.h makes chains of it.
#pragma once

#include <array>
#include <cstddef>
#include <deque>
#include <string>
#include <vector>

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

  // Throws std::logic_error when the node has a next one.
  void setNext(Node& node, Node* target);
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

// The statements of a token list, one after the other. Throws what the product throws.
Program readProgram(Graph& graph, const std::vector<std::string>& tokens);

// The program of the queue rule set: IF true THEN the statements of `preTargets`, IF the condition
// of `matches` THEN queue 0 FI FI.
Program readQueueProgram(Graph& graph, const std::vector<std::string>& preTargets,
                         const std::vector<std::string>& matches);

// a, then b.
Program sequence(Graph& graph, const Program& a, const Program& b);

}  // namespace test_support::literal
