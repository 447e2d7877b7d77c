// The graph that rule programs are made of: nodes held by shared pointers. What a node is follows
// from what it holds: nothing (a junction), targets (a rule), matches (a condition), or, after
// simplification, targets and then matches.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <list>
#include <memory>
#include <string>
#include <utility>

#include "ipt_compiler/graph_order.h"
#include "ipt_compiler/rule_model.h"
#include "ipt_compiler/rule_program.h"

namespace tavrix {

namespace _IptIrNode {

// successor[kNext]: where control goes if the condition holds, or if there is none.
// successor[kNoMatch]: where it goes if the condition does not hold.
inline constexpr std::size_t kNoMatch = 0;
inline constexpr std::size_t kNext = 1;

// What a node does and tests.
struct NodeContent {
  std::list<IptTarget> targets;  // what happens when control arrives, in order
  IptMatchList matches;          // the condition that is tested afterwards
};

class ProxyIrNode : public DfsVertex, public TopoSortVertex {
 public:
  using Pointer = std::shared_ptr<ProxyIrNode>;

  ProxyIrNode() = default;
  // Gives back the predecessor counts that its successor slots hold. A chain of nodes that dies
  // with it is released in a loop, so its length does not matter.
  ~ProxyIrNode();
  ProxyIrNode(const ProxyIrNode&) = delete;
  ProxyIrNode& operator=(const ProxyIrNode&) = delete;

  // Sets successor[kNext], once. Throws std::logic_error and changes nothing if it is set.
  void setNext(Pointer target);
  // Replaces successor[index], which may be empty before and after.
  void setSuccessor(std::size_t index, Pointer target);
  // The same. Two names on purpose: builders wire a new condition with setBranch, passes rewire a
  // node with setSuccessor.
  void setBranch(std::size_t index, Pointer target) { setSuccessor(index, std::move(target)); }
  // Empties successor[index], which must be set.
  void clearSuccessor(std::size_t index);

  // Whether control always goes on at successor[kNext]. Looks at the element count that
  // mergeMatches left, and not at the items: generated rules depend on that.
  bool isUnconditional() const {
    return content_ == nullptr || content_->matches.elementCount == 0 ||
           successor[kNoMatch] == successor[kNext];
  }

  // The node's content, empty in a junction.
  const std::list<IptTarget>& targets() const { return content().targets; }
  const IptMatchList& matches() const { return content().matches; }
  // The same, to be changed.
  NodeContent& makeContent();

  std::uint32_t predecessorCount : 31 = 0;  // successor slots of existing nodes that point here
  bool isExit : 1 = false;                  // ends the program: never bypassed, absorbed or merged
  std::array<Pointer, 2> successor;

 private:
  static const NodeContent kNothing;
  const NodeContent& content() const { return content_ != nullptr ? *content_ : kNothing; }

  std::unique_ptr<NodeContent> content_;  // most nodes are junctions and have none
};

// The node in one line, for diagnosis. The misspelt "alwaysTure" is kept on purpose: people search
// such lines for it.
std::string debugText(const ProxyIrNode& node);

}  // namespace _IptIrNode

// Throws the std::logic_error of a node that is continued twice.
[[noreturn]] void failSetNextTwice();

// A fresh node without content.
ProxyIrNode::Pointer makeProxy();

}  // namespace tavrix
