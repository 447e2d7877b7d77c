// The product's chains for random programs, byte for byte against those that a second compiler
// makes of the same graph, step by step: see support/literal_compiler.h. The programs are rich in
// what makes simplification hard: family selectors that stand twice, and match modules. The second
// compiler is checked first, against texts written by hand.
//
// The seeds are fixed. A longer run, with other seeds in every repetition:
//   literal_test --gtest_shuffle --gtest_random_seed=1 --gtest_repeat=20
#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <functional>
#include <iostream>
#include <optional>
#include <random>
#include <sstream>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "ipt_compiler/chain_generation.h"
#include "ipt_compiler/export/ipt_lang.h"
#include "tests/support/literal_compiler.h"
#include "tests/support/random_source.h"
#include "tests/support/rule_source.h"

namespace test_support {
namespace {

using literal::Graph;
using literal::Program;

using Tokens = std::vector<std::string>;

// Where a program stands.
struct Place {
  std::optional<Tokens> matches = {};  // those of the queue rule set, when it stands inside that
  bool ownChain = false;               // the chain holds nothing else
};

constexpr std::string_view kChain = "FORWARD";

// The program of the tokens, or, with matches, what the queue rule set makes of both.
tavrix::IptProg programOf(const Tokens& tokens, const std::optional<Tokens>& matches) {
  if (!matches) return buildProgram(tokens);
  const tavrix::IptTokens words(matches->begin(), matches->end());
  tavrix::IptTokenPosition position = words.begin();
  return tavrix::If(tavrix::makeConstCond(true))
      .then({buildProgram(tokens),
             tavrix::If(tavrix::parseSerializedMatches(position, words.end()))
                 .then({tavrix::makeTarget("-j NFQUEUE --queue-num 0", "", 0)})});
}

struct Texts {
  std::string product;
  std::string literal;
};

// What both make of one program.
Texts textsOf(const Tokens& tokens, const Place& place) {
  tavrix::IptProg program = programOf(tokens, place.matches);
  Graph graph;
  Program copy = copyOf(graph, program);
  std::uint32_t counter = 0;
  std::ostringstream product;
  tavrix::compileHook(counter, product, program, kChain, place.ownChain);
  counter = 0;
  simplify(graph, copy);
  return {product.str(), generate(counter, graph, copy, kChain, place.ownChain)};
}

bool differs(const Tokens& tokens, const Place& place) {
  const Texts texts = textsOf(tokens, place);
  return texts.product != texts.literal;
}

std::string describe(const Tokens& tokens, const Place& place) {
  std::string text = place.matches ? "before the queue" : "alone";
  text += place.ownChain ? ", in a chain of its own:" : ":";
  for (const std::string& token : tokens) text += " \"" + token + "\"";
  const Texts texts = textsOf(tokens, place);
  return text + "\nproduct:\n" + texts.product + "\nliteral:\n" + texts.literal;
}

std::string describe(const ProgramSource& program, const Place& place) {
  const Tokens smallest = tokensOf(shrink(
      program, [&](const ProgramSource& smaller) { return differs(tokensOf(smaller), place); }));
  return describe(smallest, place);
}

// By hand.

constexpr std::string_view kTag = " -m comment --comment ipt_compiler\n";

// The lines with the tag after each rule.
std::string tagged(const Tokens& lines) {
  std::string text;
  for (const std::string& line : lines) {
    text += line + (line.starts_with(":") ? std::string(" - [0:0]\n") : std::string(kTag));
  }
  return text;
}

TEST(LiteralCompiler, WritesWhatIsExpectedByHand) {
  struct Case {
    Tokens tokens;
    Tokens lines;  // in a chain that it shares
  };
  const Case cases[] = {
      {{}, {}},
      {{"-j A", "-j B"}, {"-A FORWARD -j A", "-A FORWARD -j B"}},
      // Junctions between two rules.
      {{"-j A", "IF", "THEN", "FI", "-j B"}, {"-A FORWARD -j A", "-A FORWARD -j B"}},
      {{"IF", "-p y", "THEN", "-j A", "FI"}, {"-A FORWARD -p y -j A"}},
      {{"IF", "-p y", "THEN", "-j A", "-j B", "FI"},
       {":ipt_compiler_0", "-A FORWARD -p y -j ipt_compiler_0", "-A ipt_compiler_0 -j A",
        "-A ipt_compiler_0 -j B"}},
      {{"IF", "-p y", "THEN", "-j A", "ELSE", "-j B", "FI"},
       {":ipt_compiler_0", "-A FORWARD -j ipt_compiler_0", ":ipt_compiler_1",
        "-A ipt_compiler_0 -p y -g ipt_compiler_1", "-A ipt_compiler_0 -j B",
        "-A ipt_compiler_1 -j A"}},
      // Two tests of a protocol cannot fuse, so two ways lead to B.
      {{"IF", "-p y", "AND", "-p z", "THEN", "-j A", "ELSE", "-j B", "FI"},
       {":ipt_compiler_0", "-A FORWARD -j ipt_compiler_0", ":ipt_compiler_1",
        "-A ipt_compiler_0 -p y -g ipt_compiler_1", ":ipt_compiler_2",
        "-A ipt_compiler_0 -g ipt_compiler_2", "-A ipt_compiler_2 -j B", ":ipt_compiler_3",
        "-A ipt_compiler_1 -p z -g ipt_compiler_3", "-A ipt_compiler_1 -g ipt_compiler_2",
        "-A ipt_compiler_3 -j A"}},
      {{"IF", "NOT-p y", "THEN", "-j A", "FI"},
       {":ipt_compiler_0", "-A FORWARD -j ipt_compiler_0", "-A ipt_compiler_0 -p y -j RETURN",
        "-A ipt_compiler_0 -j A"}},
      // Both ways lead to the same node.
      {{"IF", "-p y", "THEN", "FI"}, {}},
      {{"-j A", "IF", "-p y", "THEN", "FI"}, {"-A FORWARD -j A"}},
      // Two tests with the same way out become one, ordered by kind.
      {{"IF", "-s z", "AND", "-p y", "THEN", "-j A", "FI"}, {"-A FORWARD -p y -s z -j A"}},
      {{"IF", "-m d", "THEN", "IF", "-p y", "THEN", "-j A", "FI", "FI"},
       {"-A FORWARD -p y -m d -j A"}},
      {{"IF", "(", ")", "THEN", "-j A", "ELSE", "-j B", "FI"}, {"-A FORWARD -j A"}},
      {{"IF", "NOT", "THEN", "-j A", "ELSE", "-j B", "FI"}, {"-A FORWARD -j B"}},
  };
  for (const Case& one : cases) {
    EXPECT_EQ(textsOf(one.tokens, {}).literal, tagged(one.lines));
    EXPECT_FALSE(differs(one.tokens, {})) << describe(one.tokens, {});
  }
}

// Control may fall off the end of a chain that holds nothing else, so there is no chain around the
// branch.
TEST(LiteralCompiler, NeedsNoChainAroundABranchInAChainOfItsOwn) {
  const Tokens tokens = {"IF", "-p y", "THEN", "-j A", "ELSE", "-j B", "FI"};
  EXPECT_EQ(textsOf(tokens, {std::nullopt, true}).literal,
            tagged({":ipt_compiler_0", "-A FORWARD -p y -g ipt_compiler_0", "-A FORWARD -j B",
                    "-A ipt_compiler_0 -j A"}));
}

// An edge is bypassed and put back, and only the modules that moved meanwhile are a change. The
// block ends with B for every packet that reaches it, without a chain for it.
TEST(LiteralCompiler, CountsAnUndoneBypassAsAChangeWhenModulesMoved) {
  const Tokens tokens = {"IF",   "-4 -m d", "AND",  "-4 -4", "AND",  "(",  "-4",   "AND",  "-m d",
                         "AND",  "-m d",    ")",    "THEN",  "ELSE", "IF", "-p y", "THEN", "IF",
                         "-p y", "AND",     "-s z", "THEN",  "FI",   "FI", "-j B", "FI"};
  EXPECT_EQ(textsOf(tokens, {Tokens{}, false}).literal,
            tagged({":ipt_compiler_0", "-A FORWARD -j ipt_compiler_0", ":ipt_compiler_1",
                    "-A ipt_compiler_0 -4 -m d -m d -m d -g ipt_compiler_1",
                    "-A ipt_compiler_0 -j B", "-A FORWARD -j NFQUEUE --queue-num 0"}));
  for (const Place& place : {Place{}, Place{Tokens{}, false}, Place{Tokens{}, true}}) {
    EXPECT_FALSE(differs(tokens, place)) << describe(tokens, place);
  }
}

// Random.

class RandomProgram {
 public:
  explicit RandomProgram(std::uint64_t seed) : seed_(seed), random_(seed) {}

