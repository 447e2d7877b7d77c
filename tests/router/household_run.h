// The product on real tables with a configuration of access control.
#pragma once

#include <string>

#include "tests/router/product_run.h"

namespace product_test {

class HouseholdTest : public ProductTest {
 protected:
  void SetUp() override;
};

// The content of a file in households/.
std::string household(const std::string& fileName);

}  // namespace product_test
