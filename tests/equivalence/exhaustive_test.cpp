// The generated chains do what the program says, and the graph stages before them do what they
// should: every program of a family, every packet. The
// families together cover conditions over up to three texts with constants at every place, IF,
// ELSEIF and ELSE nested to depth 2, and sequences of up to three statements.
#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <iostream>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/graph_checks.h"
#include "tests/support/rule_source.h"

namespace test_support {
namespace {

using Kind = ConditionSource::Kind;

// Texts by what happens to them when two conditions are fused: of different kinds, of one kind that
// cannot stand twice in a rule, modules, and mixtures.
using Texts = std::array<std::string, 3>;
const std::vector<Texts>& textSets() {
  static const std::vector<Texts> kSets = {
      {"-p tcp", "-m mark --mark 0x1", "-s 10.0.0.1"},
      {"-m mark --mark 0x1", "-m mac --mac-source a", "-m set --match-set b src"},
      {"-p tcp", "-p udp", "-p icmp"},
      {"-m mark --mark 0x1", "-p tcp", "-p udp"},
      {"-6", "-i br-lan", "! -i br-guest"},
      {"-4", "-6", "-m mark --mark 0x1"},
  };
  return kSets;
}

ConditionSource text(const std::string& option) {
  return {Kind::kText, option, {}};
}

// A leaf at one place: the place's own text or its negation, or a constant.
std::vector<ConditionSource> leaves(const std::string& option) {
  return {text(option),
          {Kind::kNegatedText, option, {}},
          {Kind::kTrue, {}, {}},
          {Kind::kFalse, {}, {}}};
}

std::vector<ConditionSource> combined(const std::vector<ConditionSource>& left,
                                      const std::vector<ConditionSource>& right) {
  std::vector<ConditionSource> all;
  for (const Kind kind : {Kind::kAnd, Kind::kOr}) {
    for (const ConditionSource& a : left) {
      for (const ConditionSource& b : right) all.push_back({kind, {}, {a, b}});
    }
  }
  return all;
}

void append(std::vector<ConditionSource>& all, std::vector<ConditionSource> more) {
  all.insert(all.end(), std::make_move_iterator(more.begin()), std::make_move_iterator(more.end()));
}

// Every condition over up to `size` texts, in the order of the set.
std::vector<ConditionSource> conditions(const Texts& texts, int size) {
  const auto a = leaves(texts[0]);
  const auto b = leaves(texts[1]);
  const auto c = leaves(texts[2]);
  std::vector<ConditionSource> all = a;
  if (size > 1) append(all, combined(a, b));
  if (size > 2) {
    append(all, combined(combined(a, b), c));
    append(all, combined(a, combined(b, c)));
  }
  return all;
}

ProgramSource targets(const std::string& name, int count) {
  ProgramSource all;
  for (int i = 0; i < count; ++i) all.push_back({"-j " + name + std::to_string(i), {}, {}});
  return all;
}

StatementSource block(ConditionSource condition, ProgramSource body) {
  return {{}, {{std::move(condition), std::move(body)}}, {}};
}

StatementSource block(ConditionSource condition, ProgramSource body, ProgramSource otherwise) {
  return {{}, {{std::move(condition), std::move(body)}}, std::move(otherwise)};
}

// Counts what was checked and stops at the first difference.
class Checker {
 public:
  explicit Checker(std::string family) : family_(std::move(family)) {}
  ~Checker() {
    std::cout << family_ << ": " << programs_ << " programs, " << packets_ << " packets, "
              << graphs_.distinctGraphs() << " graphs, " << graphs_.emptiedJunctions()
              << " emptied junctions\n";
  }
  Checker(const Checker&) = delete;
  Checker& operator=(const Checker&) = delete;

  // Returns false when the test is to end.
  bool check(const ProgramSource& program) {
    ++programs_;
    if (const std::string wrong = graphs_.check(program); !wrong.empty()) {
      ADD_FAILURE() << wrong;
      return false;
    }
    if (!findDifference(program, packets_)) return true;
    const ProgramSource smallest = shrink(program);
    ADD_FAILURE() << describe(smallest, *findDifference(smallest, packets_));
    return false;
  }