  // Of every kind of text.
  ProgramSource general() { return randomProgram(seed_, size(), allKindsOfTexts()); }

  // With family selectors and match modules, and with conditions that drive element counts to 0 and
  // then move modules.
  ProgramSource ofFamiliesAndModules() {
    static const RandomTexts kTexts = {
        {"-4", "-4 -4", "! -4", "--ipv4 -m d", "-6", "-6 -6", "! --ipv6", "-4 -6", "-6 -m e",
         "-m d", "-m e -m d", "-p y", "-p y -m d", "-s z"},
        {"-j A", "-j B", "-m c --inc "},
        true};
    ProgramSource program = randomProgram(seed_, size(), kTexts);
    growChainsIn(program);
    return program;
  }

 private:
  std::size_t below(std::size_t end) { return static_cast<std::size_t>(random_() % end); }

  // Mostly small: what differs at all does so in small programs too, and those take less time.
  std::size_t size() { return below(25) == 0 ? 9 + below(32) : 2 + below(6); }

  void growChainsIn(ProgramSource& program) {
    for (StatementSource& statement : program) {
      for (StatementSource::Branch& branch : statement.branches) {
        growChainsIn(branch.condition);
        growChainsIn(branch.statements);
      }
      if (statement.otherwise) growChainsIn(*statement.otherwise);
    }
  }

