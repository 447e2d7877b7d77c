// The configuration that a failing comparison of a random program prints can be run: the kernel's
// tools take it in both address families, and hold the rules of that very program.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "ipt_compiler/chain_generation.h"
#include "tests/router/product_run.h"
#include "tests/support/chain_walker.h"
#include "tests/support/random_source.h"
#include "tests/support/runnable_source.h"

namespace product_test {
namespace {

using test_support::ChainRule;
using test_support::Chains;
using test_support::ProgramSource;

using RunnablePrograms = ProductTest;
INSTANTIATE_TEST_SUITE_P(Kinds, RunnablePrograms, testing::Values("legacy", "nft"),
                         [](const auto& kind) { return kind.param; });

struct Family {
  std::array<std::string_view, 2> words;       // that select it
  std::array<std::string_view, 2> otherWords;  // that select the other one
};
constexpr std::array<Family, 2> kFamilies = {
    {{{"-4", "--ipv4"}, {"-6", "--ipv6"}}, {{"-6", "--ipv6"}, {"-4", "--ipv4"}}}};

bool selects(const std::string& match, const std::array<std::string_view, 2>& words) {
  return std::ranges::any_of(words, [&](std::string_view word) { return match.ends_with(word); });
}

// The rules of mangle as the family's save tool tells them: without those for the other family,
// and without the words that select one or set counters.
Chains expectedChains(const ProgramSource& program, const Family& family) {
  std::vector<std::string> tokens = tokensOf(program);
  tokens.emplace_back("-j NFQUEUE --queue-num 0 --queue-bypass");
  std::ostringstream text;
  text << ":OUTPUT - [0:0]\n:PREROUTING - [0:0]\n";
  std::uint32_t counter = 0;
  for (const char* chain : {"OUTPUT", "PREROUTING"}) {
    tavrix::IptProg built = test_support::buildProgram(tokens);
    tavrix::compileHook(counter, text, built, chain, false);
  }
  Chains chains = test_support::parseChains(text.str());
  for (auto& [name, rules] : chains) {
    std::erase_if(rules, [&](const ChainRule& rule) {
      return std::ranges::any_of(rule.matches, [&](const std::string& match) {
        return selects(match, family.otherWords);
      });
    });
    for (ChainRule& rule : rules) {
      std::erase_if(rule.matches, [&](const std::string& match) {
        return selects(match, family.words) || match.starts_with("-c ");
      });
    }
  }
  return chains;
}

std::string textOf(const Chains& chains) {
  std::string text;
  for (const auto& [name, rules] : chains) {
    text += name + ":\n";
    for (const ChainRule& rule : rules) {
      for (const std::string& match : rule.matches) text += "  " + match;
      text += "  " + rule.target + "\n";
    }
  }
  return text;
}

TEST_P(RunnablePrograms, AreTheRulesOfTheKernelInBothFamilies) {
  for (const std::uint64_t seed : {1U, 2U, 3U}) {
    SCOPED_TRACE(seed);
    const ProgramSource program = withRunnableTexts(test_support::randomProgram(seed, 60));
    const std::string configuration = configurationOf(program);
    EXPECT_TRUE(configuration.starts_with("config ")) << configuration;
    const test_support::ProcessResult result =
        run(configuration, "$program; show iptables mangle; show ip6tables mangle");
    ASSERT_EQ(result.exitStatus, 0) << configuration;
    EXPECT_EQ(result.err, "");
    const std::size_t second = result.out.rfind("*mangle\n");
    for (const Family& family : kFamilies) {
      Chains chains = test_support::parseChains(
          &family == kFamilies.begin() ? result.out.substr(0, second) : result.out.substr(second));
      for (const char* empty : {"INPUT", "FORWARD", "POSTROUTING"}) chains.erase(empty);
      EXPECT_EQ(textOf(chains), textOf(expectedChains(program, family))) << configuration;
    }
  }
}

}  // namespace
}  // namespace product_test
