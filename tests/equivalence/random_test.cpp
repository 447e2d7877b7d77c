// Random programs, larger than can be tried all: the tree, the graph that the readers build and the
// generated chains say the same, and the graph stages before the chains do what they should. Fixed
// seeds, and a fresh one in every run.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <iostream>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "ipt_compiler/rule_parser.h"
#include "tests/support/graph_checks.h"
#include "tests/support/random_source.h"

namespace test_support {
namespace {

constexpr std::array<std::size_t, 7> kSizes = {2, 5, 10, 20, 50, 100, 200};
constexpr std::uint64_t kProgramSeeds = 60;

TEST(RandomPrograms, MeanTheSameAsTreeAsGraphAndAsChainsAndAreSimplifiedToTheSame) {
  const std::uint64_t fresh = std::random_device()();
  std::cout << "random: " << kProgramSeeds + 1 << " seeds, fresh one " << fresh << "\n";
  GraphChecks graphs;
  for (const std::size_t size : kSizes) {
    for (std::uint64_t seed = 0; seed <= kProgramSeeds; ++seed) {
      const std::uint64_t used = seed == 0 ? fresh : seed;
      ASSERT_EQ(graphs.check(randomProgram(used, size)), "")
          << "seed " << used << ", size " << size;
    }
  }
  std::cout << "random: " << graphs.counts() << "\n";
}

// What a failing test prints. A comparison that takes a goto for a jump, which would come back to
// the rules after it, stands for the failure.
TEST(AFailingRandomProgram, IsPrintedAsASmallConfiguration) {
  const auto differs = [](const ProgramSource& source) {
    const tavrix::IptProg program = buildProgram(tokensOf(source));
    Chains chains =
        compiledChains(compiledText(buildProgram(tokensOf(source)), "OUTPUT"), "OUTPUT");
    for (auto& [name, rules] : chains) {
      for (ChainRule& rule : rules) rule.isGoto = false;
    }
    const MatchNumbers numbers = matchNumbersOf(program);
    return std::ranges::any_of(packetsOver(numbers.size()), [&](const Packet& packet) {
      const Holds holds = holdsIn(numbers, packet);
      return evaluate(program, holds) != metIn(chains, "OUTPUT", holds);
    });
  };
  const ProgramSource large = randomProgram(3, 60);
  ASSERT_GT(tokensOf(large).size(), 150U);
  EXPECT_EQ(configurationOf(tokensOf(shrink(large, differs))),
            "config nfnlq 'nfnlq'\n"
            "\toption queue_first '0'\n"
            "\toption queue_last '0'\n"
            "\tlist pre_targets 'IF'\n"
            "\tlist pre_targets '! -p udp'\n"
            "\tlist pre_targets 'THEN'\n"
            "\tlist pre_targets '-m mark --mark 0x1'\n"
            "\tlist pre_targets 'ELSE'\n"
            "\tlist pre_targets '-m mark --mark 0x2'\n"
            "\tlist pre_targets 'FI'\n");
}

TEST(RandomPrograms, AreOfEveryShape) {
  std::set<int> kinds;
  std::set<std::string> targetWords;
  std::set<std::string> keywords;
  int deepest = 0;
  for (std::uint64_t seed = 1; seed <= kProgramSeeds; ++seed) {
    const ProgramSource source = randomProgram(seed, kSizes.back());
    int depth = 0;
    for (const std::string& token : tokensOf(source)) {
      // An ELSEIF is a block in the ELSE of the one before it, with an end of its own.
      if (token == "FI") --depth;
      if (token == "IF" || token == "ELSEIF") deepest = std::max(deepest, ++depth);
      if (token.find_first_not_of("ABCDEFGHIJKLMNOPQRSTUVWXYZ()") == std::string::npos) {
        keywords.insert(token);
      } else if (token.starts_with("-")) {
        targetWords.insert(token.substr(0, token.find(' ')));
      }
    }
    for (const auto& [text, number] : matchNumbersOf(buildProgram(tokensOf(source)))) {
      const tavrix::IptMatchList list = tavrix::parseMatches(text, "test", 1);
      kinds.insert(tavrix::matchKind(list.items.front()));
    }
  }
  EXPECT_EQ(kinds, (std::set<int>{1, 2, 3, 4, 5, 6, 7, 8, 9, 10}));
  EXPECT_EQ(keywords, (std::set<std::string>{"(", ")", "AND", "ELSE", "ELSEIF", "FI", "IF", "NOT",
                                             "OR", "THEN"}));
  for (const char* word : {"-j", "--jump", "-m", "--match"}) {
    EXPECT_TRUE(targetWords.contains(word)) << word;
  }
  EXPECT_GE(deepest, 12);
}

TEST(RandomPrograms, TestEachFamilyOnceUnlessTheyMayRepeatIt) {
  RandomTexts repeating = allKindsOfTexts();
  repeating.repeatsFamilies = true;
  const auto conditionsOnV4 = [](const RandomTexts& texts) {
    const std::vector<std::string> tokens = tokensOf(randomProgram(1, 200, texts));
    return std::ranges::count_if(tokens, [](const std::string& token) {
      const std::vector<std::string> options =
          splitOptions(token.starts_with("NOT") ? token.substr(3) : token);
      return std::ranges::any_of(options, [](const std::string& option) {
        return option.ends_with("-4") || option.ends_with("--ipv4");
      });
    });
  };
  EXPECT_EQ(conditionsOnV4(allKindsOfTexts()), 1);
  EXPECT_GT(conditionsOnV4(repeating), 3);
}

}  // namespace
}  // namespace test_support
