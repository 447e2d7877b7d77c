// Immediate post-dominators: for every vertex of a graph with one exit, the first vertex that all
// paths from it to the exit have in common. Chain generation ends a conditional region there.
//
// They make a tree with the exit as its root: what is on all paths from a vertex are its ancestors.
// So the immediate post-dominator of a vertex is the nearest common ancestor of its successors, and
// in a graph without cycles the successors can all be put into the tree first.
#pragma once

#include <cstdint>

namespace tavrix {

// One vertex; without a successor it is the exit. Others point at it, so it stays where it is.
class IdomVertex {
 public:
  // Adds an edge to a vertex that has all of its edges already. All edges must lead to one exit.
  void addSuccessor(IdomVertex& successor);

  // The immediate post-dominator. Throws std::invalid_argument for the exit, which has none.
  IdomVertex& postDominator() const;

 private:
  static IdomVertex& nearestCommonAncestor(IdomVertex& one, IdomVertex& other);

  IdomVertex* parent_ = nullptr;
  // An ancestor further up, so that any ancestor is a logarithmic number of steps away (skew-binary
  // jump pointers): a jump spans the parent's jump and the one after it when these are of equal
  // length, else it is one step. Vertices of the same depth jump to the same depth.
  IdomVertex* jump_ = nullptr;
  std::uint32_t depth_ = 0;
};

}  // namespace tavrix
