// The graphs of random programs, larger than can be tried all: fixed seeds, and a fresh one in
// every run.
#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <iostream>
#include <random>
#include <string>

#include "tests/support/graph_checks.h"
#include "tests/support/random_source.h"

namespace test_support {
namespace {

constexpr std::array<std::size_t, 7> kSizes = {2, 5, 10, 20, 50, 100, 200};
constexpr std::uint64_t kSeeds = 40;

TEST(RandomPrograms, AreSimplifiedToTheSameProgramAndPostDominatedAsBoostSays) {
  const std::uint64_t fresh = std::random_device()();
  std::cout << "random graphs: " << kSeeds + 1 << " seeds, fresh one " << fresh << "\n";
  GraphChecks graphs;
  for (const std::size_t size : kSizes) {
    for (std::uint64_t seed = 0; seed <= kSeeds; ++seed) {
      const std::uint64_t used = seed == 0 ? fresh : seed;
      const std::string wrong = graphs.check(randomProgram(used, size));
      ASSERT_EQ(wrong, "") << "seed " << used << ", size " << size;
    }
  }
  std::cout << "random graphs: " << kSizes.size() * (kSeeds + 1) << " programs, "
            << graphs.packets() << " packets, " << graphs.distinctGraphs() << " graphs, "
            << graphs.emptiedJunctions() << " emptied junctions\n";
}

}  // namespace
}  // namespace test_support
