// What building and compiling allocates, by a counting operator new: this is a program of its own.
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdlib>
#include <new>

#include "ipt_compiler/export/ipt_lang.h"
#include "ipt_compiler/rule_model.h"

namespace {

std::ptrdiff_t living = 0;

}  // namespace

void* operator new(std::size_t size) {
  void* const memory = std::malloc(size);
  if (memory == nullptr) throw std::bad_alloc();
  ++living;
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

}  // namespace
}  // namespace tavrix