  void growChainsIn(ConditionSource& condition) {
    for (ConditionSource& operand : condition.operands) growChainsIn(operand);
    if (condition.kind == ConditionSource::Kind::kText && below(3) != 0) condition = chain();
  }

  // Selectors of one family and then modules, joined by AND in any order.
  ConditionSource chain() {
    static const Tokens kFamilies[] = {{"-4", "-4", "-4 -4", "-4 -m d"},
                                       {"-6", "-6 -6", "! -6", "-6 -m d -m e"}};
    static const Tokens kModules = {"-m d", "-m d", "-m e", "-m d -m e", "-p y"};
    const Tokens& family = kFamilies[below(2)];
    Tokens texts;
    for (std::size_t count = 2 + below(2); count > 0; --count) {
      texts.push_back(family[below(family.size())]);
    }
    for (std::size_t count = 1 + below(3); count > 0; --count) {
      texts.push_back(kModules[below(kModules.size())]);
    }
    return joined(texts, 0, texts.size());
  }

  ConditionSource joined(const Tokens& texts, std::size_t from, std::size_t to) {
    if (to - from == 1) return {ConditionSource::Kind::kText, texts[from], {}};
    const std::size_t middle = below(2) == 0 ? to - 1 : from + 1 + below(to - from - 1);
    ConditionSource left = joined(texts, from, middle);
    ConditionSource right = joined(texts, middle, to);
    return {ConditionSource::Kind::kAnd, {}, {std::move(left), std::move(right)}};
  }

  std::uint64_t seed_;
  std::mt19937_64 random_;
};

// A part of the seeds: those from 0, but for runs that ask for other ones.
class LiteralPrograms : public testing::TestWithParam<std::uint64_t> {
 protected:
  // Calls `use` with each of `count` seeds and a place for its program.
  static void forSeeds(std::uint64_t count,
                       const std::function<void(std::uint64_t seed, const Place&)>& use) {
    const bool isAsked = testing::GTEST_FLAG(random_seed) != 0;
    const int run = isAsked ? testing::UnitTest::GetInstance()->random_seed() : 0;
    const std::uint64_t first = (static_cast<std::uint64_t>(run) * kParts + GetParam()) * count;
    std::cout << "literal: " << count << " programs, seeds from " << first << "\n";
    const std::array<std::optional<Tokens>, 4> queues = {
        std::nullopt, Tokens{}, std::nullopt, Tokens{"-4 -m d", "OR", "-4", "AND", "-p y"}};
    for (std::uint64_t seed = first; seed < first + count && !HasFatalFailure(); ++seed) {
      use(seed, {queues[seed % queues.size()], seed / queues.size() % 2 == 0});
    }
  }

  static constexpr std::uint64_t kParts = 4;
};

TEST_P(LiteralPrograms, RichInFamiliesAndModulesGiveTheSameChains) {
  forSeeds(23'000, [](std::uint64_t seed, const Place& place) {
    const ProgramSource program = RandomProgram(seed).ofFamiliesAndModules();
    ASSERT_FALSE(differs(tokensOf(program), place)) << "seed " << seed << "\n"
                                                    << describe(program, place);
  });
}

TEST_P(LiteralPrograms, OfAllKindsOfTextsGiveTheSameChains) {
  forSeeds(3'000, [](std::uint64_t seed, const Place& place) {
    const ProgramSource program = RandomProgram(seed).general();
    ASSERT_FALSE(differs(tokensOf(program), place)) << "seed " << seed << "\n"
                                                    << describe(program, place);
  });
}

INSTANTIATE_TEST_SUITE_P(Part, LiteralPrograms, testing::Range(std::uint64_t{0}, std::uint64_t{4}));

}  // namespace
}  // namespace test_support
