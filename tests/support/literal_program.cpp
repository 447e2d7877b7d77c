#include "tests/support/literal_program.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

#include "ipt_compiler/rule_parser.h"

namespace test_support::literal {
namespace {

using Tokens = std::vector<std::string>;

struct Condition {
  Node* trueExit;
  Node* falseExit;
  Node* entry;
};

struct IfBlock {
  Node* entry;
  Node* tail;
  Node* elseExit;
  Node* join;
};

class Builder {
 public:
  explicit Builder(Graph& graph) : graph_(graph) {}

  Program makeTarget(const std::string& text, const char* file, int line) {
    std::string parsed = tavrix::parseTarget(text, file, line).text;
    Node* const node = graph_.makeProxy();
    node->targets.push_back(std::move(parsed));
    return {node, node};
  }

  Condition makeMatches(const std::string& text, const char* file, int line) {
    MatchList list;
    for (const tavrix::IptMatch& match : tavrix::parseMatches(text, file, line).items) {
      list.items.push_back({tavrix::matchKind(match), tavrix::matchText(match)});
      ++list.elementCount;
    }
    return makeCondition(list);
  }

  Condition makeConstant(bool value) {
    const Condition condition = makeCondition({});
    return value ? condition : condNot(condition);
  }

  Program makeEmpty() {
    Node* const node = graph_.makeProxy();
    return {node, node};
  }

  static Condition condNot(const Condition& condition) {
    return {condition.falseExit, condition.trueExit, condition.entry};
  }

  Condition condAnd(const Condition& first, const Condition& second) {
    graph_.setNext(*first.trueExit, second.entry);
    Node* const falseExit = graph_.makeProxy();
    graph_.setNext(*first.falseExit, falseExit);
    graph_.setNext(*second.falseExit, falseExit);
    return {second.trueExit, falseExit, first.entry};
  }

  Condition condOr(const Condition& first, const Condition& second) {
    return condNot(condAnd(condNot(first), condNot(second)));
  }

  IfBlock openIf(const Condition& condition) {
    Node* const join = graph_.makeProxy();
    return {condition.entry, condition.trueExit, condition.falseExit, join};
  }

  IfBlock appendThen(const IfBlock& block, const Program& body) {
    graph_.setNext(*block.tail, body.first);
    return {block.entry, body.last, block.elseExit, block.join};
  }

  Program closeFi(const IfBlock& block) {
    graph_.setNext(*block.tail, block.join);
    graph_.setNext(*block.elseExit, block.join);
    return {block.entry, block.join};
  }

  Program closeElse(const IfBlock& block, const Program& otherwise) {
    graph_.setNext(*block.elseExit, otherwise.first);
    graph_.setNext(*block.tail, block.join);
    graph_.setNext(*otherwise.last, block.join);
    return {block.entry, block.join};
  }

  Program sequence(const Program& first, const Program& second) {
    return literal::sequence(graph_, first, second);
  }

 private:
  Condition makeCondition(const MatchList& matches) {
    Node* const whenTrue = graph_.makeProxy();
    Node* const whenFalse = graph_.makeProxy();
    Node* const entry = graph_.makeProxy();
    entry->matches = matches;
    graph_.setSuccessor(*entry, 1, whenTrue);
    graph_.setSuccessor(*entry, 0, whenFalse);
    return {whenTrue, whenFalse, entry};
  }

  Graph& graph_;
};

class Reader {
 public:
  Reader(Builder& builder, const Tokens& tokens) : build_(builder), tokens_(tokens) {}

  bool isAtEnd() const { return position_ == tokens_.size(); }

  // Takes all tokens that are left before `end`.
  Condition readCondition(std::size_t end) {
    enum class State { kAfterAnd, kAfterOr, kAfterOperand };
    Condition alternatives = build_.makeConstant(false);
    Condition together = build_.makeConstant(true);
    State state = State::kAfterAnd;
    while (position_ != end) {
      const std::string& token = tokens_[position_++];
      if (token == "AND") {
        if (state != State::kAfterOperand) failMatches();
        state = State::kAfterAnd;
      } else if (token == "OR") {
        if (state != State::kAfterOperand) failMatches();
        alternatives = build_.condOr(alternatives, together);
        together = build_.makeConstant(true);
        state = State::kAfterOr;
      } else {
        const Condition operand = readOperand(token, end);
        if (state == State::kAfterOperand) failMatches();
        together = build_.condAnd(together, operand);
        state = State::kAfterOperand;
      }
    }
    return build_.condOr(alternatives, together);
  }

