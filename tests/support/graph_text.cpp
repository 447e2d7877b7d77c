#include "tests/support/graph_text.h"

#include <iomanip>
#include <map>
#include <sstream>
#include <stdexcept>
#include <vector>

#include "ipt_compiler/rule_parser.h"

namespace test_support {

using tavrix::ProxyIrNode;
using tavrix::_IptIrNode::kNext;
using tavrix::_IptIrNode::kNoMatch;

NodeNumbers::NodeNumbers(const ProxyIrNode& first) {
  std::vector<const ProxyIrNode*> toVisit = {&first};
  while (!toVisit.empty()) {
    const ProxyIrNode* const node = toVisit.back();
    toVisit.pop_back();
    if (!numbers_.emplace(node, nodes_.size()).second) continue;
    nodes_.push_back(node);
    for (const std::size_t index : {kNoMatch, kNext}) {
      if (node->successor[index]) toVisit.push_back(node->successor[index].get());
    }
  }
}

std::string graphText(const ProxyIrNode::Pointer& first) {
  const NodeNumbers nodes(*first);
  std::ostringstream text;
  for (std::size_t i = 0; i < nodes.size(); ++i) {
    const ProxyIrNode& node = nodes[i];
    text << i << ':';
    for (const tavrix::IptTarget& target : node.targets()) text << " \"" << target.text << '"';
    if (node.isExit) text << " exit";
    if (!node.matches().items.empty()) text << " if \"" << matchesText(node.matches()) << '"';
    if (node.matches().elementCount != node.matches().items.size()) {
      text << " (count " << node.matches().elementCount << ')';
    }
    if (node.successor[kNext]) text << " then " << nodes.of(*node.successor[kNext]);
    if (node.successor[kNoMatch]) text << " else " << nodes.of(*node.successor[kNoMatch]);
    if (!node.successor[kNext] && !node.successor[kNoMatch]) text << " end";
    text << '\n';
  }
  return text.str();
}

ProxyIrNode::Pointer graphOf(const std::string& text) {
  std::map<std::size_t, ProxyIrNode::Pointer> nodes;
  const auto nodeOf = [&nodes](std::istringstream& words) {
    std::size_t number = 0;
    if (!(words >> number)) throw std::runtime_error("no number of a node");
    ProxyIrNode::Pointer& node = nodes[number];
    if (!node) node = tavrix::makeProxy();
    return node;
  };
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) {
    std::istringstream words(line);
    const ProxyIrNode::Pointer node = nodeOf(words);
    words.ignore();  // the colon
    bool isCondition = false;
    for (std::string word; words >> std::ws && !words.eof();) {
      if (words.peek() == '"') {
        words >> std::quoted(word);
        if (isCondition) {
          node->makeContent().matches = tavrix::parseMatches(word, "graph", 1);
        } else {
          node->makeContent().targets.push_back(tavrix::parseTarget(word, "graph", 1));
        }
        continue;
      }
      words >> word;
      if (word == "if") {
        isCondition = true;
      } else if (word == "(count") {
        words >> node->makeContent().matches.elementCount;
        words.ignore();  // the parenthesis
      } else if (word == "then") {
        node->setSuccessor(kNext, nodeOf(words));
      } else if (word == "else") {
        node->setSuccessor(kNoMatch, nodeOf(words));
      } else if (word == "exit") {
        node->isExit = true;
      } else if (word != "end") {
        throw std::runtime_error("unknown word in a graph: " + word);
      }
    }
  }
  return nodes.at(0);
}

std::string wrongPredecessorCounts(const ProxyIrNode::Pointer& first) {
  return wrongPredecessorCounts(NodeNumbers(*first));
}

std::string wrongPredecessorCounts(const NodeNumbers& nodes) {
  std::vector<std::size_t> pointing(nodes.size(), 0);
  for (std::size_t i = 0; i < nodes.size(); ++i) {
    for (const ProxyIrNode::Pointer& successor : nodes[i].successor) {
      if (successor) ++pointing[nodes.of(*successor)];
    }
  }
  std::ostringstream text;
  for (std::size_t i = 0; i < nodes.size(); ++i) {
    if (nodes[i].predecessorCount == pointing[i]) continue;
    text << "node " << i << " counts " << nodes[i].predecessorCount << ", has " << pointing[i]
         << '\n';
  }
  return text.str();
}

std::string listText(const tavrix::IptMatchList& list) {
  std::ostringstream text;
  for (const tavrix::IptMatch& match : list.items) {
    if (&match != &list.items.front()) text << " | ";
    text << tavrix::matchKind(match) << ' ' << tavrix::matchText(match);
  }
  if (list.elementCount != list.items.size()) text << " (count " << list.elementCount << ')';
  return text.str();
}

}  // namespace test_support
