// The tree of post-dominators; post_dominators.h explains it.
#include "ipt_compiler/post_dominators.h"

#include <stdexcept>
#include <utility>

namespace tavrix {

void IdomVertex::addSuccessor(IdomVertex& successor) {
  parent_ = parent_ == nullptr ? &successor : &nearestCommonAncestor(*parent_, successor);
  depth_ = parent_->depth_ + 1;
  const IdomVertex* const next = parent_->jump_;
  const bool areEqual = next != nullptr && next->jump_ != nullptr &&
                        parent_->depth_ - next->depth_ == next->depth_ - next->jump_->depth_;
  jump_ = areEqual ? next->jump_ : parent_;
}

IdomVertex& IdomVertex::postDominator() const {
  if (parent_ == nullptr) throw std::invalid_argument("IdomVertex conflict!");
  return *parent_;
}

IdomVertex& IdomVertex::nearestCommonAncestor(IdomVertex& one, IdomVertex& other) {
  IdomVertex* upper = &one;
  IdomVertex* lower = &other;
  if (upper->depth_ > lower->depth_) std::swap(upper, lower);
  while (lower->depth_ > upper->depth_) {
    lower = lower->jump_->depth_ >= upper->depth_ ? lower->jump_ : lower->parent_;
  }
  while (upper != lower) {
    const bool isBeyond = upper->jump_ == lower->jump_;
    upper = isBeyond ? upper->parent_ : upper->jump_;
    lower = isBeyond ? lower->parent_ : lower->jump_;
  }
  return *upper;
}

}  // namespace tavrix
