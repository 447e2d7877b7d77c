#include "tests/support/literal_compiler.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <deque>
#include <stdexcept>
#include <vector>

#include "tests/support/graph_text.h"

namespace test_support::literal {
namespace {

constexpr int kIpv6 = 2;
constexpr int kMatch = 10;

// Moves what one rule can hold with the conditions of `destination` from `source` to it. Returns
// how many items moved alone or were dropped; the block of "-m" options at the end is not counted.
unsigned mergeMatches(MatchList& destination, MatchList& source) {
  unsigned merged = 0;
  std::size_t d = 0;
  for (std::size_t s = 0; s < source.items.size();) {
    const auto at = source.items.begin() + static_cast<std::ptrdiff_t>(s);
    while (d < destination.items.size() && destination.items[d].kind < at->kind) ++d;
    const bool isSameKind = d < destination.items.size() && destination.items[d].kind == at->kind;
    if (isSameKind && at->kind > kIpv6) {
      ++s;
    } else if (isSameKind) {
      source.items.erase(at);
      --destination.elementCount;
      ++merged;
    } else {
      destination.items.insert(destination.items.begin() + static_cast<std::ptrdiff_t>(d), *at);
      ++d;
      source.items.erase(at);
      ++destination.elementCount;
      --source.elementCount;
      ++merged;
    }
  }
  if (!source.items.empty() && source.items.front().kind == kMatch) {
    for (const Match& match : source.items) destination.items.push_back(match);
    destination.elementCount += source.elementCount;
    source.items.clear();
    source.elementCount = 0;
  }
  return merged;
}

// One node, until no pass changes anything.
class NodeSimplification {
 public:
  NodeSimplification(Graph& graph, Node& node) : graph_(graph), node_(node) {}

  // Returns whether anything changed.
  bool run() {
    constexpr int kTooMany = 100'000;
    for (int changes = 0; changes < kTooMany; ++changes) {
      graph_.rememberEdges();
      areTextsMoved_ = false;
      const bool isReported = runPasses();
      // A pass may take an edge back to where it was before another one, and that would go on for
      // ever. What moved a text is never undone. Counts of predecessors follow the edges.
      if (!isReported || !(areTextsMoved_ || graph_.areEdgesDifferent())) return changes > 0;
    }
    throw std::runtime_error("the simplification of a node does not end");
  }

 private:
  bool runPasses() {
    const bool isDropped = dropUselessCondition();
    const bool isNoMatchSkipped = skipEmptySuccessor(0);
    const bool isNextSkipped = skipEmptySuccessor(1);
    const bool isAbsorbed = absorbTargets();
    const bool isMerged = mergeCondition();
    return isDropped || isNoMatchSkipped || isNextSkipped || isAbsorbed || isMerged;
  }

  // Pass 1.
  bool dropUselessCondition() {
    if (node_.matches.items.empty() || node_.successor[0] != node_.successor[1]) return false;
    graph_.setSuccessor(node_, 0, nullptr);
    node_.matches = {};
    areTextsMoved_ = true;
    return true;
  }

  // Passes 2a and 2b.
  bool skipEmptySuccessor(std::size_t index) {
    Node* const successor = node_.successor[index];
    if (successor == nullptr || successor->isExit) return false;
    if (!successor->targets.empty() || !successor->isUnconditional()) return false;
    graph_.setSuccessor(node_, index, successor->successor[1]);
    return true;
  }

  // Pass 3.
  bool absorbTargets() {
    if (!node_.isUnconditional()) return false;
    Node* const next = node_.successor[1];
    if (next == nullptr || next->isExit || next->predecessorCount != 1) return false;
    if (next->targets.empty()) return false;
    for (const std::string& target : next->targets) node_.targets.push_back(target);
    next->targets.clear();
    areTextsMoved_ = true;
    return true;
  }

  // Pass 4.
  bool mergeCondition() {
    Node* const next = node_.successor[1];
    if (next == nullptr || next->isExit || next->predecessorCount != 1) return false;
    if (!next->targets.empty()) return false;
    if (next->successor[0] != node_.successor[0]) {
      if (!node_.isUnconditional()) return false;
      graph_.setSuccessor(node_, 0, next->successor[0]);
    }
    const std::size_t before = next->matches.items.size();
    const unsigned merged = mergeMatches(node_.matches, next->matches);
    if (next->matches.items.size() != before) areTextsMoved_ = true;
    if (next->isUnconditional() && next->successor[0] != nullptr) {
      graph_.setSuccessor(*next, 0, nullptr);
    }
    return merged != 0;
  }

  Graph& graph_;
  Node& node_;
  bool areTextsMoved_ = false;
};

// The nodes in topological order, with the edges as they were when the sort was made. It holds its
// nodes: one that nothing leads to any more still counts as predecessor, until the release.
class TopologicalSort {
 public:
  TopologicalSort(Graph& graph, Node* first)
      : graph_(graph), first_(first), nodes_(reachableNodes()), vertices_(graph.size()) {
    for (const Node* node : nodes_) {
      vertexOf(node).successor = node->successor;
      for (const Node* successor : node->successor) {
        if (successor != nullptr) ++vertexOf(successor).pendingPredecessors;
      }
    }
  }

