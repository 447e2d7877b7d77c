// What a graph vertex carries to take part in a depth-first order or in a topological sort: which
// list holds it now. A vertex is in at most one list of each kind. The errors thrown here mean that
// two analyses use the same vertex at the same time.
#pragma once

#include <cstddef>
#include <cstdint>
#include <list>
#include <stdexcept>

namespace tavrix {

// Membership of Vertex, the class that derives from this one, in a depth-first order.
template <class Vertex>
class DfsVertex {
 public:
  // The visited vertices, the last one first. Its destruction frees them for the next order.
  class OrderList {
   public:
    OrderList() = default;
    ~OrderList() {
      for (Vertex* vertex : vertices) vertex->dfsMembership = nullptr;
    }
    OrderList(const OrderList&) = delete;
    OrderList& operator=(const OrderList&) = delete;

    std::list<Vertex*> vertices;
  };

  // Puts the vertex at the front of `order` if it is in no order. Returns whether it did; false if
  // the vertex was in `order` already. Throws std::invalid_argument if it is in another one.
  bool visit(OrderList& order) {
    if (dfsMembership == &order) return false;
    if (dfsMembership != nullptr) throw std::invalid_argument("DfsVertex conflict!");
    order.vertices.push_front(static_cast<Vertex*>(this));
    dfsMembership = &order;
    return true;
  }

  OrderList* dfsMembership = nullptr;
};

// Membership of Vertex in the ready or the pending list of a topological sort, and its part of the
// sort's own graph.
template <class Vertex>
class TopoSortVertex {
 public:
  struct Entry {
    Vertex* vertex;
    std::size_t nodeIndex;  // in the sort's vector of nodes
  };
  using EntryList = std::list<Entry>;

  // Moves the vertex from the list expectedFrom to the end of `to`. Throws std::invalid_argument
  // if it is in another list or in none.
  void moveTo(EntryList& to, const EntryList& expectedFrom) {
    if (topoMembership.owner != &expectedFrom) {
      throw std::invalid_argument("TopoSortVertex conflict!");
    }
    to.splice(to.end(), *topoMembership.owner, topoMembership.position);
    topoMembership.owner = &to;
  }

  struct Membership {
    EntryList* owner = nullptr;
    typename EntryList::iterator position;
  };
  Membership topoMembership;
  std::uint32_t pendingPredecessors = 0;
  std::list<Vertex*> topoSuccessors;
};

}  // namespace tavrix