  Program readStatement(bool isAfterElseif) {
    if (!isAfterElseif && tokens_[position_] != "IF") {
      return build_.makeTarget(tokens_[position_++], kFile, kTargetLine);
    }
    if (tokens_[position_] == "IF") {
      if (isAfterElseif) failTargets();
      ++position_;
    }

    const std::size_t then = findThen();
    const Condition condition = readCondition(then);
    position_ = then + 1;
    const Program body = readStatementsUntil({"ELSE", "FI", "ELSEIF"});
    const std::string& terminator = tokens_[position_++];
    if (terminator == "FI") {
      return build_.closeFi(build_.appendThen(build_.openIf(condition), body));
    }

    if (isAtEnd()) failTargets();
    const Program otherwise =
        terminator == "ELSEIF" ? readStatement(true) : readStatementsUntil({"FI"});
    if (isAtEnd()) failTargets();
    ++position_;  // the closing token, whatever it is
    return build_.closeElse(build_.appendThen(build_.openIf(condition), body), otherwise);
  }

 private:
  static constexpr const char* kFile = "./ipt_compiler/export/ipt_lang";
  static constexpr int kNegatedMatchesLine = 297;
  static constexpr int kMatchesLine = 299;
  static constexpr int kTargetLine = 349;

  [[noreturn]] static void failMatches() {
    throw std::invalid_argument("Invalid serialized matches!");
  }
  [[noreturn]] static void failTargets() {
    throw std::invalid_argument("Invalid serialized targets!");
  }

  Condition readOperand(const std::string& token, std::size_t end) {
    if (token.substr(0, 3) == "NOT") {
      return Builder::condNot(build_.makeMatches(token.substr(3), kFile, kNegatedMatchesLine));
    }
    if (token != "(") return build_.makeMatches(token, kFile, kMatchesLine);
    int depth = 1;
    std::size_t closing = position_;
    for (;; ++closing) {
      if (closing == end) failMatches();
      if (tokens_[closing] == "(") ++depth;
      if (tokens_[closing] == ")") --depth;
      if (depth == 0) break;
    }
    const Condition inside = readCondition(closing);
    position_ = closing + 1;
    return inside;
  }

  std::size_t findThen() const {
    for (std::size_t at = position_; at < tokens_.size(); ++at) {
      if (tokens_[at] == "THEN") return at;
    }
    failTargets();
  }

  // Leaves the position at the token that ends them.
  Program readStatementsUntil(const Tokens& terminators) {
    Program all = build_.makeEmpty();
    for (;;) {
      if (isAtEnd()) failTargets();
      if (std::ranges::count(terminators, tokens_[position_]) > 0) return all;
      all = build_.sequence(all, readStatement(false));
    }
  }

  Builder& build_;
  const Tokens& tokens_;
  std::size_t position_ = 0;
};

}  // namespace

Node* Graph::makeProxy() {
  Node& node = nodes_.emplace_back();
  node.number = nodes_.size() - 1;
  return &node;
}

void Graph::setNext(Node& node, Node* target) {
  if (node.successor[1] != nullptr) {
    throw std::logic_error("IPT compiler: Internal error. setNext() twice.");
  }
  setSuccessor(node, 1, target);
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

Program sequence(Graph& graph, const Program& a, const Program& b) {
  graph.setNext(*a.last, b.first);
  return {a.first, b.last};
}

Program readProgram(Graph& graph, const Tokens& tokens) {
  Builder builder(graph);
  Reader reader(builder, tokens);
  Program all = builder.makeEmpty();
  while (!reader.isAtEnd()) all = builder.sequence(all, reader.readStatement(false));
  return all;
}

Program readQueueProgram(Graph& graph, const Tokens& preTargets, const Tokens& matches) {
  Builder builder(graph);
  const IfBlock outer = builder.openIf(builder.makeConstant(true));
  const Program statements = readProgram(graph, preTargets);
  Reader reader(builder, matches);
  const IfBlock inner = builder.openIf(reader.readCondition(matches.size()));
  const Program queue = builder.makeTarget("-j NFQUEUE --queue-bypass --queue-num 0", "", 0);
  const Program decision = builder.closeFi(builder.appendThen(inner, queue));
  return builder.closeFi(builder.appendThen(outer, builder.sequence(statements, decision)));
}

}  // namespace test_support::literal
