// What a command finds inside a run, and what is left of it outside afterwards.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>

#include "tests/support/router_under_test.h"
#include "tests/support/temp_dir.h"

namespace {

using router_test::kDeny;
using router_test::kLegacyLine;
using router_test::kNftLine;
using router_test::kProotLine;
using router_test::kRouter;
using router_test::runScript;
using test_support::BackgroundProcess;
using test_support::ProcessResult;
using test_support::readFile;
using test_support::runProcess;
using test_support::TempDir;
using test_support::writeFile;
using testing::EndsWith;
using testing::HasSubstr;

const std::string kRefused =
    "namespaces are refused (unshare: unshare failed: Operation not permitted)";

TEST(RouterOptions, EveryMistakeHasItsMessage) {
  const std::pair<std::vector<std::string>, std::string> mistakes[] = {
      {{kRouter, "--no-bus", "--"}, "no command given\nTry --help."},
      {{kRouter, "--config", "x", "true"}, "unknown option --config\nTry --help."},
      {{kRouter, "--config=", "true"}, "--config= needs a value"},
      {{kRouter, "--tables=ipset", "true"},
       "--tables is \"ipset\"; it must be auto, legacy, nft or files"},
      {{kRouter, "--config=/nonexistent/file", "true"}, "cannot read /nonexistent/file"},
      {{kRouter, "--config=/", "true"}, "cannot read /"},
      // What is forced and refused.
      {{kDeny, "namespaces", kRouter, "--tables=legacy", "true"}, kRefused},
      {{kDeny, "namespaces", kRouter, "--tables=nft", "true"}, kRefused},
      {{kDeny, "namespaces", kDeny, "ptrace", kRouter, "true"},
       kRefused + ", and proot fails (proot error: ptrace(TRACEME): Operation not permitted)"},
  };
  for (const auto& [command, message] : mistakes) {
    const ProcessResult result = runProcess(command);
    EXPECT_EQ(result.exitStatus, 125);
    EXPECT_EQ(result.out + result.err, "router: " + message + "\n");
  }
}

class RouterFallback : public testing::Test {
 protected:
  void SetUp() override {
    if (const std::string reason = router_test::refusal("files"); !reason.empty()) {
      GTEST_SKIP() << reason;
    }
  }
};

TEST_F(RouterFallback, WhatTheSystemRefusesIsDoneWithout) {
  const std::pair<std::string, std::string> rows[] = {
      {"network", "tables in files, namespaces of its own, because " + kRefused},
      {"mounts",
       "tables in files, paths shown by proot, because namespaces are refused (unshare: cannot "
       "change root filesystem propagation: Operation not permitted)"},
  };
  for (const auto& [refused, line] : rows) {
    const ProcessResult result = runProcess({kDeny, refused, kRouter, "--no-bus", "sh", "-c",
                                             "echo $TESTBED_TABLES_KIND; ls /run /var/run/ubus"});
    EXPECT_EQ(result.out, "files\n/run:\nrouter\nubus\n\n/var/run/ubus:\n");
    EXPECT_EQ(result.err, "router: " + line + "\n");
  }
}

TEST_F(RouterFallback, AnOrdinaryUserGetsTheSame) {
  if (geteuid() != 0) GTEST_SKIP() << "every other test runs as an ordinary user already";
  // Other users may not be able to read the build tree.
  const TempDir directory;
  const std::string pieces = directory.path();
  std::filesystem::permissions(directory.path(), std::filesystem::perms{0755});
  ASSERT_EQ(runProcess({"env", "-C", std::filesystem::path(kRouter).parent_path(), "cp", "-rd",
                        "router", "ubusd", "libxtlock_intercept.so", "refuse_new_calls",
                        "file_tables", kDeny, pieces})
                .exitStatus,
            0);
  for (const auto& [deny, line] : {std::pair(std::string(), kLegacyLine),
                                   std::pair(pieces + "/deny namespaces ", kProotLine)}) {
    const ProcessResult result =
        runProcess({"env", "-C", "/", "setpriv", "--reuid=65534", "--regid=65534", "--clear-groups",
                    "sh", "-c",
                    deny + pieces +
                        "/router sh -c 'ls /run/ubus; iptables -A OUTPUT -j DROP; "
                        "iptables-save -t filter | grep -e -A'"});
    EXPECT_EQ(result.out, "ubus.sock\n-A OUTPUT -j DROP\n");
    EXPECT_EQ(result.err, line);
  }
}

using RouterRun = router_test::RouterTest;
INSTANTIATE_TEST_SUITE_P(Ways, RouterRun, testing::Values("namespaces", "proot"),
                         [](const auto& way) { return way.param; });

TEST_P(RouterRun, TheExitStatusIsPassedOn) {
  EXPECT_EQ(run({"--no-bus"}, "exit 255").exitStatus, 255);
  EXPECT_EQ(run({"--no-bus"}, "kill -KILL $$").exitStatus, 128 + 9);
  EXPECT_EQ(run({"--no-bus"}, "kill -TERM $$").exitStatus, 128 + 15);
}

TEST_P(RouterRun, ACommandThatCannotBeRunGives126Or127) {
  const ProcessResult missing = runProcess(command({"--no-bus"}, {"no-such-tool"}));
  EXPECT_EQ(missing.exitStatus, 127);
  EXPECT_THAT(missing.err, HasSubstr(" no-such-tool: No such file or directory\n"));
  const ProcessResult directory = runProcess(command({"--no-bus"}, {"/etc"}));
  EXPECT_EQ(directory.exitStatus, 126);
  EXPECT_THAT(directory.err, HasSubstr(" /etc: Permission denied\n"));
}

TEST_P(RouterRun, InputOutputArgumentsAndDirectoryAreTheCallers) {
  const TempDir directory;
  std::vector<std::string> words = {"env", "-C", directory.path()};
  for (const std::string& word :
       command({}, {"sh", "-c", "cat; pwd -P; echo x > here; echo \"$1\" >&2", "sh", "a  b"})) {
    words.push_back(word);
  }
  const ProcessResult result = runProcess(words, {.input = "from outside ", .variables = {}});
  EXPECT_EQ(result.out, "from outside " + directory.path().string() + "\n");
  EXPECT_EQ(result.err, firstLine() + "a  b\n");
  EXPECT_EQ(readFile(directory / "here"), "x\n");
}

TEST_P(RouterRun, FilesBelowTheMachinesTmpStayUsableAndNewOnesAreKeptApart) {
  const TempDir directory;
  const std::string file = directory / "a file";
  const std::string link = directory.path().string() + " link";
  const std::string inside = directory.path().string() + "-inside";
  writeFile(file, "old");
  std::filesystem::create_symlink(file, link);
  const std::string first = inside + ".new";
  const ProcessResult result =
      run({"--no-bus"}, "cat '" + link + "'; echo new > '" + link + "'; echo x > " + first +
                            "; mv " + first + " " + inside + "; echo y > /run/y; ls " + inside);
  std::filesystem::remove(link);
  EXPECT_EQ(result.out, "old" + inside + "\n");
  EXPECT_EQ(readFile(file), "new\n");
  EXPECT_FALSE(std::filesystem::exists(inside));
  EXPECT_FALSE(std::filesystem::exists("/run/y"));
}

TEST_P(RouterRun, NothingOfTheMachineChanges) {
  const TempDir directory;
  const auto look = [&] {
    return readFile("/proc/self/mountinfo") +
           runProcess({"sh", "-c", "ls -Ai /run /usr/lib " + directory.path().string()}).out;
  };
  const std::string before = look();
  EXPECT_EQ(runProcess(command({}, {"mkdir", "-p", "/run/a/b", "/tmp/a"}),
                       {.input = "", .variables = {{"TMPDIR", directory.path()}}})
                .exitStatus,
            0);
  EXPECT_EQ(look(), before);
}

// Processes that nothing but a kill ends, one of them in a session of its own and with the ending
// signals switched off. All hold the run's standard output, which therefore ends when they all
// have: the test waits for that end. What cleans up after a killed router holds it too.
TEST_P(RouterRun, ASignalOrTheEndOfTheCommandEndsEveryProcessOfTheRunAndItsFiles) {
  const TempDir directory;
  const std::string fifo = directory / "fifo";  // without a writer whoever opens it waits for ever
  ASSERT_EQ(runProcess({"mkfifo", fifo}).exitStatus, 0);
  const std::string beside = "trap '' INT TERM HUP; cat " + fifo + " & setsid cat " + fifo + " & ";
  EXPECT_EQ(run({}, beside + "exit 3").exitStatus, 3);
  const TempDir temporary;
  for (const int number : {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGKILL}) {
    BackgroundProcess router(command({}, {"sh", "-c", beside + "echo running; cat " + fifo}),
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

using RouterKernelRun = router_test::KernelTablesTest;

TEST_F(RouterKernelRun, EveryToolIsOfTheChosenKindTablesAreEmptyAndTheLoopbackDeviceIsUp) {
  const std::string script = R"sh(
for family in iptables ip6tables; do
  for action in '' -save -restore; do
    $family$action --version | sed 's/.*(\(.*\))/\1/'
  done
  for table in mangle nat filter; do $family-save -t $table | grep -e '^-A' -e '^:.* -' || true; done
done
ip -o -4 address show | awk '{ print $2, $4 }'
echo $TESTBED_TABLES_KIND ${TESTBED_TABLES-none})sh";
  for (const auto& [asked, kind, name, line] :
       {std::tuple("auto", "legacy", "legacy\n", kLegacyLine),
        std::tuple("nft", "nft", "nf_tables\n", kNftLine)}) {
    std::string expected;
    for (int tool = 0; tool < 6; ++tool) expected += name;
    const ProcessResult result = runScript({std::string("--tables=") + asked, "--no-bus"}, script);
    EXPECT_EQ(result.out, expected + "lo 127.0.0.1/8\n" + kind + " none\n");
    EXPECT_EQ(result.err, line);
  }
}

}  // namespace