  // Returns whether a node changed.
  bool simplifyNodes() {
    bool isChanged = false;
    // Control comes to every node from the first, so no other one is ready yet.
    std::deque<Node*> ready = {first_};
    while (!ready.empty()) {
      Node* const node = ready.front();
      ready.pop_front();
      for (const std::size_t index : {1U, 0U}) {
        Node* const successor = vertexOf(node).successor[index];
        if (successor == nullptr) continue;
        if (--vertexOf(successor).pendingPredecessors == 0) ready.push_back(successor);
      }
      if (NodeSimplification(graph_, *node).run()) isChanged = true;
    }
    return isChanged;
  }

  // A node that nothing holds now gives up its successors.
  void release() {
    std::vector<bool> isAlive(graph_.size(), false);
    for (const Node* node : reachableNodes()) isAlive[node->number] = true;
    for (Node* node : nodes_) {
      if (isAlive[node->number]) continue;
      graph_.setSuccessor(*node, 0, nullptr);
      graph_.setSuccessor(*node, 1, nullptr);
    }
  }

 private:
  struct Vertex {
    std::array<Node*, 2> successor = {};
    unsigned pendingPredecessors = 0;
  };

  std::vector<Node*> reachableNodes() const {
    std::vector<bool> isKnown(graph_.size(), false);
    std::vector<Node*> nodes = {first_};
    for (std::size_t i = 0; i < nodes.size(); ++i) {
      for (Node* successor : nodes[i]->successor) {
        if (successor == nullptr || isKnown[successor->number]) continue;
        isKnown[successor->number] = true;
        nodes.push_back(successor);
      }
    }
    return nodes;
  }

  Vertex& vertexOf(const Node* node) { return vertices_[node->number]; }

  Graph& graph_;
  Node* first_;
  std::vector<Node*> nodes_;
  std::vector<Vertex> vertices_;  // by node number
};

// What generation knows of a node that control can reach.
struct Record {
  const Node* node = nullptr;
  unsigned referenceCount = 0;  // edges that arrive here
  Record* join = nullptr;       // where all ways from here meet first: null for the exit
  std::size_t depth = 0;        // joins from here to the exit
  std::string chainName;
};

class Records {
 public:
  Records(const Graph& graph, const Program& program) : records_(graph.size()) {
    visit(program.first);
    // A node's successors were finished before it.
    for (Record* record : finished_) findJoin(*record);
  }

  Record& of(const Node* node) { return records_[node->number]; }

 private:
  struct Frame {
    const Node* node;
    std::vector<const Node*> successors;  // not visited yet, the next one last
  };

  Frame frameOf(const Node* node) {
    of(node).node = node;
    Frame frame{node, {}};
    for (const std::size_t index : {0U, 1U}) {
      if (node->successor[index] != nullptr) frame.successors.push_back(node->successor[index]);
    }
    return frame;
  }

  void visit(const Node* first) {
    std::vector<Frame> frames = {frameOf(first)};
    while (!frames.empty()) {
      Frame& top = frames.back();
      if (top.successors.empty()) {
        finished_.push_back(&of(top.node));
        frames.pop_back();
        continue;
      }
      const Node* const arrivedAt = top.successors.back();
      top.successors.pop_back();
      const bool isNew = of(arrivedAt).node == nullptr;
      if (isNew) frames.push_back(frameOf(arrivedAt));
      ++of(arrivedAt).referenceCount;
    }
  }

  // The place where the joins of all successors meet, from each successor on.
  void findJoin(Record& record) {
    for (const Node* successor : record.node->successor) {
      if (successor == nullptr) continue;
      Record* other = &of(successor);
      if (record.join == nullptr) record.join = other;
      while (record.join != other) {
        Record*& deeper = record.join->depth > other->depth ? record.join : other;
        deeper = deeper->join;
      }
    }
    if (record.join != nullptr) record.depth = record.join->depth + 1;
  }

  std::vector<Record> records_;  // by node number
  std::vector<Record*> finished_;
};

std::string matchesText(const MatchList& list) {
  std::string text;
  for (const Match& match : list.items) text += (text.empty() ? "" : " ") + match.text;
  return text;
}

class Generation {
 public:
  Generation(std::uint32_t& counter, const Graph& graph, const Program& program)
      : counter_(counter), records_(graph, program) {}

  std::string run(const Program& program, std::string_view chain, bool ownChain) {
    stack_.push_back({program.first, program.last, std::string(chain), ownChain});
    while (!stack_.empty()) step();
    return out_;
  }

 private:
  struct Item {
    const Node* node;
    const Node* stop;
    std::string chain;
    bool ownChain;
  };

