// The bus at start-up: without the configuration there is no run, and no tool is started.
#include <gtest/gtest.h>

#include <string>

#include "tests/golden/bus_replay.h"
#include "tests/golden/golden_run.h"
#include "tests/support/wire_bytes.h"

namespace golden {
namespace {

void expectEndsBeforeAnyTool(const Scenario& scenario, const std::string& err) {
  const RunRecord run = runOnce(scenario);
  EXPECT_EQ(run.err, err);
  EXPECT_EQ(run.out, "");
  EXPECT_EQ(run.status, kAborted);
  EXPECT_EQ(run.calls, std::vector<std::string>());
  EXPECT_EQ(run.outputFile, std::nullopt);
}

Scenario replaying(const std::vector<std::string>& segments) {
  Scenario scenario;
  scenario.bus = false;
  scenario.replay = segments;
  return scenario;
}

TEST(Bus, WithoutADaemonEndsTheRun) {
  Scenario scenario;
  scenario.bus = false;
  expectEndsBeforeAnyTool(scenario,
                          uncaught("std::runtime_error", "Ubus: Failed to connect to ubusd."));
}

TEST(Bus, WithASocketThatNobodyListensOnEndsTheRun) {
  Scenario scenario;
  scenario.bus = false;
  // As good as the name that a killed daemon leaves behind.
  scenario.before = ": >/var/run/ubus/ubus.sock";
  scenario.after = "rm /var/run/ubus/ubus.sock";
  expectEndsBeforeAnyTool(scenario,
                          uncaught("std::runtime_error", "Ubus: Failed to connect to ubusd."));
}

TEST(Bus, WithoutTheServiceEndsTheRun) {
  expectEndsBeforeAnyTool(replaying({wire::hello(kClient), wire::status(1, 0, 4)}),
                          uncaught("std::runtime_error", "Ubus: Not found"));
}

TEST(Bus, WithoutThePackageEndsTheRun) {
  Scenario scenario;
  scenario.configs = {std::nullopt};
  expectEndsBeforeAnyTool(scenario, uncaught("std::runtime_error", "Ubus: Not found"));
}

TEST(Bus, WithAPackageThatCannotBeReadEndsTheRun) {
  Scenario scenario;
  scenario.configs = {"config nfnlq 'nfnlq\n"};
  expectEndsBeforeAnyTool(scenario, uncaught("std::runtime_error", "Ubus: Unknown error"));
}

TEST(Bus, TellsEveryStatusOfTheCall) {
  const char* const texts[] = {
      "Invalid command", "Invalid argument",  "Method not found",  "Not found",
      "No response",     "Permission denied", "Request timed out", "Operation not supported",
      "Unknown error",   "Connection failed", "Out of memory",     "Parsing message data failed",
      "System error",    "Unknown error: 14"};
  std::uint32_t number = 0;
  for (const char* text : texts) {
    expectEndsBeforeAnyTool(
        replaying({wire::hello(kClient), objectFound(), wire::objectStatus(2, kObject, ++number)}),
        uncaught("std::runtime_error", std::string("Ubus: ") + text));
  }
}

// The daemon is gone when the request has arrived.
TEST(Bus, WhoseDaemonDiesAtAnyMessageEndsTheRun) {
  const std::string hello = wire::hello(kClient);
  const std::string answer = wire::data(2, kObject, wire::table("values", ""));
  expectEndsBeforeAnyTool(replaying({""}),
                          uncaught("std::runtime_error", "Ubus: Failed to connect to ubusd."));
  const std::string failed = uncaught("std::runtime_error", "Ubus: Connection failed");
  expectEndsBeforeAnyTool(replaying({hello, ""}), failed);
  expectEndsBeforeAnyTool(replaying({hello, objectFound().substr(0, 20)}), failed);
  expectEndsBeforeAnyTool(replaying({hello, objectFound(), ""}), failed);
  expectEndsBeforeAnyTool(replaying({hello, objectFound(), answer.substr(0, 20)}), failed);
  expectEndsBeforeAnyTool(replaying({hello, objectFound(), answer}), failed);
}

// There is no time limit: the program sleeps in its call until it is killed.
TEST(Bus, WhoseDaemonNeverAnswersIsWaitedFor) {
  constexpr int killed = 128 + 9;
  const std::string wait(kReplayWait);
  for (const std::vector<std::string>& segments :
       {std::vector<std::string>{wait}, std::vector<std::string>{wire::hello(kClient), wait},
        std::vector<std::string>{wire::hello(kClient), objectFound(), wait}}) {
    const RunRecord run = runOnce(replaying(segments));
    EXPECT_EQ(run.status, killed);
    EXPECT_EQ(run.err, "");
    EXPECT_EQ(run.calls, std::vector<std::string>());
  }
}

}  // namespace
}  // namespace golden