 private:
  std::string family_;
  std::uint64_t programs_ = 0;
  std::uint64_t packets_ = 0;
  GraphChecks graphs_;
};

class EveryProgram : public testing::TestWithParam<Texts> {};

// IF with every condition, THEN and ELSE of no, one and two targets, with and without a rule behind
// the block.
TEST_P(EveryProgram, OfOneBlock) {
  Checker checker("one block");
  for (const ConditionSource& condition : conditions(GetParam(), 3)) {
    for (int thenCount = 0; thenCount <= 2; ++thenCount) {
      for (int elseCount = -1; elseCount <= 2; ++elseCount) {
        ProgramSource program = {elseCount < 0 ? block(condition, targets("then", thenCount))
                                               : block(condition, targets("then", thenCount),
                                                       targets("else", elseCount))};
        if (!checker.check(program)) return;
        program.push_back({"-j after", {}, {}});
        if (!checker.check(program)) return;
      }
    }
  }
}

// IF c1 THEN .. ELSEIF c2 THEN .. [ELSE ..].
TEST_P(EveryProgram, OfAnElseifChain) {
  Checker checker("ELSEIF");
  const Texts& texts = GetParam();
  for (const ConditionSource& first : conditions(texts, 2)) {
    for (const ConditionSource& second : conditions({texts[2], texts[0], texts[1]}, 2)) {
      for (const int elseCount : {-1, 0, 1}) {
        StatementSource chain{{}, {{first, targets("a", 1)}, {second, targets("b", 2)}}, {}};
        if (elseCount >= 0) chain.otherwise = targets("c", elseCount);
        if (!checker.check({chain})) return;
      }
    }
  }
}

// A block inside a block, in each branch and beside each kind of neighbour.
TEST_P(EveryProgram, OfABlockInABlock) {
  Checker checker("nested");
  const Texts& texts = GetParam();
  for (const ConditionSource& outer : conditions(texts, 2)) {
    for (const ConditionSource& inner : conditions({texts[2], texts[0], texts[1]}, 1)) {
      const StatementSource plain = block(inner, targets("in", 1));
      const StatementSource both = block(inner, targets("in", 2), targets("else", 1));
      const StatementSource target{"-j beside", {}, {}};
      for (const StatementSource& nested : {plain, both}) {
        for (const ProgramSource& body : {ProgramSource{nested}, ProgramSource{target, nested},
                                          ProgramSource{nested, target}}) {
          for (const ProgramSource& program : {ProgramSource{block(outer, body)},
                                               ProgramSource{block(outer, body, targets("e", 1))},
                                               ProgramSource{block(outer, targets("t", 1), body)},
                                               ProgramSource{block(outer, body, body)}}) {
            if (!checker.check(program)) return;
          }
        }
      }
    }
  }
}

// Up to three statements one after another, each a target or a block.
TEST_P(EveryProgram, OfThreeStatements) {
  Checker checker("sequence");
  const Texts& texts = GetParam();
  std::vector<std::vector<StatementSource>> choices;
  for (std::size_t place = 0; place < 3; ++place) {
    const std::string name(1, static_cast<char>('x' + place));
    std::vector<StatementSource> statements = {{"-j " + name, {}, {}}};
    for (const ConditionSource& condition : leaves(texts[place])) {
      statements.push_back(block(condition, targets(name, 1)));
      statements.push_back(block(condition, targets(name, 2)));
      statements.push_back(block(condition, targets(name, 1), targets(name + "else", 1)));
    }
    choices.push_back(std::move(statements));
  }
  if (!checker.check({})) return;
  for (const StatementSource& a : choices[0]) {
    if (!checker.check({a})) return;
    for (const StatementSource& b : choices[1]) {
      if (!checker.check({a, b})) return;
      for (const StatementSource& c : choices[2]) {
        if (!checker.check({a, b, c})) return;
      }
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Texts, EveryProgram, testing::ValuesIn(textSets()),
                         [](const auto& set) { return "set" + std::to_string(set.index); });

}  // namespace
}  // namespace test_support
