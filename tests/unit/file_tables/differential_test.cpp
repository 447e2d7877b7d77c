// Holds the file tables against the legacy tools: the same texts must end with the same exit
// status and leave the same chains, policies and numbers of rules.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/unit/file_tables/kernel_tables.h"
#include "tests/unit/file_tables/restore_cases.h"

namespace file_tables {
namespace {

class FileTablesBesideTheKernel : public testing::TestWithParam<Family> {
 protected:
  void SetUp() override {
    const std::string obstacle = kernelTablesObstacle();
    if (!obstacle.empty()) {
      GTEST_SKIP() << obstacle;
    }
  }

  static void expectSameOutcomes(const std::vector<std::string>& texts) {
    const std::vector<RestoreOutcome> kernel = restoreInKernel(GetParam(), texts);
    const std::vector<RestoreOutcome> files = restoreInMemory(GetParam(), texts);
    for (std::size_t index = 0; index < texts.size(); ++index) {
      EXPECT_EQ(files[index].exitStatus, kernel[index].exitStatus)
          << texts[index] << "kernel: " << kernel[index].message
          << "\nfiles: " << files[index].message;
      EXPECT_EQ(files[index].tables.chains, kernel[index].tables.chains) << texts[index];
    }
  }
};

TEST_P(FileTablesBesideTheKernel, DecideAlikeOnLinesChainsAndTables) {
  expectSameOutcomes(structureCases(GetParam()));
}

TEST_P(FileTablesBesideTheKernel, DecideAlikeOnRuleOptions) {
  expectSameOutcomes(ruleOptionCases(GetParam()));
}

TEST_P(FileTablesBesideTheKernel, DecideAlikeOnMatches) {
  expectSameOutcomes(matchCases(GetParam()));
}

TEST_P(FileTablesBesideTheKernel, DecideAlikeOnTargets) {
  expectSameOutcomes(targetCases(GetParam()));
}

TEST_P(FileTablesBesideTheKernel, DecideAlikeOnSets) {
  const std::string obstacle = ipsetObstacle();
  if (!obstacle.empty()) {
    GTEST_SKIP() << obstacle;
  }
  expectSameOutcomes(setCases(GetParam()));
}

// Keeps the list of differences true: a row that has become equal must go.
TEST_P(FileTablesBesideTheKernel, DifferOnlyWhereTheListSaysSo) {
  const std::vector<Difference> differences = deliberateDifferences(GetParam());
  std::vector<std::string> texts;
  texts.reserve(differences.size());
  for (const Difference& difference : differences) {
    texts.push_back(difference.text);
  }
  const std::vector<RestoreOutcome> kernel = restoreInKernel(GetParam(), texts);
  const std::vector<RestoreOutcome> files = restoreInMemory(GetParam(), texts);
  for (std::size_t index = 0; index < texts.size(); ++index) {
    const bool equal = files[index].exitStatus == kernel[index].exitStatus &&
                       files[index].tables == kernel[index].tables;
    EXPECT_FALSE(equal) << texts[index] << differences[index].reason;
  }
}

INSTANTIATE_TEST_SUITE_P(, FileTablesBesideTheKernel, testing::Values(Family::Ipv4, Family::Ipv6),
                         [](const testing::TestParamInfo<Family>& family) {
                           return std::string(toolFamilyName(family.param));
                         });

}  // namespace
}  // namespace file_tables
