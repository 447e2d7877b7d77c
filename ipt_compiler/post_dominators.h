// Immediate post-dominators: for every vertex of a graph with one exit, the first vertex that all
// paths from it to the exit have in common. Chain generation ends a conditional region there.
#pragma once

#include <cstdint>
#include <unordered_map>
#include <vector>

#include "ipt_compiler/graph_order.h"

namespace tavrix {

// One vertex: its edges, set by the owner of the graph, and what the computation keeps about it
// while it runs.
class IdomVertex : public DfsVertex<IdomVertex> {
 public:
  std::vector<IdomVertex*> successors;
  std::vector<IdomVertex*> predecessors;

 private:
  friend class PostDominators;

  std::uint32_t dfsNumber_ = 0;
  IdomVertex* dfsParent_ = nullptr;
  IdomVertex* immediateDominator_ = nullptr;
  IdomVertex* semidominator_ = nullptr;
  std::vector<IdomVertex*> bucket_;  // vertices whose semidominator this one is
  IdomVertex* ancestor_ = nullptr;   // in the forest of linked vertices; null for a root
  IdomVertex* label_ = nullptr;      // of least semidominator on the path to the ancestor
};

// The result of one computation over the vertices from which `root`, the exit, can be reached.
class PostDominators {
 public:
  // Throws std::invalid_argument if a vertex takes part in another computation.
  explicit PostDominators(IdomVertex& root);

  // The immediate post-dominator. Throws std::invalid_argument for a vertex that has none in this
  // computation: the root, or one of another graph.
  IdomVertex& of(const IdomVertex& vertex) const;

 private:
  static void number(IdomVertex& root, IdomVertex::OrderList& order);
  static void compress(IdomVertex& vertex);
  static IdomVertex& evaluate(IdomVertex& vertex);

  std::unordered_map<const IdomVertex*, IdomVertex*> immediate_;
};

// The same as the constructor. Two names on purpose: this one is the step of chain generation.
inline PostDominators postDominators(IdomVertex& root) {
  return PostDominators(root);
}

}  // namespace tavrix
