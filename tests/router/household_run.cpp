// What the tests of access control on real tables share.
#include "tests/router/household_run.h"

namespace product_test {

void HouseholdTest::SetUp() {
  ProductTest::SetUp();
  if (IsSkipped()) return;
  const auto result = router_test::runScript(
      {"--no-bus", "--tables=" + GetParam(), "--config=" + kExample}, "true");
  // The kernel's tables are there, so the sets have to be.
  ASSERT_EQ(result.exitStatus, 0) << result.err;
}

std::string household(const std::string& fileName) {
  return test_support::readFile(std::string(HOUSEHOLDS) + "/" + fileName);
}

}  // namespace product_test
