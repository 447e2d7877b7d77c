// What a command finds inside a run, and what is left of it outside afterwards.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

#include "tests/support/router_under_test.h"
#include "tests/support/temp_dir.h"

namespace {

using router_test::kLegacyLine;
using router_test::kNftLine;
using router_test::kRouter;
using router_test::runScript;
using test_support::ProcessResult;
using test_support::readFile;
using test_support::runProcess;
using test_support::TempDir;
using test_support::writeFile;
using testing::EndsWith;
using testing::HasSubstr;

TEST(RouterOptions, HelpIsPrinted) {
  const ProcessResult result = runProcess({kRouter, "--help"});
  EXPECT_EQ(result.exitStatus, 0);
  EXPECT_THAT(result.out, testing::StartsWith("Usage: router [OPTION]... [--] COMMAND"));
  EXPECT_EQ(result.err, "");
}

TEST(RouterOptions, EveryMistakeHasItsMessage) {
  const std::pair<std::vector<std::string>, std::string> mistakes[] = {
      {{"--no-bus", "--"}, "no command given\nTry --help."},
      {{"--config", "x", "true"}, "unknown option --config\nTry --help."},
      {{"--config=", "true"}, "--config= needs a value"},
      {{"--tables=ipset", "true"}, "--tables is \"ipset\"; it must be auto, legacy, nft or files"},
      {{"--config=/nonexistent/file", "true"}, "cannot read /nonexistent/file"},
      {{"--config=/", "true"}, "cannot read /"},
  };
  for (const auto& [arguments, message] : mistakes) {
    std::vector<std::string> command = {kRouter};
    command.insert(command.end(), arguments.begin(), arguments.end());
    const ProcessResult result = runProcess(command);
    EXPECT_EQ(result.exitStatus, 125);
    EXPECT_EQ(result.out + result.err, "router: " + message + "\n");
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

TEST_P(RouterRun, RunIsEmptyApartFromTheRunsOwnFiles) {
  EXPECT_EQ(run({}, "ls /run /var/run /run/ubus").out,
            "/run:\nrouter\nubus\n\n/run/ubus:\nubus.sock\n\n/var/run:\nrouter\nubus\n");
  EXPECT_EQ(run({"--no-bus"}, "ls /var/run/ubus $TESTBED_CONFIG_DIR").out,
            "/run/router/config:\n\n/var/run/ubus:\n");
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

TEST_P(RouterRun, ThePreloadLibraryIsInItsPlaceAndNothingElseInThatDirectoryChanges) {
  const std::string list = "ls -A /usr/lib | grep -v '^libxtlock_intercept.so$'";
  const ProcessResult result =
      run({"--no-bus"}, "cmp /usr/lib/libxtlock_intercept.so " + router_test::kPreloadLibrary +
                            "; LD_PRELOAD=/usr/lib/libxtlock_intercept.so sh -c 'echo loaded'; " +
                            list);
  EXPECT_EQ(result.out, "loaded\n" + runProcess({"sh", "-c", list}).out);
  EXPECT_EQ(result.err, firstLine());
}

TEST_P(RouterRun, TablesInFilesAreFoundFirstInPathAndLiveInTheGivenDirectory) {
  const TempDir directory;
  const std::string tables = directory / "tables";
  const std::string rule = "-A POSTROUTING -o eth1 -j MASQUERADE\n";
  const ProcessResult result =
      run({"--no-bus", "--table-files=" + tables},
          "echo $TESTBED_TABLES_KIND $TESTBED_TABLES; printf '*nat\n" + rule +
              "COMMIT\n' | LD_PRELOAD=/usr/lib/libxtlock_intercept.so iptables-restore");
  EXPECT_EQ(result.out, "files " + tables + "\n");
  EXPECT_EQ(result.err, firstLine());
  EXPECT_EQ(run({"--no-bus", "--table-files=" + tables}, "iptables-save -t nat | grep -e -A").out,
            rule);
  EXPECT_EQ(run({"--no-bus"}, "iptables-save -t nat | grep -c -e -A || true").out, "0\n");
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

TEST_P(RouterRun, ARunInsideARunHasFilesOfItsOwnOrIsRefused) {
  const ProcessResult result =
      run({"--no-bus"}, "echo outer > /tmp/ipt_compiler_out; " + kRouter +
                            " --tables=files sh -c 'ls /tmp/ipt_compiler_out; "
                            "echo inner > /tmp/ipt_compiler_out; ls /run/ubus' || echo $?; "
                            "cat /tmp/ipt_compiler_out; ls /run/ubus");
  EXPECT_EQ(result.out, GetParam() == "proot" ? "125\nouter\n" : "ubus.sock\nouter\n");
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
        std::tuple("legacy", "legacy", "legacy\n", kLegacyLine),
        std::tuple("nft", "nft", "nf_tables\n", kNftLine)}) {
    std::string expected;
    for (int tool = 0; tool < 6; ++tool) expected += name;
    const ProcessResult result = runScript({std::string("--tables=") + asked, "--no-bus"}, script);
    EXPECT_EQ(result.out, expected + "lo 127.0.0.1/8\n" + kind + " none\n");
    EXPECT_EQ(result.err, line);
  }
}

}  // namespace
