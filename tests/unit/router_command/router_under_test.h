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

// The first line of a run without a reason.
extern const std::string kLegacyLine;
extern const std::string kNftLine;
extern const std::string kFilesLine;

// router OPTIONS... -- sh -e -c SCRIPT.
std::vector<std::string> routerCommand(std::vector<std::string> options, const std::string& script);
test_support::ProcessResult runScript(const std::vector<std::string>& options,
                                      const std::string& script);

// Why `router` cannot have namespaces, or kernel tables of the kind ("legacy", "nft") in them;
// empty when it can.
std::string refusal(const std::string& tables);

// Tests that need namespaces (with tables in files they need nothing else).
class NamespaceTest : public testing::Test {
 protected:
  void SetUp() override {
    if (const std::string reason = refusal("files"); !reason.empty()) GTEST_SKIP() << reason;
  }
};

// Tests that need the kernel's tables too.
class KernelTablesTest : public testing::Test {
 protected:
  void SetUp() override {
    for (const char* tables : {"legacy", "nft"}) {
      if (const std::string reason = refusal(tables); !reason.empty()) GTEST_SKIP() << reason;
    }
  }
};

}  // namespace router_test
