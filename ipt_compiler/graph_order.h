// What a graph vertex carries to take part in a depth-first order or in a topological sort. A
// vertex is part of at most one of each kind. The errors thrown here mean that two analyses use the
// same vertex at the same time.
#pragma once

#include <cstdint>
#include <stdexcept>

namespace tavrix {

// Membership of a vertex in a depth-first order: a table whose elements have a member `node`.
class DfsVertex {
 public:
  static constexpr std::uint32_t kNowhere = 0xFFFFFFFF;

  // Whether the vertex is in the table. Throws std::invalid_argument if it is in another one.
  template <class Table>
  bool isVisited(const Table& order) const {
    if (rulesIndex == kNowhere) return false;
    if (rulesIndex < order.size() && order[rulesIndex].node == this) return true;
    throw std::invalid_argument("DfsVertex conflict!");
  }

  std::uint32_t rulesIndex = kNowhere;  // the vertex's place in the table
};

// Membership of a vertex in a topological sort.
class TopoSortVertex {
 public:
  // Whether the vertex is in the sort of that number. Throws std::invalid_argument if it is in
  // another one.
  bool isEntered(std::uint32_t sort) const {
    if (topoMembership != 0 && topoMembership != sort) {
      throw std::invalid_argument("TopoSortVertex conflict!");
    }
    return topoMembership != 0;
  }

  std::uint32_t topoMembership = 0;       // the number of the sort that holds the vertex; 0: none
  std::uint32_t pendingPredecessors = 0;  // those that the sort has not taken yet
};

}  // namespace tavrix
