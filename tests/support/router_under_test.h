// Starts the built `router` for a test, and says where that cannot be tested.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/support/process.h"

namespace router_test {

// Paths in the build tree.
extern const std::string kRouter;
extern const std::string kBusDaemon;
extern const std::string kPreloadLibrary;
extern const std::string kDeny;  // see deny.c

// The first line of a run; with proot, of one to which `deny namespaces` refuses the better ways.
extern const std::string kLegacyLine;
extern const std::string kNftLine;
extern const std::string kFilesLine;
extern const std::string kProotLine;

// router OPTIONS... -- sh -e -c SCRIPT.
std::vector<std::string> routerCommand(std::vector<std::string> options, const std::string& script);
test_support::ProcessResult runScript(const std::vector<std::string>& options,
                                      const std::string& script);

// Why `router` cannot have namespaces, or kernel tables of the kind ("legacy", "nft") in them;
// empty when it can.
std::string refusal(const std::string& tables);

// Tests of both ways to keep a run apart from the machine, with tables in files: "namespaces", and
// "proot" where those are refused.
class RouterTest : public testing::TestWithParam<std::string> {
 protected:
  void SetUp() override;
  // router --tables=files OPTIONS... -- COMMAND...
  static std::vector<std::string> command(const std::vector<std::string>& options,
                                          const std::vector<std::string>& command);
  // The same for sh -e -c SCRIPT.
  static test_support::ProcessResult run(const std::vector<std::string>& options,
                                         const std::string& script);
  static const std::string& firstLine() { return GetParam() == "proot" ? kProotLine : kFilesLine; }
};

// Tests of kernel tables of both kinds.
class KernelTablesTest : public testing::Test {
 protected:
  void SetUp() override {
    for (const char* tables : {"legacy", "nft"}) {
      if (const std::string reason = refusal(tables); !reason.empty()) GTEST_SKIP() << reason;
    }
  }
};

}  // namespace router_test
