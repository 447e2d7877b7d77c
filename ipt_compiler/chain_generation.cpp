// The generation of chains; chain_generation.h explains the idea. Every blank in the rule formats
// below is part of the output.
#include "ipt_compiler/chain_generation.h"

#include <list>
#include <memory>
#include <ostream>
#include <stack>
#include <string>
#include <utility>
#include <vector>

#include "ipt_compiler/generated_marks.h"
#include "ipt_compiler/ir_graph.h"
#include "ipt_compiler/post_dominators.h"
#include "ipt_compiler/simplification.h"

namespace tavrix {

using _IptIrNode::kNext;
using _IptIrNode::kNoMatch;
using _IptIrNode::kSuccessorOrder;

// Compiles one hook.
class IrGenRules {
 public:
  // counter, out: those of compileHook; both must outlive the object.
  IrGenRules(std::uint32_t& counter, std::ostream& out) : counter_(counter), out_(out) {}

  // Writes the rules of the graph from first to last, the exit, into the named chain.
  void run(const ProxyIrNode::Pointer& first, const ProxyIrNode::Pointer& last,
           std::string_view chainName, bool ownChain);

 private:
  // What generation knows about one node.
  struct RulesData : IdomVertex {
    explicit RulesData(ProxyIrNode::Pointer recorded) : node(std::move(recorded)) {}

    ProxyIrNode::Pointer node;
    std::string_view chainName;        // the chain made for the node; empty until there is one
    std::uint32_t referenceCount = 0;  // edges that arrive at the node
  };

  // A region to be written: from `node` up to, and not including, `stop`.
  struct WorkItem {
    ProxyIrNode* node;
    ProxyIrNode* stop;
    std::string_view chain;  // where its rules go
    bool ownChain;           // the chain ends with the region: control may run off its end
  };

  RulesData& record(const ProxyIrNode& node) { return *records_[node.rulesIndex]; }
  RulesData& addRecord(const ProxyIrNode::Pointer& node);
  void partition(const ProxyIrNode::Pointer& first);

  void emitStep(const PostDominators& joins);
  void emitMatchPath(const ProxyIrNode& node, ProxyIrNode& join, std::string_view chain,
                     bool isBranch);
  void emitNoMatchPath(const ProxyIrNode& node, ProxyIrNode& join, std::string_view chain);

  std::string_view makeChainName();
  void declareChain(std::string_view chain);
  void openChain(RulesData& region, ProxyIrNode& stop);

