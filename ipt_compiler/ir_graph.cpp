// Wiring and release of nodes; ir_graph.h explains the graph.
#include "ipt_compiler/ir_graph.h"

#include <sstream>
#include <stdexcept>
#include <utility>
#include <vector>

namespace tavrix {
namespace _IptIrNode {

ProxyIrNode::~ProxyIrNode() {
  std::vector<Pointer> released;
  const auto release = [&released](ProxyIrNode& node) {
    for (Pointer& slot : node.successor) {
      if (!slot) continue;
      --slot->predecessorCount;
      // A node that nothing else holds would die here. The list delays that.
      if (slot.use_count() == 1) released.push_back(std::move(slot));
      slot.reset();
    }
  };
  // Each node's slots are emptied before the node dies, so its own destructor finds nothing to
  // release: destructors do not nest.
  release(*this);
  while (!released.empty()) {
    const Pointer node = std::move(released.back());
    released.pop_back();
    release(*node);
  }
}

const NodeContent ProxyIrNode::kNothing;

NodeContent& ProxyIrNode::makeContent() {
  if (content_ == nullptr) content_ = std::make_unique<NodeContent>();
  return *content_;
}

void ProxyIrNode::setNext(Pointer target) {
  if (successor[kNext]) failSetNextTwice();
  setSuccessor(kNext, std::move(target));
}

void ProxyIrNode::setSuccessor(std::size_t index, Pointer target) {
  // The old target may die here, but only after the new one is in place and counted.
  if (target) ++target->predecessorCount;
  successor[index].swap(target);
  if (target) --target->predecessorCount;
}

void ProxyIrNode::clearSuccessor(std::size_t index) {
  setSuccessor(index, nullptr);
}

std::string debugText(const ProxyIrNode& node) {
  const ProxyIrNode::Pointer& next = node.successor[kNext];
  const ProxyIrNode::Pointer& noMatch = node.successor[kNoMatch];
  std::ostringstream text;
  text << "{id: " << &node;
  for (const IptTarget& target : node.targets()) text << ", tgt: " << target.text;
  text << ", matches: " << matchesText(node.matches());
  text << ", alwaysTure: " << (node.isUnconditional() ? 1 : 0);
  if (next) text << ", true: " << next.get();
  if (noMatch) text << ", false: " << noMatch.get();
  text << "}";
  return text.str();
}

}  // namespace _IptIrNode

void failSetNextTwice() {
  throw std::logic_error("IPT compiler: Internal error. setNext() twice.");
}

ProxyIrNode::Pointer makeProxy() {
  return std::make_shared<ProxyIrNode>();
}

IptProg sequence(std::initializer_list<IptProg> programs) {
  if (programs.size() == 0) {
    const auto node = makeProxy();
    return {node, node};
  }
  for (const auto *left = programs.begin(), *right = left + 1; right != programs.end();
       left = right++) {
    // A program linked to itself would be a cycle, whose nodes are never released.
    if (left->last == right->last) failSetNextTwice();
    left->last->setNext(right->first);
  }
  return {programs.begin()->first, (programs.end() - 1)->last};
}

}  // namespace tavrix
