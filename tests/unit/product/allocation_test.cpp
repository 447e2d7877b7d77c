// What building and compiling allocates, by a counting operator new: this is a program of its own.
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdlib>
#include <new>

#include "ipt_compiler/chain_generation.h"
#include "ipt_compiler/export/ipt_lang.h"
#include "ipt_compiler/rule_model.h"
#include "tests/support/configuration.h"
#include "tests/support/hooked_chains.h"
#include "tests/support/household.h"

namespace {

std::ptrdiff_t living = 0;
std::size_t allocations = 0;
std::size_t allocatedBytes = 0;

}  // namespace

void* operator new(std::size_t size) {
  void* const memory = std::malloc(size);
  if (memory == nullptr) throw std::bad_alloc();
  ++living;
  ++allocations;
  allocatedBytes += size;
  return memory;
}
void* operator new(std::size_t size, const std::nothrow_t& /*tag*/) noexcept {
  return operator new(size);
}
void operator delete(void* memory) noexcept {
  if (memory != nullptr) --living;
  std::free(memory);
}
void operator delete(void* memory, std::size_t /*size*/) noexcept {
  operator delete(memory);
}

namespace tavrix {
namespace {

// How much memory the call keeps although it throws.
template <class Call>
std::ptrdiff_t keptByFailing(Call call) {
  const std::ptrdiff_t before = living;
  EXPECT_THROW(call(), IptCompileFailed);
  return living - before;
}

TEST(Allocation, ATextThatCannotBeReadLeavesNoNodeAlive) {
  EXPECT_EQ(keptByFailing([] { makeMatches("-p tcp wrong -j", "f", 1); }), 0);
  EXPECT_EQ(keptByFailing([] { makeMatches("-p tcp ", "f", 1); }), 0);
  EXPECT_EQ(keptByFailing([] { makeTarget("-j A -p tcp", "f", 1); }), 0);
  EXPECT_EQ(keptByFailing([] { makeMatches("-4", "f", 1) && makeMatches("wrong", "f", 2); }), 0);
  EXPECT_EQ(
      keptByFailing([] { If(makeMatches("-p tcp", "f", 1)).then({makeTarget("wrong", "f", 2)}); }),
      0);
}

// Nodes, what they hold, and texts: each of them is allocated by itself.
TEST(Allocation, ARuleOfAHouseholdTakesFewOfThem) {
  constexpr std::size_t kRules = 3502;  // of 100 users: see household_size_test.cpp
  test_support::setConfiguration(test_support::household(100));
  allocations = 0;
  for (const test_support::HookedChain& hook : test_support::kHookedChains) {
    IptProg program = hook.makeProgram();
    generate(program, hook.chain, false);
  }
  EXPECT_LT(allocations, 21 * kRules);
}

TEST(Allocation, TheTextOfAHookTakesLittleMoreThanItsLength) {
  constexpr std::string_view kRule = "-A FORWARD -j ACCEPT*\n";  // the mark is one byte
  constexpr std::size_t kRules = 20'000;
  HookText hook;
  allocatedBytes = 0;
  for (std::size_t i = 0; i < kRules; ++i) hook.addRule("FORWARD", "-j ACCEPT");
  EXPECT_LT(allocatedBytes, kRules * kRule.size() * 5 / 4);
}

}  // namespace
}  // namespace tavrix
