// What a household costs the router: its rules and chains in each table.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <map>
#include <sstream>
#include <string>
#include <utility>

#include "ipt_compiler/chain_generation.h"
#include "tests/support/configuration.h"
#include "tests/support/hooked_chains.h"
#include "tests/support/household.h"

namespace test_support {
namespace {

using Sizes = std::map<std::string, std::pair<std::size_t, std::uint32_t>>;

// The rules and the chains that the household makes in each table of one address family.
Sizes sizes(int users) {
  setConfiguration(household(users));
  Sizes tables;
  for (const HookedChain& hook : kHookedChains) {
    tavrix::IptProg program = hook.makeProgram();
    std::uint32_t declared = 0;
    std::ostringstream out;
    compileHook(declared, out, program, hook.chain, false);
    auto& [rules, chains] = tables[std::string(hook.table)];
    rules += static_cast<std::size_t>(std::ranges::count(out.str(), '\n')) - declared;
    chains += declared;
  }
  return tables;
}

// A change of these numbers is a change of what every router has to load.
TEST(HouseholdSize, IsThatManyRulesAndChains) {
  EXPECT_EQ(sizes(1), (Sizes{{"filter", {8, 3}}, {"mangle", {15, 6}}, {"nat", {0, 0}}}));
  EXPECT_EQ(sizes(10), (Sizes{{"filter", {186, 55}}, {"mangle", {111, 39}}, {"nat", {57, 20}}}));
  EXPECT_EQ(sizes(100),
            (Sizes{{"filter", {1852, 551}}, {"mangle", {1075, 375}}, {"nat", {575, 200}}}));
  EXPECT_EQ(sizes(1000),
            (Sizes{{"filter", {18502, 5501}}, {"mangle", {10750, 3750}}, {"nat", {5750, 2000}}}));
}

}  // namespace
}  // namespace test_support