  void step() {
    const Item item = stack_.back();
    const Node* const current = item.node;
    const Node* const join = records_.of(current).join->node;
    const bool isLastVisit = join == item.stop;
    if (isLastVisit) {
      stack_.pop_back();
    } else {
      stack_.back().node = join;
    }
    const Node* const next = current->successor[1];
    const Node* const otherwise = current->successor[0];
    const bool isBranch = !current->matches.items.empty() && otherwise != next && otherwise != join;

    std::string chain = item.chain;
    for (const std::string& target : current->targets) write("-A " + chain + " " + target + " ");
    if (isBranch && !(isLastVisit && item.ownChain)) {
      const std::string wrapper = newName();
      declare(wrapper);
      write("-A " + chain + " -j " + wrapper + " ");
      chain = wrapper;
    }

    const std::string ruleStart = "-A " + chain + " " + matchesText(current->matches);
    if (next == join) {
      if (isBranch) write(ruleStart + " -j RETURN ");
    } else if (!isBranch && next->targets.size() == 1 && next->isUnconditional() &&
               next->successor[1] == join) {
      write(ruleStart + " " + next->targets.front() + " ");
      return;
    } else {
      Record& record = records_.of(next);
      if (record.chainName.empty()) makeChain(record, join);
      write(ruleStart + (isBranch ? " -g " : " -j ") + record.chainName + " ");
    }
    if (!isBranch) return;

    Record& record = records_.of(otherwise);
    if (record.chainName.empty() && record.referenceCount > 1) makeChain(record, join);
    if (record.chainName.empty()) {
      stack_.push_back({otherwise, join, chain, true});
    } else {
      write("-A " + chain + " -g " + record.chainName + " ");
    }
  }

  void makeChain(Record& record, const Node* stop) {
    record.chainName = newName();
    stack_.push_back({record.node, stop, record.chainName, true});
    declare(record.chainName);
  }

  std::string newName() { return "ipt_compiler_" + std::to_string(counter_++); }
  void declare(const std::string& chain) { out_ += ":" + chain + " - [0:0]\n"; }
  void write(const std::string& rule) { out_ += rule + "-m comment --comment ipt_compiler\n"; }

  std::uint32_t& counter_;
  Records records_;
  std::vector<Item> stack_;
  std::string out_;
};

}  // namespace

Node* Graph::makeProxy() {
  Node& node = nodes_.emplace_back();
  node.number = nodes_.size() - 1;
  return &node;
}

void Graph::setSuccessor(Node& node, std::size_t index, Node* target) {
  if (isRemembering_) before_.push_back({&node, node.successor});
  if (node.successor[index] != nullptr) --node.successor[index]->predecessorCount;
  node.successor[index] = target;
  if (target != nullptr) ++target->predecessorCount;
}

void Graph::rememberEdges() {
  isRemembering_ = true;
  before_.clear();
}

bool Graph::areEdgesDifferent() const {
  std::vector<const Node*> known;
  return std::ranges::any_of(before_, [&](const Edges& edges) {
    // Of several entries for a node the first one tells.
    if (std::ranges::count(known, edges.node) > 0) return false;
    known.push_back(edges.node);
    return edges.node->successor != edges.successor;
  });
}

Program copyOf(Graph& graph, const tavrix::IptProg& program) {
  const NodeNumbers numbers(*program.first);
  std::vector<Node*> nodes;
  for (std::size_t i = 0; i < numbers.size(); ++i) {
    Node* const node = nodes.emplace_back(graph.makeProxy());
    for (const tavrix::IptTarget& target : numbers[i].targets()) {
      node->targets.push_back(target.text);
    }
    for (const tavrix::IptMatch& match : numbers[i].matches().items) {
      node->matches.items.push_back({tavrix::matchKind(match), tavrix::matchText(match)});
      ++node->matches.elementCount;
    }
  }
  for (std::size_t i = 0; i < numbers.size(); ++i) {
    for (const std::size_t index : {0U, 1U}) {
      const tavrix::ProxyIrNode::Pointer& target = numbers[i].successor[index];
      if (target) graph.setSuccessor(*nodes[i], index, nodes[numbers.of(*target)]);
    }
  }
  return {nodes[numbers.of(*program.first)], nodes[numbers.of(*program.last)]};
}

void simplify(Graph& graph, Program& program) {
  Node* const exit = graph.makeProxy();
  exit->isExit = true;
  graph.setSuccessor(*program.last, 1, exit);
  program.last = exit;
  for (bool isChanged = true; isChanged;) {
    TopologicalSort sort(graph, program.first);
    isChanged = sort.simplifyNodes();
    sort.release();
  }
}

std::string generate(std::uint32_t& counter, const Graph& graph, const Program& program,
                     std::string_view chain, bool ownChain) {
  return Generation(counter, graph, program).run(program, chain, ownChain);
}

}  // namespace test_support::literal
