// The product on real tables: what every test of it shares. Tests run once per kind of kernel
// tables and are skipped, with the reason, where that kind cannot be had.
#pragma once

#include <gtest/gtest.h>

#include <string>

#include "tests/support/process.h"
#include "tests/support/router_under_test.h"
#include "tests/support/temp_dir.h"

namespace product_test {

// Paths in the source tree.
extern const std::string kForeignRules;
extern const std::string kExample;

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
  // Only what the script prints after the router's first line is left in the result's `err`.
  static test_support::ProcessResult run(const std::string& config, const std::string& script);
};

// The six tables as show_all prints them when they hold the foreign rules only, or with the rules
// of kSmallConfig beside them.
std::string foreignTables();
std::string tablesOfSmallConfig();

// A table in save format that stands in the source tree.
std::string foreignTable(const std::string& family, const std::string& table);

}  // namespace product_test
