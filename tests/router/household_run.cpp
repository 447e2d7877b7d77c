// What the tests of access control on real tables share.
#include "tests/router/household_run.h"

namespace product_test {

void HouseholdTest::SetUp() {
  ProductTest::SetUp();
  if (IsSkipped()) return;
  const auto result = router_test::runScript(
      {"--no-bus", "--tables=" + GetParam(), "--config=" + kExample}, "true");
  if (result.exitStatus != 0) GTEST_SKIP() << result.err;
}

std::string household(const std::string& fileName) {
  return test_support::readFile(std::string(HOUSEHOLDS) + "/" + fileName);
}

}  // namespace product_test
