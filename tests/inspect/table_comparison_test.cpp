// What "diff" says of two tables, as texts, without the tools.
#include "inspect/table_comparison.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <iostream>
#include <map>
#include <random>
#include <sstream>
#include <string>
#include <vector>

namespace inspect_test {
namespace {

using Rules = std::vector<std::string>;
using Table = std::map<std::string, Rules>;  // by chain; built-in chains are in capitals

std::string textOf(const Table& table) {
  std::string text = "*filter\n";
  for (const auto& [chain, rules] : table) {
    text += ":" + chain + (std::isupper(chain[0]) != 0 ? " ACCEPT" : " -") + " [0:0]\n";
  }
  for (const auto& [chain, rules] : table) {
    for (const std::string& rule : rules) text += "-A " + chain + " " + rule + "\n";
  }
  return text + "COMMIT\n";
}

// What is said of the difference; checks that the answer goes with it.
std::string differences(const Table& live, const Table& next) {
  const auto read = [](const Table& table) {
    const std::string text = textOf(table);
    return tavrix::inspect::readTable(text, tavrix::inspect::wordsAsWritten(text));
  };
  std::ostringstream out;
  tavrix::inspect::Screen screen(out);
  const bool isSame = tavrix::inspect::showDifferences(read(live), read(next), "filter", screen);
  EXPECT_EQ(isSame, out.str().empty());
  return out.str();
}

std::string chain(std::size_t number) {
  return "ipt_compiler_" + std::to_string(number);
}

std::string jump(std::size_t number) {
  return "-j " + chain(number);
}

struct Row {
  std::string name;
  Table live;
  Table next;
  std::string said;
};

class Differences : public testing::TestWithParam<Row> {};

TEST_P(Differences, AreSaidByWhatChainsHold) {
  EXPECT_EQ(differences(GetParam().live, GetParam().next), GetParam().said);
}

INSTANTIATE_TEST_SUITE_P(
    , Differences,
    testing::Values(
        Row{"numbers",
            {{"INPUT", {"-i a " + jump(0), "-i b " + jump(1)}},
             {chain(0), {"-j X"}},
             {chain(1), {}}},
            {{"INPUT", {"-i a " + jump(1), "-i b " + jump(0)}},
             {chain(1), {"-j X"}},
             {chain(0), {}}},
            "filter\n  Another number: 2 generated chains\n"},
        Row{"order",
            {{"INPUT", {"-j X", "-j Y", "-j Z"}}},
            {{"INPUT", {"-j Y", "-j Z", "-j X"}}},
            "filter\n  INPUT\n-   -j X\n+   -j X\n"},
        Row{"mark",
            {{"INPUT", {"-j X -m comment --comment ipt_compiler"}}},
            {{"INPUT", {"-j X"}}},
            "filter\n  INPUT\n-   -j X\n+   -j X\n"},
        Row{"repeated",
            {{"INPUT", {"-j X", "-j X"}}},
            {{"INPUT", {"-j X", "-j X", "-j X"}}},
            "filter\n  INPUT\n+   -j X\n"},
        Row{"deep",
            {{"INPUT", {jump(0)}}, {chain(0), {jump(1), "-j X"}}, {chain(1), {"-j X", "-j Y"}}},
            {{"INPUT", {jump(0)}}, {chain(0), {jump(1), "-j X"}}, {chain(1), {"-j X", "-j Z"}}},
            "filter\n  INPUT\n    -j ipt_compiler_0\n      -j ipt_compiler_1\n"
            "-       -j Y\n+       -j Z\n"},
        Row{"onceForAll",
            {{"INPUT", {"-i a " + jump(0), "-i b " + jump(0)}}, {chain(0), {"-j X"}}},
            {{"INPUT", {"-i a " + jump(0), "-i b " + jump(0)}}, {chain(0), {"-j Y"}}},
            "filter\n  INPUT\n    -i a -j ipt_compiler_0\n-     -j X\n+     -j Y\n"},
        Row{"sharedNoMore",
            {{"INPUT", {"-i a " + jump(0), "-i b " + jump(0)}}, {chain(0), {"-j X"}}},
            {{"INPUT", {"-i a " + jump(0), "-i b " + jump(1)}},
             {chain(0), {"-j X"}},
             {chain(1), {"-j X"}}},
            "filter\n  INPUT\n-   -i b -j ipt_compiler_0  (whose rules stay)\n"
            "+   -i b -j ipt_compiler_1\n+     -j X\n"},
        Row{"otherWords",
            {{"INPUT", {"-i a " + jump(0)}}, {chain(0), {"-j X"}}},
            {{"INPUT", {"-i b " + jump(0)}}, {chain(0), {"-j X"}}},
            "filter\n  INPUT\n-   -i a -j ipt_compiler_0  (whose rules stay)\n"
            "+   -i b -j ipt_compiler_0  (whose rules stay)\n"},
        Row{"shownAbove",
            {{"INPUT", {}}},
            {{"INPUT", {"-i a " + jump(0), "-i b " + jump(0)}}, {chain(0), {"-j X"}}},
            "filter\n  INPUT\n+   -i a -j ipt_compiler_0\n+     -j X\n"
            "+   -i b -j ipt_compiler_0  (shown above)\n"},
        Row{"noRuleLeads",
            {{"INPUT", {}}, {chain(9), {"-j X"}}, {chain(10), {"-j Y"}}},
            {{"INPUT", {}}, {chain(9), {"-j X"}}},
            "filter\n  chains that no rule leads to\n-   ipt_compiler_10\n-     -j Y\n"},
        Row{"chain",
            {{"INPUT", {}}, {"zone", {"-j X"}}},
            {{"INPUT", {}}},
            "filter\n  zone\n-   :zone -\n-   -j X\n"}),
    [](const auto& row) { return row.param.name; });

// Chains as deep and as long as a table can be.
TEST(Thousands, OfChainsBelowEachOtherAreCompared) {
  constexpr std::size_t kDepth = 20000;
  Table live = {{"INPUT", {jump(0)}}};
  for (std::size_t i = 0; i < kDepth; ++i) live[chain(i)] = {jump(i + 1)};
  live[chain(kDepth)] = {"-j X"};
  Table next = live;
  EXPECT_EQ(differences(live, next), "");
  next[chain(kDepth)] = {"-j Y"};
  const std::string said = differences(live, next);
  EXPECT_EQ(std::ranges::count(said, '\n'), kDepth + 5);
  EXPECT_TRUE(said.ends_with("-j X\n+" + std::string(41, ' ') + "-j Y\n"));
  next = {{"INPUT", {}}};
  EXPECT_EQ(std::ranges::count(differences(live, next), '\n'), kDepth + 4);
}

TEST(Thousands, OfRulesThatAreAllOthersAreCompared) {
  constexpr std::size_t kRules = 20000;
  Table live;
  Table next;
  for (std::size_t i = 0; i < kRules; ++i) {
    live["INPUT"].push_back("-j X" + std::to_string(i));
    next["INPUT"].push_back("-j X" + std::to_string(kRules - i));
  }
  EXPECT_EQ(std::ranges::count(differences(live, next), '\n'), 2 + 2 * (kRules - 1));
}

// Few different rules, so that chains of one content are frequent. Chains lead to later ones only.
class RandomTable {
 public:
  explicit RandomTable(unsigned seed) : random_(seed) {
    const std::size_t chains = below(6);
    for (const char* name : {"INPUT", "zone"}) addRules(table_[name], 0, chains);
    for (std::size_t i = 0; i < chains; ++i) addRules(table_[chain(i)], i + 1, chains);
  }

