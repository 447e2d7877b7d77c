// The graphs of programs that cannot be tried all: random ones, from fixed seeds and a fresh one in
// every run, and those of the rule sets for every configuration that other tests and the examples
// have.
#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <random>
#include <string>

#include "tests/support/configuration.h"
#include "tests/support/graph_checks.h"
#include "tests/support/hooked_chains.h"
#include "tests/support/random_source.h"

namespace test_support {
namespace {

constexpr std::array<std::size_t, 7> kSizes = {2, 5, 10, 20, 50, 100, 200};
constexpr std::uint64_t kSeeds = 40;

void print(const char* what, std::size_t programs, const GraphChecks& graphs) {
  std::cout << what << ": " << programs << " programs, " << graphs.packets() << " packets, "
            << graphs.distinctGraphs() << " graphs, " << graphs.emptiedJunctions()
            << " emptied junctions\n";
}

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
  print("random graphs", kSizes.size() * (kSeeds + 1), graphs);
}

bool isConfiguration(const std::filesystem::path& file) {
  return file.filename() == "config" || file.extension() == ".config" ||
         file.filename() == "firewall_cpp";
}

TEST(ProgramsOfTheRuleSets, AreSimplifiedToTheSameProgramAndPostDominatedAsBoostSays) {
  GraphChecks graphs;
  std::size_t programs = 0;
  for (const char* directory : {TESTS_DIR, EXAMPLES_DIR}) {
    for (const auto& entry : std::filesystem::recursive_directory_iterator(directory)) {
      if (!entry.is_regular_file() || !isConfiguration(entry.path())) continue;
      SCOPED_TRACE(entry.path());
      std::ifstream file(entry.path());
      setConfiguration(std::string(std::istreambuf_iterator<char>(file), {}));
      for (const HookedChain& hook : kHookedChains) {
        ASSERT_EQ(graphs.check(hook.makeProgram()), "") << hook.table << ' ' << hook.chain;
        ++programs;
      }
    }
  }
  EXPECT_GE(programs, 13 * kHookedChains.size());
  print("rule sets", programs, graphs);
}

}  // namespace
}  // namespace test_support
