// What is chosen where the system refuses something.
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>

#include "tests/support/router_under_test.h"
#include "tests/support/temp_dir.h"

namespace {

using router_test::kDeny;
using router_test::kLegacyLine;
using router_test::kProotLine;
using router_test::kRouter;
using test_support::ProcessResult;
using test_support::runProcess;

const std::string kRefused =
    "namespaces are refused (unshare: unshare failed: Operation not permitted)";

TEST(RouterChoice, KernelTablesThatAreForcedAndRefusedAreAnError) {
  for (const std::string tables : {"legacy", "nft"}) {
    const ProcessResult result =
        runProcess({kDeny, "namespaces", kRouter, "--tables=" + tables, "true"});
    EXPECT_EQ(result.exitStatus, 125);
    EXPECT_EQ(result.err, "router: " + kRefused + "\n");
  }
}

TEST(RouterChoice, WithoutNamespacesAndTracingThereIsNoRun) {
  const ProcessResult result = runProcess({kDeny, "namespaces", kDeny, "ptrace", kRouter, "true"});
  EXPECT_EQ(result.exitStatus, 125);
  EXPECT_EQ(result.err, "router: " + kRefused +
                            ", and proot fails (proot error: ptrace(TRACEME): Operation not "
                            "permitted)\n");
}

class RouterFallback : public testing::Test {
 protected:
  void SetUp() override {
    if (const std::string reason = router_test::refusal("files"); !reason.empty()) {
      GTEST_SKIP() << reason;
    }
  }
};

TEST_F(RouterFallback, WithoutNetworkNamespacesTablesAreInFiles) {
  const ProcessResult result = runProcess(
      {kDeny, "network", kRouter, "--no-bus", "sh", "-c", "echo $TESTBED_TABLES_KIND; ls /run"});
  EXPECT_EQ(result.out, "files\nrouter\nubus\n");
  EXPECT_EQ(result.err,
            "router: tables in files, namespaces of its own, because " + kRefused + "\n");
}

TEST_F(RouterFallback, WithoutMountsPathsAreShownByProot) {
  const ProcessResult result =
      runProcess({kDeny, "mounts", kRouter, "--no-bus", "sh", "-c", "ls /run"});
  EXPECT_EQ(result.out, "router\nubus\n");
  EXPECT_EQ(result.err,
            "router: tables in files, paths shown by proot, because namespaces are refused "
            "(unshare: cannot change root filesystem propagation: Operation not permitted)\n");
}

TEST_F(RouterFallback, AnOrdinaryUserGetsTheSame) {
  if (geteuid() != 0) GTEST_SKIP() << "every other test runs as an ordinary user already";
  // Other users may not be able to read the build tree.
  const test_support::TempDir directory;
  std::filesystem::permissions(directory.path(), std::filesystem::perms{0755});
  for (const char* piece : {"router", "ubusd", "libxtlock_intercept.so", "refuse_new_calls"}) {
    std::filesystem::copy(std::filesystem::path(kRouter).replace_filename(piece), directory.path());
  }
  const auto recursive = std::filesystem::copy_options::recursive;
  std::filesystem::copy(std::filesystem::path(kRouter).replace_filename("file_tables"),
                        directory / "file_tables",
                        recursive | std::filesystem::copy_options::copy_symlinks);
  std::filesystem::copy(kDeny, directory.path());
  const auto result = [&](const std::string& deny) {
    return runProcess({"env", "-C", "/", "setpriv", "--reuid=65534", "--regid=65534",
                       "--clear-groups", "sh", "-c",
                       deny + (directory / "router") +
                           " sh -c 'ls /run/ubus; iptables -A OUTPUT -j DROP; "
                           "iptables-save -t filter | grep -e -A'"});
  };
  const ProcessResult withNamespaces = result("");
  EXPECT_EQ(withNamespaces.out, "ubus.sock\n-A OUTPUT -j DROP\n");
  EXPECT_EQ(withNamespaces.err, kLegacyLine);
  const ProcessResult withProot = result(directory / "deny namespaces ");
  EXPECT_EQ(withProot.out, "ubus.sock\n-A OUTPUT -j DROP\n");
  EXPECT_EQ(withProot.err, kProotLine);
}

}  // namespace
