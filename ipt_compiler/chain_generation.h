// Turns a simplified rule graph into chains and rules of restore text. A conditional region ends
// where its paths meet again; a region that more than one place reaches becomes a chain of its
// own, the rest is written inline.
#pragma once

#include <cstdint>
#include <list>
#include <memory>
#include <ostream>
#include <stack>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "ipt_compiler/ipt_compiler.h"
#include "ipt_compiler/post_dominators.h"

namespace tavrix {

// Compiles one hook; made and destroyed by IptCompiler::compileHook.
class IptCompiler::IrGenRules {
 public:
  // counter, out: as for compileHook; both must outlive the object.
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
    bool ownChain;           // the chain ends with the region, so its end may be reached freely
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

}  // namespace tavrix
