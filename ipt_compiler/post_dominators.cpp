// The Lengauer-Tarjan algorithm on the reversed graph: a vertex's "predecessors" in the literature
// are its successors here. Path compression without balancing is fast enough: the time is linear
// but for a logarithmic factor.
#include "ipt_compiler/post_dominators.h"

#include <iterator>
#include <stdexcept>

namespace tavrix {

// Depth-first from the root against the edges. Every vertex starts as its own semidominator and
// label.
void PostDominators::number(IdomVertex& root, IdomVertex::OrderList& order) {
  struct Arrival {
    IdomVertex* vertex;
    IdomVertex* parent;
  };
  std::vector<Arrival> toVisit = {{&root, nullptr}};
  std::uint32_t nextNumber = 0;
  while (!toVisit.empty()) {
    const auto [vertex, parent] = toVisit.back();
    toVisit.pop_back();
    if (!vertex->visit(order)) continue;
    vertex->dfsNumber_ = nextNumber++;
    vertex->dfsParent_ = parent;
    vertex->semidominator_ = vertex;
    vertex->label_ = vertex;
    vertex->ancestor_ = nullptr;
    vertex->immediateDominator_ = nullptr;
    for (auto next = vertex->predecessors.rbegin(); next != vertex->predecessors.rend(); ++next) {
      toVisit.push_back({*next, vertex});
    }
  }
}

// Makes the root of the tree the ancestor of every vertex on the way up to it. The label becomes
// the vertex of least semidominator on the way.
void PostDominators::compress(IdomVertex& vertex) {
  std::vector<IdomVertex*> path;
  for (IdomVertex* v = &vertex; v->ancestor_->ancestor_ != nullptr; v = v->ancestor_) {
    path.push_back(v);
  }
  for (; !path.empty(); path.pop_back()) {
    IdomVertex& v = *path.back();
    const IdomVertex& ancestor = *v.ancestor_;
    if (ancestor.label_->semidominator_->dfsNumber_ < v.label_->semidominator_->dfsNumber_) {
      v.label_ = ancestor.label_;
    }
    v.ancestor_ = ancestor.ancestor_;
  }
}

// The vertex of least semidominator on the way from `vertex` up to, not including, its root.
IdomVertex& PostDominators::evaluate(IdomVertex& vertex) {
  if (vertex.ancestor_ != nullptr) compress(vertex);
  return *vertex.label_;
}

PostDominators::PostDominators(IdomVertex& root) {
  IdomVertex::OrderList order;
  number(root, order);

  // In reverse depth-first order; the root, last, has no semidominator to find.
  for (IdomVertex* w : order.vertices) {
    if (w == &root) break;
    for (IdomVertex* v : w->successors) {
      IdomVertex& candidate = *evaluate(*v).semidominator_;
      if (candidate.dfsNumber_ < w->semidominator_->dfsNumber_) w->semidominator_ = &candidate;
    }
    w->semidominator_->bucket_.push_back(w);
    w->ancestor_ = w->dfsParent_;
    for (IdomVertex* x : w->dfsParent_->bucket_) {
      IdomVertex& least = evaluate(*x);
      x->immediateDominator_ =
          least.semidominator_->dfsNumber_ < x->semidominator_->dfsNumber_ ? &least : w->dfsParent_;
    }
    w->dfsParent_->bucket_.clear();
  }

  // If the vertex found above is not the semidominator, it is not the dominator either, but has the
  // same one. In depth-first order that one is known by now.
  immediate_.reserve(order.vertices.size());
  for (auto w = std::next(order.vertices.rbegin()); w != order.vertices.rend(); ++w) {
    IdomVertex& vertex = **w;
    if (vertex.immediateDominator_ != vertex.semidominator_) {
      vertex.immediateDominator_ = vertex.immediateDominator_->immediateDominator_;
    }
    immediate_.emplace(&vertex, vertex.immediateDominator_);
  }
}

IdomVertex& PostDominators::of(const IdomVertex& vertex) const {
  const auto found = immediate_.find(&vertex);
  if (found == immediate_.end()) throw std::invalid_argument("IdomVertex conflict!");
  return *found->second;
}

}  // namespace tavrix
