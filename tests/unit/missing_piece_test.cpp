// `router` in a build folder that lacks one of the pieces beside it: it says so before it starts
// anything.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "tests/support/process.h"
#include "tests/support/router_under_test.h"
#include "tests/support/temp_dir.h"

namespace {

using test_support::TempDir;

constexpr const char* kPieces[] = {"libxtlock_intercept.so", "refuse_new_calls", "ubusd",
                                   "file_tables/libkernel_tables.so",
                                   "file_tables/run_legacy_tool"};

TEST(RouterPieces, AMissingOneEndsTheCommandWithOneLine) {
  for (const std::string missing : kPieces) {
    const TempDir directory;
    std::filesystem::copy(router_test::kRouter, directory.path());
    std::filesystem::create_directory(directory.path() / "file_tables");
    for (const char* piece : kPieces) {
      if (piece != missing) test_support::writeFile(directory / piece, "");
    }
    const auto result = test_support::runProcess({directory / "router", "--no-bus", "true"});
    EXPECT_EQ(result.exitStatus, 125);
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.err, "router: " + canonical(directory.path()).string() + "/" + missing +
                              " is missing; build the target \"router\"\n");
  }
}

}  // namespace
