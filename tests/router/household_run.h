// The product on real tables with a configuration of access control.
#pragma once

#include <string>
#include <vector>

#include "tests/router/product_run.h"

namespace product_test {

class HouseholdTest : public ProductTest {
 protected:
  void SetUp() override;
};

// A configuration of the golden tables, by its name there.
std::string household(const std::string& name);

// The example and every configuration of the golden tables that the kernel's tools take.
std::vector<std::string> households();

}  // namespace product_test