  const Table& table() const { return table_; }
  std::size_t below(std::size_t end) { return random_() % end; }

  // One change that a table can have, or none if there is nothing to change.
  void change() {
    auto changed = std::next(table_.begin(), static_cast<std::ptrdiff_t>(below(table_.size())));
    Rules& rules = changed->second;
    const auto rule = rules.begin() + static_cast<std::ptrdiff_t>(below(rules.size() + 1));
    switch (below(4)) {
      case 0:
        rules.insert(rule, "-j X");
        break;
      case 1:
        if (rule != rules.end()) rules.erase(rule);
        break;
      case 2:
        if (rule != rules.end()) std::swap(*rule, rules.back());
        break;
      default:
        swapNumbers(below(6), below(6));
        break;
    }
  }

 private:
  void addRules(Rules& rules, std::size_t firstChain, std::size_t chains) {
    for (std::size_t count = below(4); count > 0; --count) {
      const std::size_t leadsTo = firstChain + below(4);
      const std::string match = below(2) == 0 ? "" : "-i a ";
      rules.push_back(match + (leadsTo < chains ? jump(leadsTo) : below(2) == 0 ? "-j X" : "-j Y"));
    }
  }

  // Gives two chains each other's number, where both exist: in every rule, and as names.
  void swapNumbers(std::size_t a, std::size_t b) {
    if (a == b || !table_.contains(chain(a)) || !table_.contains(chain(b))) return;
    std::swap(table_[chain(a)], table_[chain(b)]);
    for (auto& [name, rules] : table_) {
      for (std::string& rule : rules) {
        const char number = rule.back();
        if (rule.ends_with(chain(a))) rule.back() = static_cast<char>('0' + b);
        if (number == static_cast<char>('0' + b) && rule.ends_with(chain(b))) {
          rule.back() = static_cast<char>('0' + a);
        }
      }
    }
  }

  std::mt19937 random_;
  Table table_;
};

TEST(RandomTables, AreTheSameIfNothingIsSaid) {
  constexpr unsigned kSeeds = 5000;
  int same = 0;
  for (unsigned seed = 1; seed <= kSeeds; ++seed) {
    RandomTable random(seed);
    const Table live = random.table();
    for (std::size_t changes = random.below(4); changes > 0; --changes) random.change();
    const std::string said = differences(live, random.table());
    ASSERT_EQ(said.empty(), live == random.table())
        << "seed " << seed << "\n"
        << textOf(live) << textOf(random.table()) << said;
    if (said.empty()) ++same;
  }
  std::cout << "tables: " << kSeeds << " seeds, " << same << " pairs of tables that are the same\n";
  EXPECT_GT(same, kSeeds / 10);
  EXPECT_LT(same, kSeeds / 4 * 3);
}

}  // namespace
}  // namespace inspect_test
