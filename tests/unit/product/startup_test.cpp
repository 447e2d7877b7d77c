// The start-up objects, as a process: their order, and the end when one of them fails.
#include <gtest/gtest.h>

#include <csignal>
#include <string>

#include "tests/support/process.h"

namespace {

test_support::ProcessResult start(const char* bus) {
  test_support::ProcessOptions options;
  options.variables = {{"FAKE_BUS", bus}};
  return test_support::runProcess({STARTUP_PROBE}, options);
}

TEST(Startup, ConstructsLoopBusAndParametersBeforeMainAndDestroysThemInReverse) {
  const test_support::ProcessResult result = start("trace");
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

TEST(Startup, EndsTheProcessBeforeMainWhenAnObjectFails) {
  const std::pair<const char*, const char*> cases[] = {
      {"absent", "std::runtime_error'\n  what():  Ubus: Failed to connect to ubusd.\n"},
      {"no-object", "std::runtime_error'\n  what():  Ubus: text of status 4\n"},
      {"no-package", "std::runtime_error'\n  what():  Ubus: text of status 4\n"},
      {"rubbish",
       "std::invalid_argument'\n  what():  BlobMsgParser: Cannot find the element named values\n"},
  };
  for (const auto& [bus, error] : cases) {
    const test_support::ProcessResult result = start(bus);
    EXPECT_EQ(result.signal, SIGABRT) << bus;
    EXPECT_EQ(result.out, "") << bus;
    EXPECT_EQ(result.err, std::string("terminate called after throwing an instance of '") + error);
  }
}

}  // namespace
