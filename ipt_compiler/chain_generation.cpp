// The generation of chains; chain_generation.h explains the idea. Every blank in the rule formats
// below is part of the output.
#include "ipt_compiler/chain_generation.h"

#include <deque>
#include <list>
#include <string>
#include <vector>

#include "ipt_compiler/ir_graph.h"
#include "ipt_compiler/post_dominators.h"
#include "ipt_compiler/simplification.h"

namespace tavrix {

using _IptIrNode::kNext;
using _IptIrNode::kNoMatch;

// Compiles one hook.
class IrGenRules {
 public:
  // hook: where the text goes; must outlive the object, and so must the graph.
  explicit IrGenRules(HookText& hook) : hook_(hook) {}
  ~IrGenRules() {
    for (const RulesData& record : records_) record.node->rulesIndex = ProxyIrNode::kNowhere;
  }
  IrGenRules(const IrGenRules&) = delete;
  IrGenRules& operator=(const IrGenRules&) = delete;

  // Writes the rules of the graph from first to last, the exit, into the named chain.
  void run(ProxyIrNode& first, ProxyIrNode& last, std::string_view chainName, bool ownChain);

 private:
  // What generation knows about one node.
  struct RulesData : IdomVertex {
    ProxyIrNode* node = nullptr;
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

  RulesData& record(const ProxyIrNode& node) { return records_[node.rulesIndex]; }
  ProxyIrNode& joinOf(const ProxyIrNode& node) {
    return *static_cast<RulesData&>(record(node).postDominator()).node;
  }
  void partition(ProxyIrNode& first);
  void postDominators();

  void emitStep();
  void emitMatchPath(const ProxyIrNode& node, ProxyIrNode& join, std::string_view chain,
                     bool isBranch);
  void emitNoMatchPath(const ProxyIrNode& node, ProxyIrNode& join, std::string_view chain);

  std::string_view makeChainName();
  void openChain(RulesData& region, ProxyIrNode& stop);

  HookText& hook_;
  std::deque<RulesData> records_;      // by node position; successors before their predecessors
  std::list<std::string> chainNames_;  // elements never move: records and work items refer to them
  std::vector<WorkItem> work_;         // a stack
};

void IrGenRules::run(ProxyIrNode& first, ProxyIrNode& last, std::string_view chainName,
                     bool ownChain) {
  partition(first);
  postDominators();
  work_.push_back({&first, &last, chainName, ownChain});
  while (!work_.empty()) emitStep();
}

// Depth-first from first: gives every node its record, after the records of its successors.
void IrGenRules::partition(ProxyIrNode& first) {
  std::vector<ProxyIrNode*> path = {&first};
  while (!path.empty()) {
    ProxyIrNode& node = *path.back();
    const auto isNew = [this](const ProxyIrNode::Pointer& successor) {
      return successor && !successor->isVisited(records_);
    };
    if (isNew(node.successor[kNext])) {
      path.push_back(node.successor[kNext].get());
    } else if (isNew(node.successor[kNoMatch])) {
      path.push_back(node.successor[kNoMatch].get());
    } else {
      node.rulesIndex = static_cast<std::uint32_t>(records_.size());
      records_.emplace_back().node = &node;
      path.pop_back();
    }
  }
}

// Counts every edge at the node where it arrives, and finds where paths meet again.
void IrGenRules::postDominators() {
  for (RulesData& from : records_) {
    for (const ProxyIrNode::Pointer& successor : from.node->successor) {
      if (!successor) continue;
      ++record(*successor).referenceCount;
      from.addSuccessor(record(*successor));
    }
  }
}

// Writes one node of the region on top of the stack and leaves what follows it on the stack.
void IrGenRules::emitStep() {
  const WorkItem item = work_.back();
  const ProxyIrNode& node = *item.node;
  ProxyIrNode& join = joinOf(node);

  const bool lastVisit = &join == item.stop;
  if (lastVisit) {
    work_.pop_back();
  } else {
    work_.back().node = &join;  // resumed after everything that is pushed below
  }

  // Whether there is anything on the no-match path before the join.
  const bool isBranch = !node.matches().items.empty() &&
                        node.successor[kNoMatch] != node.successor[kNext] &&
                        node.successor[kNoMatch].get() != &join;
  for (const IptTarget& target : node.targets()) {
    hook_.addRule(item.chain, target.text);
  }

  std::string_view chain = item.chain;
  if (isBranch && !(lastVisit && item.ownChain)) {
    // More rules follow in item.chain: those at the join, or others after the region. So the branch
    // gets a chain of its own, and both of its paths return from there to what follows.
    chain = makeChainName();
    hook_.declareChain(chain);
    hook_.addRule(item.chain, {}, "-j ", chain);
  }
  emitMatchPath(node, join, chain, isBranch);
  if (isBranch) emitNoMatchPath(node, join, chain);
}

// Where control goes if the node's condition holds.
void IrGenRules::emitMatchPath(const ProxyIrNode& node, ProxyIrNode& join, std::string_view chain,
                               bool isBranch) {
  ProxyIrNode& next = *node.successor[kNext];
  if (&next == &join) {
    if (!isBranch) return;
    // The packet passes over the no-match path.
    hook_.addRule(chain, matchesText(node.matches()), " -j RETURN");
    return;
  }
  if (!isBranch && next.targets().size() == 1 && next.isUnconditional() &&
      next.successor[kNext].get() == &join) {
    hook_.addRule(chain, matchesText(node.matches()) + " " + next.targets().front().text);
    return;
  }
  RulesData& region = record(next);
  if (region.chainName.empty()) openChain(region, join);
  // After a jump the packet comes back to this chain, where the rules at the join follow. After a
  // goto it does not, since here the rules of the no-match path follow.
  hook_.addRule(chain, matchesText(node.matches()), isBranch ? " -g " : " -j ", region.chainName);
}

// Where control goes if the condition of a branch does not hold.
void IrGenRules::emitNoMatchPath(const ProxyIrNode& node, ProxyIrNode& join,
                                 std::string_view chain) {
  ProxyIrNode& otherwise = *node.successor[kNoMatch];
  RulesData& region = record(otherwise);
  if (region.chainName.empty() && region.referenceCount > 1) openChain(region, join);
  if (!region.chainName.empty()) {
    hook_.addRule(chain, {}, "-g ", region.chainName);
  } else {
    work_.push_back({&otherwise, &join, chain, true});
  }
}

std::string_view IrGenRules::makeChainName() {
  return chainNames_.emplace_back(hook_.makeChainName());
}

// Makes a chain for the region that begins at the record's node.
void IrGenRules::openChain(RulesData& region, ProxyIrNode& stop) {
  region.chainName = makeChainName();
  work_.push_back({region.node, &stop, region.chainName, true});
  hook_.declareChain(region.chainName);
}

HookText generate(IptProg& program, std::string_view chainName, bool ownChain) {
  const ProxyIrNode::Pointer exit = makeProxy();
  program = sequence({program, {exit, exit}});
  simplify(program.first, exit);
  HookText hook;
  IrGenRules(hook).run(*program.first, *exit, chainName, ownChain);
  return hook;
}

void compileHook(std::uint32_t& counter, std::ostream& out, IptProg& program,
                 std::string_view chainName, bool ownChain) {
  generate(program, chainName, ownChain).write(counter, out);
}

}  // namespace tavrix