  std::uint32_t& counter_;
  std::ostream& out_;
  std::vector<std::unique_ptr<RulesData>> records_;
  std::list<std::string> chainNames_;  // elements never move: records and work items refer to them
  std::stack<WorkItem> work_;
};

void IrGenRules::run(const ProxyIrNode::Pointer& first, const ProxyIrNode::Pointer& last,
                     std::string_view chainName, bool ownChain) {
  partition(first);
  const PostDominators joins = postDominators(record(*last));
  work_.push({first.get(), last.get(), chainName, ownChain});
  while (!work_.empty()) emitStep(joins);
}

IrGenRules::RulesData& IrGenRules::addRecord(const ProxyIrNode::Pointer& node) {
  node->rulesIndex = static_cast<std::uint32_t>(records_.size());
  return *records_.emplace_back(std::make_unique<RulesData>(node));
}

// Depth-first from first: gives every node its record and enters every edge into the graph of the
// records.
void IrGenRules::partition(const ProxyIrNode::Pointer& first) {
  struct Frame {
    RulesData* parent;
    std::size_t visited;  // how many of the parent's successor slots were taken
  };

  ProxyIrNode::OrderList order;
  std::stack<Frame> frames;
  first->visit(order);
  frames.push({&addRecord(first), 0});
  while (!frames.empty()) {
    Frame& frame = frames.top();
    if (frame.visited == kSuccessorOrder.size()) {
      frames.pop();
      continue;
    }
    RulesData& parent = *frame.parent;
    const ProxyIrNode::Pointer& node = parent.node->successor[kSuccessorOrder[frame.visited++]];
    if (!node) continue;

    const bool isNew = node->visit(order);
    RulesData& arrived = isNew ? addRecord(node) : record(*node);
    parent.successors.push_back(&arrived);
    arrived.predecessors.push_back(&parent);
    ++arrived.referenceCount;
    if (isNew) frames.push({&arrived, 0});
  }
}

// Writes one node of the region on top of the stack and leaves what follows it on the stack.
void IrGenRules::emitStep(const PostDominators& joins) {
  const WorkItem item = work_.top();
  const ProxyIrNode& node = *item.node;
  ProxyIrNode& join = *static_cast<RulesData&>(joins.of(record(node))).node;

  const bool lastVisit = &join == item.stop;
  if (lastVisit) {
    work_.pop();
  } else {
    work_.top().node = &join;  // resumed after everything that is pushed below
  }

  const bool isBranch = !node.matches.items.empty() &&
                        node.successor[kNoMatch] != node.successor[kNext] &&
                        node.successor[kNoMatch].get() != &join;
  for (const IptTarget& target : node.targets) {
    out_ << "-A " << item.chain << ' ' << target.text << ' ' << kRuleMark << '\n';
  }

  std::string_view chain = item.chain;
  if (isBranch && !(lastVisit && item.ownChain)) {
    // The rules at the join follow in item.chain. The branch gets a chain of its own, and from the
    // end of that one both paths return to them.
    chain = makeChainName();
    declareChain(chain);
    out_ << "-A " << item.chain << " -j " << chain << ' ' << kRuleMark << '\n';
  }
  emitMatchPath(node, join, chain, isBranch);
  if (isBranch) emitNoMatchPath(node, join, chain);
}

// Where control goes if the node's condition holds.
void IrGenRules::emitMatchPath(const ProxyIrNode& node, ProxyIrNode& join, std::string_view chain,
                               bool isBranch) {
  const std::string matches = matchesText(node.matches);
  ProxyIrNode& next = *node.successor[kNext];
  if (&next == &join) {
    if (isBranch) out_ << "-A " << chain << ' ' << matches << " -j RETURN " << kRuleMark << '\n';
    return;
  }
  if (!isBranch && next.targets.size() == 1 && next.isUnconditional() &&
      next.successor[kNext].get() == &join) {
    out_ << "-A " << chain << ' ' << matches << ' ' << next.targets.front().text << ' ' << kRuleMark
         << '\n';
    return;
  }
  RulesData& region = record(next);
  if (region.chainName.empty()) openChain(region, join);
  // A jump returns to this chain, where the rules at the join follow. A goto does not: the rules of
  // the no-match path follow.
  out_ << "-A " << chain << ' ' << matches << (isBranch ? " -g " : " -j ") << region.chainName
       << ' ' << kRuleMark << '\n';
}

// Where control goes if the condition of a branch does not hold.
void IrGenRules::emitNoMatchPath(const ProxyIrNode& node, ProxyIrNode& join,
                                 std::string_view chain) {
  ProxyIrNode& otherwise = *node.successor[kNoMatch];
  RulesData& region = record(otherwise);
  if (region.chainName.empty() && region.referenceCount > 1) openChain(region, join);
  if (!region.chainName.empty()) {
    out_ << "-A " << chain << " -g " << region.chainName << ' ' << kRuleMark << '\n';
  } else {
    work_.push({&otherwise, &join, chain, true});
  }
}

std::string_view IrGenRules::makeChainName() {
  return chainNames_.emplace_back(kChainPrefix + std::to_string(counter_++));
}

void IrGenRules::declareChain(std::string_view chain) {
  out_ << ':' << chain << " - [0:0]\n";
}

// Makes a chain for the region that begins at the record's node.
void IrGenRules::openChain(RulesData& region, ProxyIrNode& stop) {
  region.chainName = makeChainName();
  work_.push({region.node.get(), &stop, region.chainName, true});
  declareChain(region.chainName);
}

void compileHook(std::uint32_t& counter, std::ostream& out, IptProg& program,
                 std::string_view chainName, bool ownChain) {
  const ProxyIrNode::Pointer exit = makeProxy();
  program = sequence({program, {exit, exit}});
  simplify(program.first, exit);
  IrGenRules(counter, out).run(program.first, exit, chainName, ownChain);
}

}  // namespace tavrix
