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

class ProductTest : public testing::TestWithParam<std::string> {
 protected:
  void SetUp() override {
    if (const std::string reason = router_test::refusal(GetParam()); !reason.empty()) {
      GTEST_SKIP() << reason;
    }
  }

  // Runs a shell script in the testbed with the given configuration. It knows
  //   $program              the product
  //   $foreign              the directory of the tables of other programs
  //   add_host NAME NUMBER  makes a host, joined by a cable to the router's device to-NAME. The
  //                         router is 10.9.NUMBER.1 and fd00:9:NUMBER::1 there, and the host has
  //                         the next two addresses
  //   at NAME COMMAND...    runs a command on that host
  // Only what the script prints after the router's first line is left in the result's `err`.
  static test_support::ProcessResult run(const std::string& config, const std::string& script);
  // The script prints that, ends with 0, and says nothing on standard error.
  static void expectOutput(const std::string& config, const std::string& script,
                           const std::string& expected);
};

// The example and every configuration of the golden tables that the kernel's tools take.
std::vector<std::string> households();

// The rules of other programs that stand in the source tree, as a table in save format.
std::string foreignTable(const std::string& family, const std::string& table);

}  // namespace product_test
