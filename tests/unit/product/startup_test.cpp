// The start-up objects, as a process: their order. How a run ends when one of them fails is in
// golden/bus_test.cpp.
#include <gtest/gtest.h>

#include "tests/support/process.h"

namespace {

TEST(Startup, ConstructsLoopBusAndParametersBeforeMainAndDestroysThemInReverse) {
  const test_support::ProcessResult result = test_support::runProcess({STARTUP_PROBE});
  EXPECT_EQ(result.exitStatus, 0);
  EXPECT_EQ(result.err, "");
  EXPECT_EQ(result.out,
            "uloop_init sigchld=1 paramtimer=1\n"
            "ubus_connect (default)\n"
            "uloop_fd_add descriptor=1234 flags=9\n"
            "ubus_lookup_id uci\n"
            "ubus_invoke_fd 17 get config:3=firewall_cpp timeout=0 fd=-1\n"
            "main with an empty package\n"
            "ubus_free\n"
            "uloop_done\n");
}

}  // namespace
