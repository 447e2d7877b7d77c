// The end of a run by a signal: nothing of it outlives the command or the router.
#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>

#include "tests/support/router_under_test.h"
#include "tests/support/temp_dir.h"

namespace {

using test_support::BackgroundProcess;
using test_support::ProcessResult;
using test_support::runProcess;
using test_support::TempDir;

class RouterSignals : public router_test::RouterTest {
 protected:
  void SetUp() override {
    ASSERT_EQ(runProcess({"mkfifo", fifo()}).exitStatus, 0);
    RouterTest::SetUp();
  }
  // Without a writer whoever opens it waits for ever.
  std::string fifo() const { return directory_ / "fifo"; }

  TempDir directory_;
};
INSTANTIATE_TEST_SUITE_P(Ways, RouterSignals, testing::Values("namespaces", "proot"),
                         [](const auto& way) { return way.param; });

// Processes that nothing but a kill ends, one of them in a session of its own and with the ending
// signals switched off. All hold the run's standard output, which therefore ends when they all
// have: the test waits for that end. What cleans up after a killed router holds it too.
TEST_P(RouterSignals, ASignalToTheRouterEndsEveryProcessOfTheRunAndItsFiles) {
  const TempDir temporary;
  const std::string cat = "cat " + fifo();
  const std::string script =
      "trap '' INT TERM HUP; " + cat + " & setsid " + cat + " & echo running; " + cat;
  for (const int number : {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGKILL}) {
    BackgroundProcess router(command({}, {"sh", "-c", script}),
                             {.input = "", .variables = {{"TMPDIR", temporary.path()}}});
    std::string line;
    ASSERT_TRUE(router.readLine(line));
    EXPECT_EQ(line, "running");
    router.sendSignal(number);
    const ProcessResult result = router.wait();
    EXPECT_EQ(result.signal, number);
    EXPECT_EQ(result.err, firstLine());
    EXPECT_TRUE(std::filesystem::is_empty(temporary.path()));
  }
}

TEST_P(RouterSignals, TheEndOfTheCommandEndsWhatItLeftBehind) {
  const ProcessResult result = run({}, "setsid cat " + fifo() + " & cat " + fifo() + " & exit 3");
  EXPECT_EQ(result.exitStatus, 3);
}

TEST_P(RouterSignals, ASignalThatTheCallerHadSwitchedOffIsIgnored) {
  ASSERT_EQ(runProcess({"mkfifo", directory_ / "go"}).exitStatus, 0);
  // As nohup does.
  std::vector<std::string> words = {"env", "--ignore-signal=HUP"};
  for (const std::string& word :
       command({"--no-bus"}, {"sh", "-c", "echo running; cat " + (directory_ / "go")})) {
    words.push_back(word);
  }
  BackgroundProcess router(words);
  std::string line;
  ASSERT_TRUE(router.readLine(line));
  router.sendSignal(SIGHUP);
  ASSERT_EQ(runProcess({"sh", "-c", "echo went on > " + (directory_ / "go")}).exitStatus, 0);
  const ProcessResult result = router.wait();
  EXPECT_EQ(result.out, "went on\n");
  EXPECT_EQ(result.exitStatus, 0);
}

}  // namespace
