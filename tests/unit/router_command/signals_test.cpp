// The end of a run by a signal: nothing of it outlives the command or the router.
#include <gtest/gtest.h>

#include <csignal>

#include "tests/support/process.h"
#include "tests/support/temp_dir.h"
#include "tests/unit/router_command/router_under_test.h"

namespace {

using router_test::kFilesLine;
using router_test::kRouter;
using router_test::routerCommand;
using test_support::BackgroundProcess;
using test_support::ProcessResult;
using test_support::runProcess;
using test_support::TempDir;

// Processes that nothing but a kill ends, one of them in a session of its own and with the ending
// signals switched off. All hold the run's standard output, which therefore ends when they all
// have: the tests wait for that end.
std::string stubbornScript(const std::string& fifo) {
  return "trap '' INT TERM HUP; cat " + fifo + " & setsid cat " + fifo + " & echo running; cat " +
         fifo;
}

class RouterSignals : public router_test::NamespaceTest {
 protected:
  void SetUp() override {
    ASSERT_EQ(runProcess({"mkfifo", fifo()}).exitStatus, 0);
    NamespaceTest::SetUp();
  }
  // Without a writer whoever opens it waits for ever.
  std::string fifo() const { return directory_ / "fifo"; }

  TempDir directory_;
};

TEST_F(RouterSignals, ASignalToTheRouterEndsEveryProcessOfTheRun) {
  for (const int number : {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGKILL}) {
    BackgroundProcess router(routerCommand({"--tables=files"}, stubbornScript(fifo())));
    std::string line;
    ASSERT_TRUE(router.readLine(line));
    EXPECT_EQ(line, "running");
    router.sendSignal(number);
    const ProcessResult result = router.wait();
    EXPECT_EQ(result.signal, number);
    EXPECT_EQ(result.err, kFilesLine);
  }
}

TEST_F(RouterSignals, TheEndOfTheCommandEndsWhatItLeftBehind) {
  const ProcessResult result = router_test::runScript(
      {"--tables=files"}, "setsid cat " + fifo() + " & cat " + fifo() + " & exit 3");
  EXPECT_EQ(result.exitStatus, 3);
}

TEST_F(RouterSignals, ASignalThatTheCallerHadSwitchedOffIsIgnored) {
  ASSERT_EQ(runProcess({"mkfifo", directory_ / "go"}).exitStatus, 0);
  // As nohup does.
  BackgroundProcess router({"sh", "-c", "trap '' HUP; exec \"$@\"", "sh", kRouter, "--tables=files",
                            "--no-bus", "sh", "-c", "echo running; cat " + (directory_ / "go")});
  std::string line;
  ASSERT_TRUE(router.readLine(line));
  router.sendSignal(SIGHUP);
  ASSERT_EQ(runProcess({"sh", "-c", "echo went on > " + (directory_ / "go")}).exitStatus, 0);
  const ProcessResult result = router.wait();
  EXPECT_EQ(result.out, "went on\n");
  EXPECT_EQ(result.exitStatus, 0);
}

}  // namespace
