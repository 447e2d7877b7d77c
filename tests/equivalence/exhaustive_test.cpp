// The readers build what the program says, the generated chains do it, and the graph stages between
// the two do what they should: every program of these families, every packet.
//
// A leaf is a text, its negation or a constant. A condition of two or three leaves joins them by
// AND and OR in every way, with parentheses only where they are needed; each leaf has a text of its
// own, in one order, and so have the conditions of a program, where nothing else is said.
//  - One block: IF with a condition of up to three leaves, THEN of no, one and two targets, no ELSE
//    and ELSE of no, one and two, with and without a target after the block.
//  - ELSEIF: IF and one ELSEIF, each with a condition of up to two leaves, with and without ELSE,
//    only targets inside. One of the texts may stand in both conditions.
//  - Nested: IF with a condition of up to two leaves, and in it, after THEN, ELSE or both, IF with
//    one leaf, with and without ELSE, alone, before and after a target. No ELSEIF.
//  - Nested ELSEIF: a block in a block, one of them or both with one ELSEIF, each with and without
//    ELSE; the inner one in every branch of the outer one, alone and after a target. Each
//    condition is one leaf.
//  - Sequence: up to three statements, each a target or IF with one leaf, with THEN of one or two
//    targets, or of one and ELSE. No ELSEIF and no block inside.
//  - Repeated: conditions over one or two texts, negated or not, one of them twice or more: in one
//    condition of two or three leaves, in kFewShapes, and in two conditions of one or two leaves,
//    nested, in ELSEIF and one after the other. Without "-4" and "-6": a duplicate of those is
//    dropped, and then the rules may mean something else than the program.
#include <gtest/gtest.h>

#include <array>
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
// cannot stand twice in a rule, modules, and mixtures. The family selectors are in the last two.
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

std::vector<ConditionSource> textOrNot(const std::string& option) {
  return {text(option), {Kind::kNegatedText, option, {}}};
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

// The leaves at three places.
using Places = std::array<std::vector<ConditionSource>, 3>;

Places leavesOf(const Texts& texts) {
  return {leaves(texts[0]), leaves(texts[1]), leaves(texts[2])};
}

std::vector<ConditionSource> conditionsOfThree(const Places& at) {
  std::vector<ConditionSource> all = combined(combined(at[0], at[1]), at[2]);
  append(all, combined(at[0], combined(at[1], at[2])));
  return all;
}

// Every condition over up to `size` of the first two texts.
std::vector<ConditionSource> conditions(const Texts& texts, int size) {
  std::vector<ConditionSource> all = leaves(texts[0]);
  if (size > 1) append(all, combined(leaves(texts[0]), leaves(texts[1])));
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

class EveryProgram : public testing::TestWithParam<Texts> {};

// How many targets stand after THEN, after ELSE (-1: there is no ELSE) and after the block.
struct Shape {
  int thenCount;
  int elseCount;
  int afterCount;
};

// A lone rule, several after a condition, an exception, and both branches.
constexpr std::array<Shape, 4> kFewShapes = {{{1, -1, 0}, {2, -1, 1}, {0, 1, 0}, {1, 2, 1}}};

std::vector<Shape> everyShape() {
  std::vector<Shape> all;
  for (const int thenCount : {0, 1, 2}) {
    for (const int elseCount : {-1, 0, 1, 2}) {
      for (const int afterCount : {0, 1}) all.push_back({thenCount, elseCount, afterCount});
    }
  }
  return all;
}

ProgramSource program(const ConditionSource& condition, const Shape& shape) {
  const ProgramSource then = targets("then", shape.thenCount);
  ProgramSource all = {shape.elseCount < 0
                           ? block(condition, then)
                           : block(condition, then, targets("else", shape.elseCount))};
  if (shape.afterCount > 0) all.push_back({"-j after", {}, {}});
  return all;
}

TEST_P(EveryProgram, OfOneBlock) {
  GraphChecks graphs;
  for (const ConditionSource& condition : conditions(GetParam(), 2)) {
    for (const Shape& shape : everyShape()) {
      ASSERT_EQ(graphs.check(program(condition, shape)), "");
    }
  }
  for (const ConditionSource& condition : conditionsOfThree(leavesOf(GetParam()))) {
    for (const Shape& shape : everyShape()) {
      ASSERT_EQ(graphs.check(program(condition, shape)), "");
    }
  }
  std::cout << "one block: " << graphs.counts() << "\n";
}

// IF c1 THEN .. ELSEIF c2 THEN .. [ELSE ..].
TEST_P(EveryProgram, OfAnElseifChain) {
  GraphChecks graphs;
  const Texts& texts = GetParam();
  for (const ConditionSource& first : conditions(texts, 2)) {
    for (const ConditionSource& second : conditions({texts[2], texts[0], texts[1]}, 2)) {
      for (const int elseCount : {-1, 1}) {
        StatementSource chain{{}, {{first, targets("a", 1)}, {second, targets("b", 2)}}, {}};
        if (elseCount >= 0) chain.otherwise = targets("c", elseCount);
        ASSERT_EQ(graphs.check({chain}), "");
      }
    }
  }
  std::cout << "ELSEIF: " << graphs.counts() << "\n";
}

// A block inside a block, in each branch and beside each kind of neighbour.
TEST_P(EveryProgram, OfABlockInABlock) {
  GraphChecks graphs;
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
            ASSERT_EQ(graphs.check(program), "");
          }
        }
      }
    }
  }
  std::cout << "nested: " << graphs.counts() << "\n";
}

