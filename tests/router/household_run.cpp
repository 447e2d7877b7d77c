// What the tests of access control on real tables share.
#include "tests/router/household_run.h"

#include <filesystem>

namespace product_test {

void HouseholdTest::SetUp() {
  ProductTest::SetUp();
  if (IsSkipped()) return;
  const auto result = router_test::runScript(
      {"--no-bus", "--tables=" + GetParam(), "--config=" + kExample}, "true");
  // The kernel's tables are there, so the sets have to be.
  ASSERT_EQ(result.exitStatus, 0) << result.err;
}

std::string household(const std::string& name) {
  return test_support::readFile(GOLDEN_CASES "/" + name + ".config");
}

std::vector<std::string> households() {
  std::vector<std::string> configurations = {test_support::readFile(kExample)};
  for (const auto& entry : std::filesystem::directory_iterator(GOLDEN_CASES)) {
    const std::string name = entry.path().stem();
    if (entry.path().extension() != ".config" || name.starts_with("refused")) continue;
    configurations.push_back(household(name));
  }
  return configurations;
}

}  // namespace product_test
