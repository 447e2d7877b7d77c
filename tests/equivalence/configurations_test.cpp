// Random configurations of both rule sets: for each hooked chain, the program that the rule sets
// make of the configuration and the chains generated from it say the same, and its graph is right.
// Fixed seeds, and a fresh one in every run.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <exception>
#include <iostream>
#include <optional>
#include <random>
#include <set>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>

#include "ipt_compiler/rule_model.h"
#include "tests/support/configuration.h"
#include "tests/support/graph_checks.h"
#include "tests/support/hooked_chains.h"
#include "tests/support/program_comparison.h"
#include "tests/support/random_configuration.h"

namespace test_support {
namespace {

constexpr std::uint64_t kSeeds = 250;

// The program for the present configuration; the error if there is none.
struct Made {
  std::optional<tavrix::IptProg> program;
  std::string error;
};

Made make(const HookedChain& hook) {
  try {
    return {hook.makeProgram(), {}};
  } catch (const tavrix::IptCompileFailed& error) {
    return {{}, error.what()};
  } catch (const std::invalid_argument& error) {
    return {{}, error.what()};
  }
}

struct Checks {
  std::uint64_t errors = 0;  // configurations that are no program for a chain
  GraphChecks graphs;
};

std::string check(const HookedChain& hook, tavrix::IptProg program, GraphChecks& graphs) {
  try {
    const Runs runs = runsOf(program);
    const std::string wrong = graphs.check(std::move(program), runs);
    const auto difference = findDifference(runs, hook.makeProgram(), hook.chain);
    return difference ? wrong + describe(*difference) : wrong;
  } catch (const std::exception& error) {
    return std::string("thrown: ") + error.what() + "\n";
  }
}

// Returns what is wrong, empty if nothing is. A program for which the compiler throws is wrong.
std::string check(const std::string& configuration, Checks& checks) {
  setConfiguration(configuration);
  std::string wrong;
  for (const HookedChain& hook : kHookedChains) {
    Made made = make(hook);
    if (!made.program) {
      ++checks.errors;
      continue;
    }
    const std::string found = check(hook, *std::exchange(made.program, {}), checks.graphs);
    if (found.empty()) continue;
    wrong += std::string(hook.table) + ' ' + std::string(hook.chain) + ": " + found;
  }
  return wrong;
}

TEST(RandomConfigurations, GiveChainsThatMeanWhatTheirProgramsMean) {
  const std::uint64_t fresh = std::random_device()();
  std::cout << "configurations: " << kSeeds + 1 << " seeds, fresh one " << fresh << "\n";
  Checks checks;
  for (std::uint64_t seed = 0; seed <= kSeeds; ++seed) {
    const std::uint64_t used = seed == 0 ? fresh : seed;
    const std::string configuration = randomConfiguration(used);
    if (check(configuration, checks).empty()) continue;
    const std::string smallest = shrinkConfiguration(
        configuration, [&](const std::string& smaller) { return !check(smaller, checks).empty(); });
    FAIL() << "seed " << used << "\n" << smallest << check(smallest, checks);
  }
  std::cout << "configurations: " << checks.graphs.counts() << "; " << checks.errors
            << " more are no program\n";
  EXPECT_LT(checks.errors, checks.graphs.programs() / 10);
}

// A rule text without the value at its end, and an error without what it quotes.
std::string beginningOf(const std::string& text, const std::set<std::string>& beginnings) {
  const auto found = std::ranges::find_if(
      beginnings, [&](const std::string& beginning) { return text.starts_with(beginning); });
  return found == beginnings.end() ? text : *found;
}

TEST(RandomConfigurations, MeetEveryTargetAndEveryErrorOfTheRuleSets) {
  const std::set<std::string> targets = {"-j MARK --set-xmark ",
                                         "-j MARK --set-mark 0x20/0x20",
                                         "-j NFQUEUE --queue-bypass --queue-balance ",
                                         "-j NFQUEUE --queue-bypass --queue-num ",
                                         "-j REDIRECT --to-ports 8099",
                                         "-j REJECT --reject-with tcp-reset",
                                         "-j SET --add-set ",
                                         "-m tavrix-conndurvan --mark",
                                         "-m tavrix-connlabel --set --label ",
                                         "-m tavrix-connlabel --set --mark 0x1 --label ",
                                         "-m tavrix-connstat --set --stat-node ",
                                         "-m tavrix-xtcounter --inc "};
  const std::set<std::string> errors = {
      "./ipt_compiler/export/ipt_lang:", "Invalid serialized matches!",
      "Invalid serialized targets!", "firewall_cpp/kovsel/kovsel:", "kovsel: user "};
  std::set<std::string> met;
  std::set<std::string> thrown;
  for (std::uint64_t seed = 1; seed <= kSeeds; ++seed) {
    setConfiguration(randomConfiguration(seed));
    for (const HookedChain& hook : kHookedChains) {
      const Made made = make(hook);
      if (!made.program) {
        thrown.insert(beginningOf(made.error, errors));
        continue;
      }
      const MatchNumbers numbers = matchNumbersOf(*made.program);
      for (const Packet& packet : packetsOver(numbers.size())) {
        for (const std::string& target : evaluate(*made.program, holdsIn(numbers, packet))) {
          const std::string beginning = beginningOf(target, targets);
          if (targets.contains(beginning)) met.insert(beginning);
        }
      }
    }
  }
  EXPECT_EQ(met, targets);
  EXPECT_EQ(thrown, errors);
}

// A comparison that is wrong on purpose: overlooks the generated rules with a word in them.
bool differsWithoutRulesOf(const std::string& word, const HookedChain& hook) {
  const Made made = make(hook);
  if (!made.program) return false;
  Chains chains = compiledChains(compiledText(hook.makeProgram(), hook.chain), hook.chain);
  for (auto& [name, rules] : chains) {
    std::erase_if(rules, [&](const ChainRule& rule) {
      return rule.target.find(word) != std::string::npos ||
             std::ranges::any_of(rule.matches, [&](const std::string& match) {
               return match.find(word) != std::string::npos;
             });
    });
  }
  const MatchNumbers numbers = matchNumbersOf(*made.program);
  return std::ranges::any_of(packetsOver(numbers.size()), [&](const Packet& packet) {
    const Holds holds = holdsIn(numbers, packet);
    return evaluate(*made.program, holds) != metIn(chains, hook.chain, holds);
  });
}

struct Wrong {
  std::string overlooked;
  std::size_t hook;
  std::string smallest;
};

// The first of the seeds for which the comparison fails.
TEST(AFailingConfiguration, IsShrunkToTheLinesThatItFailsFor) {
  const Wrong rows[] = {{"-g ", 0,
                         "config kovsel 'kovsel'\n"
                         "\tlist user_list '1'\n"
                         "\tlist label_user1 '4'\n"
                         "\toption mac_set_user1 'macs_a'\n"},
                        {"-g ", 1,
                         "config nfnlq 'nfnlq'\n"
                         "\toption queue_first '1'\n"
                         "\tlist queue_last '02'\n"
                         "\tlist pre_targets 'IF'\n"
                         "\tlist pre_targets 'NOT--protocol 47 -m mark ! --mark 0x2'\n"
                         "\tlist pre_targets 'OR'\n"
                         "\tlist pre_targets '! -6 ! --ipv4'\n"
                         "\tlist pre_targets 'THEN'\n"
                         "\tlist pre_targets '-j MARK --set-xmark 0x1'\n"
                         "\tlist pre_targets 'FI'\n"},
                        {"--add-set", 2,
                         "config kovsel 'kovsel'\n"
                         "\tlist user_list 'guest'\n"
                         "\tlist label_user0 '4'\n"
                         "\tlist blacklist_v4_user0 'black_a'\n"},
                        {"0x20/0x20", 4,
                         "config kovsel 'kovsel'\n"
                         "\tlist user_list '2'\n"
                         "\tlist label_user2 '5'\n"
                         "\tlist keywords_user2 'hosts_b'\n"}};
  for (const Wrong& wrong : rows) {
    const auto fails = [&wrong](const std::string& configuration) {
      setConfiguration(configuration);
      return differsWithoutRulesOf(wrong.overlooked, kHookedChains.at(wrong.hook));
    };
    std::uint64_t seed = 1;
    while (seed <= kSeeds && !fails(randomConfiguration(seed))) ++seed;
    ASSERT_LE(seed, kSeeds);
    EXPECT_EQ(shrinkConfiguration(randomConfiguration(seed), fails), wrong.smallest);
  }
}

}  // namespace
}  // namespace test_support
