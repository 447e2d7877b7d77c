// The graphs of the rule sets for every configuration that other tests and the examples have.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <string>
#include <utility>

#include "tests/support/configuration.h"
#include "tests/support/graph_checks.h"
#include "tests/support/hooked_chains.h"

namespace test_support {
namespace {

bool isConfiguration(const std::filesystem::path& file) {
  return file.extension() == ".config" || file.filename() == "firewall_cpp";
}

TEST(ProgramsOfTheRuleSets, AreSimplifiedToTheSameProgramAndPostDominatedAsBoostSays) {
  GraphChecks graphs;
  for (const char* directory : {TESTS_DIR, EXAMPLES_DIR}) {
    for (const auto& entry : std::filesystem::recursive_directory_iterator(directory)) {
      if (!entry.is_regular_file() || !isConfiguration(entry.path())) continue;
      SCOPED_TRACE(entry.path());
      std::ifstream file(entry.path());
      setConfiguration(std::string(std::istreambuf_iterator<char>(file), {}));
      for (const HookedChain& hook : kHookedChains) {
        tavrix::IptProg program = hook.makeProgram();
        const Runs runs = runsOf(program);
        ASSERT_EQ(graphs.check(std::move(program), runs), "") << hook.table << ' ' << hook.chain;
      }
    }
  }
  EXPECT_GE(graphs.programs(), 10 * kHookedChains.size());
  std::cout << "rule sets: " << graphs.counts() << "\n";
}

}  // namespace
}  // namespace test_support