// Every block with the first of the conditions, and with ELSEIF and the second one if `hasElseif`,
// with and without ELSE.
std::vector<StatementSource> blocks(const std::string& name, const Texts& texts, bool hasElseif) {
  std::vector<StatementSource> all;
  for (const ConditionSource& first : leaves(texts[0])) {
    for (const ConditionSource& second : leaves(texts[1])) {
      StatementSource made = block(first, targets(name + "then", 1));
      if (hasElseif) made.branches.push_back({second, targets(name + "elseif", 1)});
      all.push_back(made);
      made.otherwise = targets(name + "else", 1);
      all.push_back(std::move(made));
      if (!hasElseif) break;
    }
  }
  return all;
}

TEST_P(EveryProgram, OfNestedElseifChains) {
  GraphChecks graphs;
  const Texts& texts = GetParam();
  for (const auto& [outerHas, innerHas] : {std::pair(true, false), {false, true}, {true, true}}) {
    for (const StatementSource& outer : blocks("out", texts, outerHas)) {
      for (const StatementSource& inner :
           blocks("in", {texts[outerHas ? 2 : 1], outerHas ? "-d 10.0.0.2" : texts[2], {}},
                  innerHas)) {
        const std::size_t places = outer.branches.size() + (outer.otherwise ? 1 : 0);
        for (std::size_t place = 0; place < places; ++place) {
          StatementSource whole = outer;
          ProgramSource& branch =
              place < whole.branches.size() ? whole.branches[place].statements : *whole.otherwise;
          branch.push_back(inner);  // after a target
          ASSERT_EQ(graphs.check({whole}), "");
          branch = {inner};
          ASSERT_EQ(graphs.check({whole}), "");
        }
      }
    }
  }
  std::cout << "nested ELSEIF: " << graphs.counts() << "\n";
}

// Up to three statements one after another, each a target or a block.
TEST_P(EveryProgram, OfThreeStatements) {
  GraphChecks graphs;
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
  ASSERT_EQ(graphs.check({}), "");
  for (const StatementSource& a : choices[0]) {
    ASSERT_EQ(graphs.check({a}), "");
    for (const StatementSource& b : choices[1]) {
      ASSERT_EQ(graphs.check({a, b}), "");
      for (const StatementSource& c : choices[2]) {
        ASSERT_EQ(graphs.check({a, b, c}), "");
      }
    }
  }
  std::cout << "sequence: " << graphs.counts() << "\n";
}

class EveryProgramWithARepeatedText : public testing::TestWithParam<Texts> {};

TEST_P(EveryProgramWithARepeatedText, InOneCondition) {
  GraphChecks graphs;
  const auto a = textOrNot(GetParam()[0]);
  const auto b = textOrNot(GetParam()[1]);
  std::vector<ConditionSource> all = combined(a, a);
  for (const Places& places : {Places{a, a, a}, {a, a, b}, {a, b, a}, {b, a, a}}) {
    append(all, conditionsOfThree(places));
  }
  for (const ConditionSource& condition : all) {
    for (const Shape& shape : kFewShapes) {
      ASSERT_EQ(graphs.check(program(condition, shape)), "");
    }
  }
  std::cout << "repeated in a condition: " << graphs.counts() << "\n";
}

TEST_P(EveryProgramWithARepeatedText, InTwoConditions) {
  GraphChecks graphs;
  const auto a = textOrNot(GetParam()[0]);
  const auto b = textOrNot(GetParam()[1]);
  std::vector<ConditionSource> outer = a;
  append(outer, combined(a, b));
  std::vector<ConditionSource> inner = a;
  append(inner, combined(b, a));
  for (const ConditionSource& first : outer) {
    for (const ConditionSource& second : inner) {
      const StatementSource nested = block(second, targets("in", 1), targets("inelse", 1));
      const StatementSource plain = block(first, targets("out", 1));
      StatementSource chain = plain;
      chain.branches.push_back({second, targets("in", 1)});
      for (const ProgramSource& program : {ProgramSource{block(first, {nested})},
                                           {block(first, {nested}, targets("else", 1))},
                                           {block(first, targets("then", 1), {nested})},
                                           {chain},
                                           {plain, nested}}) {
        ASSERT_EQ(graphs.check(program), "");
      }
    }
  }
  std::cout << "repeated in two conditions: " << graphs.counts() << "\n";
}

INSTANTIATE_TEST_SUITE_P(Texts, EveryProgram, testing::ValuesIn(textSets()),
                         [](const auto& set) { return "set" + std::to_string(set.index); });

INSTANTIATE_TEST_SUITE_P(Texts, EveryProgramWithARepeatedText,
                         testing::ValuesIn(textSets().begin(), textSets().begin() + 4),
                         [](const auto& set) { return "set" + std::to_string(set.index); });

}  // namespace
}  // namespace test_support
