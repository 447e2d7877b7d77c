// The product on real tables: what every test of it shares. Tests run once per kind of kernel
// tables and are skipped, with the reason, where that kind cannot be had.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/support/process.h"
#include "tests/support/router_under_test.h"
#include "tests/support/temp_dir.h"

namespace product_test {

// A directory in the source tree.
extern const std::string kForeignRules;

// A setup whose rules fit on a page: DNS over UDP to queue 2, unless marked.
extern const std::string kSmallConfig;

class ProductTest : public testing::TestWithParam<std::string> {
 protected:
  void SetUp() override {
    if (const std::string reason = router_test::refusal(GetParam()); !reason.empty()) {
      GTEST_SKIP() << reason;
    }
  }

  // Runs a shell script in the testbed with the given configuration. It knows
  //   $program              the product
  //   show FAMILY TABLE     a table as saved, counters zero, without comments
  //   show_all              the six tables
  //   restore_foreign       fills the six tables with rules of other programs
  //   add_host NAME NUMBER  makes a host, joined by a cable to the router's device to-NAME. The
  //                         router is 10.9.NUMBER.1 and fd00:9:NUMBER::1 there, and the host has
  //                         the next two addresses
  //   at NAME COMMAND...    runs a command on that host
  // Only what the script prints after the router's first line is left in the result's `err`.
  static test_support::ProcessResult run(const std::string& config, const std::string& script);
};

// The same with a configuration of access control, whose IP sets have to be there.
class HouseholdTest : public ProductTest {
 protected:
  void SetUp() override;
};

// A configuration of the golden tables, by its name there.
std::string household(const std::string& name);

// The example and every configuration of the golden tables that the kernel's tools take.
std::vector<std::string> households();

// The six tables as show_all prints them when they hold the foreign rules only, or with the rules
// of kSmallConfig beside them.
std::string foreignTables();
std::string tablesOfSmallConfig();

// A table in save format that stands in the source tree.
std::string foreignTable(const std::string& family, const std::string& table);

}  // namespace product_test
