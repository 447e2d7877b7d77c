// What a command finds inside a run, and what is left of it outside afterwards.
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>

#include "tests/support/process.h"
#include "tests/support/temp_dir.h"
#include "tests/unit/router_command/router_under_test.h"

namespace {

using router_test::kFilesLine;
using router_test::kLegacyLine;
using router_test::kNftLine;
using router_test::kRouter;
using router_test::runScript;
using test_support::BackgroundProcess;
using test_support::ProcessResult;
using test_support::readFile;
using test_support::runProcess;
using test_support::TempDir;
using test_support::writeFile;

using RouterRun = router_test::NamespaceTest;
using RouterKernelRun = router_test::KernelTablesTest;

const std::vector<std::string> kFiles = {"--tables=files", "--no-bus"};

TEST_F(RouterRun, TheExitStatusIsPassedOn) {
  EXPECT_EQ(runScript(kFiles, "exit 0").exitStatus, 0);
  EXPECT_EQ(runScript(kFiles, "exit 7").exitStatus, 7);
  EXPECT_EQ(runScript(kFiles, "exit 255").exitStatus, 255);
}

TEST_F(RouterRun, ASignalThatEndsTheCommandBecomes128AndItsNumber) {
  EXPECT_EQ(runScript(kFiles, "kill -KILL $$").exitStatus, 128 + SIGKILL);
  EXPECT_EQ(runScript(kFiles, "kill -TERM $$").exitStatus, 128 + SIGTERM);
}

TEST_F(RouterRun, ACommandThatCannotBeRunGives126Or127) {
  const ProcessResult missing = runProcess({kRouter, "--tables=files", "--no-bus", "no-such-tool"},
                                           {.input = "", .variables = {{"PATH", "/usr/bin:/bin"}}});
  EXPECT_EQ(missing.exitStatus, 127);
  EXPECT_EQ(missing.err,
            kFilesLine + "router: cannot run no-such-tool: No such file or directory\n");
  const ProcessResult directory = runProcess({kRouter, "--tables=files", "--no-bus", "/etc"});
  EXPECT_EQ(directory.exitStatus, 126);
  EXPECT_EQ(directory.err, kFilesLine + "router: cannot run /etc: Permission denied\n");
}

TEST_F(RouterRun, InputOutputAndArgumentsAreTheCallers) {
  const ProcessResult result =
      runProcess({kRouter, "--tables=files", "--", "sh", "-c", "cat; echo \"$1\" >&2", "sh", "a b"},
                 {.input = "from outside", .variables = {}});
  EXPECT_EQ(result.out, "from outside");
  EXPECT_EQ(result.err, kFilesLine + "a b\n");
}

TEST_F(RouterRun, RunIsEmptyApartFromTheRunsOwnFiles) {
  EXPECT_EQ(runScript({"--tables=files"}, "ls /run /var/run /run/ubus").out,
            "/run:\nrouter\nubus\n\n/run/ubus:\nubus.sock\n\n/var/run:\nrouter\nubus\n");
}

TEST_F(RouterRun, FilesBelowTheMachinesTmpStayUsableAndNewOnesAreKeptApart) {
  const TempDir directory;
  const std::string outside = directory / "file";
  const std::string inside = "/tmp/" + directory.path().filename().string() + "-inside";
  writeFile(outside, "old");
  const ProcessResult result =
      runScript(kFiles, "cat " + outside + "; echo new > " + outside + "; echo x > " + inside +
                            "; echo y > /run/router-test; ls " + inside);
  EXPECT_EQ(result.out, "old" + inside + "\n");
  EXPECT_EQ(readFile(outside), "new\n");
  EXPECT_FALSE(std::filesystem::exists(inside));
  EXPECT_FALSE(std::filesystem::exists("/run/router-test"));
}

TEST_F(RouterRun, TheCurrentDirectoryStaysTheSame) {
  const TempDir directory;
  const ProcessResult result =
      runProcess({"env", "-C", directory.path(), kRouter, "--tables=files", "--no-bus", "sh", "-c",
                  "pwd; echo x > here; cd ..; ls -d " + directory.path().filename().string()});
  EXPECT_EQ(result.out,
            directory.path().string() + "\n" + directory.path().filename().string() + "\n");
  EXPECT_EQ(readFile(directory / "here"), "x\n");
}

TEST_F(RouterRun, ThePreloadLibraryIsInItsPlaceAndNothingElseInThatDirectoryChanges) {
  const std::string list = "ls -A /usr/lib | grep -v '^libxtlock_intercept.so$'";
  const ProcessResult result = runScript(
      kFiles, "cmp /usr/lib/libxtlock_intercept.so " + router_test::kPreloadLibrary +
                  "; LD_PRELOAD=/usr/lib/libxtlock_intercept.so sh -c 'echo loaded'; " + list);
  EXPECT_EQ(result.out, "loaded\n" + runProcess({"sh", "-c", list}).out);
  EXPECT_EQ(result.err, kFilesLine);
}

TEST_F(RouterRun, TheBusServesTheConfigurationFromADirectoryThatTheCommandMayChange) {
  const TempDir directory;
  writeFile(directory / "setup", "config nfnlq 'nfnlq'\n");
  // The fourth column of the listing says that the socket listens.
  const ProcessResult result =
      runScript({"--tables=files", "--config=" + (directory / "setup")},
                "awk '$8 == \"/var/run/ubus/ubus.sock\" { print $4 }' /proc/net/unix;"
                "ls $TESTBED_CONFIG_DIR; cat $TESTBED_CONFIG_DIR/firewall_cpp;"
                "echo changed > $TESTBED_CONFIG_DIR/firewall_cpp");
  EXPECT_EQ(result.out, "00010000\nfirewall_cpp\nconfig nfnlq 'nfnlq'\n");
  EXPECT_EQ(result.exitStatus, 0);
  EXPECT_EQ(readFile(directory / "setup"), "config nfnlq 'nfnlq'\n");
}

TEST_F(RouterRun, WithoutAConfigurationThePackageIsAbsentAndWithoutABusTheSocketIs) {
  EXPECT_EQ(runScript({"--tables=files"}, "ls $TESTBED_CONFIG_DIR").out, "");
  EXPECT_EQ(runScript(kFiles, "ls /var/run/ubus $TESTBED_CONFIG_DIR").out,
            "/run/router/config:\n\n/var/run/ubus:\n");
}

TEST_F(RouterRun, TablesInFilesAreFoundFirstInPathAndLiveInTheGivenDirectory) {
  const TempDir directory;
  const std::string tables = directory / "tables";
  const std::string restored =
      "*nat\n:PREROUTING ACCEPT [0:0]\n:INPUT ACCEPT [0:0]\n:OUTPUT ACCEPT [0:0]\n"
      ":POSTROUTING ACCEPT [0:0]\n-A POSTROUTING -o eth1 -j MASQUERADE\nCOMMIT\n";
  const ProcessResult result = runScript(
      {"--tables=files", "--no-bus", "--table-files=" + tables},
      "echo $TESTBED_TABLES_KIND $TESTBED_TABLES; printf '" + restored +
          "' | LD_PRELOAD=/usr/lib/libxtlock_intercept.so iptables-restore; ls $TESTBED_TABLES");
  EXPECT_EQ(result.out, "files " + tables + "\niptables.nat\n");
  EXPECT_EQ(result.err, kFilesLine);
  EXPECT_EQ(runScript({"--tables=files", "--no-bus", "--table-files=" + tables},
                      "iptables-save -t nat | grep -v '^#'")
                .out,
            restored);
}

TEST_F(RouterRun, TheMachinesMountsStayAsTheyAre) {
  const std::string before = readFile("/proc/self/mountinfo");
  EXPECT_EQ(runScript(kFiles, "mount -t tmpfs none /mnt").exitStatus, 0);
  EXPECT_EQ(readFile("/proc/self/mountinfo"), before);
}

TEST_F(RouterRun, TwoRunsAtOnceDoNotSeeEachOther) {
  const TempDir directory;
  ASSERT_EQ(runProcess({"mkfifo", directory / "ab", directory / "ba"}).exitStatus, 0);
  // Each writes its file, waits until the other has, and reads its own again.
  const auto script = [&](const std::string& name, const std::string& meet) {
    return "echo " + name + " > /tmp/ipt_compiler_out; echo " + name + " > /run/name; " + meet +
           "cat /tmp/ipt_compiler_out /run/name";
  };
  const std::string ab = directory / "ab";
  const std::string ba = directory / "ba";
  BackgroundProcess first(router_test::routerCommand(
      kFiles, script("first", "echo > " + ab + "; cat " + ba + " > /dev/null; ")));
  BackgroundProcess second(router_test::routerCommand(
      kFiles, script("second", "cat " + ab + " > /dev/null; echo > " + ba + "; ")));
  EXPECT_EQ(first.wait().out, "first\nfirst\n");
  EXPECT_EQ(second.wait().out, "second\nsecond\n");
}

TEST_F(RouterRun, ARunInsideARunHasFilesOfItsOwn) {
  const ProcessResult result =
      runScript(kFiles, "echo outer > /tmp/ipt_compiler_out; " + kRouter +
                            " --tables=files sh -c 'ls /tmp/ipt_compiler_out; "
                            "echo inner > /tmp/ipt_compiler_out; ls /run/ubus'; "
                            "cat /tmp/ipt_compiler_out; ls /run/ubus");
  EXPECT_EQ(result.out, "ubus.sock\nouter\n");
  EXPECT_EQ(result.exitStatus, 0);
}

TEST_F(RouterKernelRun, AutoTakesTheKernelsTablesThroughTheLegacyTools) {
  const ProcessResult result =
      runScript({"--no-bus"}, "echo $TESTBED_TABLES_KIND ${TESTBED_TABLES-none}");
  EXPECT_EQ(result.out, "legacy none\n");
  EXPECT_EQ(result.err, kLegacyLine);
}

TEST_F(RouterKernelRun, EveryToolInPathIsOfTheChosenKind) {
  const std::string script =
      "for tool in iptables iptables-save iptables-restore ip6tables ip6tables-save "
      "ip6tables-restore; do $tool --version | sed 's/ v[0-9.]*//'; done";
  const auto expected = [](const std::string& kind) {
    std::string text;
    for (const char* family : {"iptables", "ip6tables"}) {
      for (const char* action : {"", "-save", "-restore"}) {
        text += std::string(family) + action + " (" + kind + ")\n";
      }
    }
    return text;
  };
  const ProcessResult legacy = runScript({"--tables=legacy", "--no-bus"}, script);
  EXPECT_EQ(legacy.out, expected("legacy"));
  EXPECT_EQ(legacy.err, kLegacyLine);
  const ProcessResult nft = runScript({"--tables=nft", "--no-bus"}, script);
  EXPECT_EQ(nft.out, expected("nf_tables"));
  EXPECT_EQ(nft.err, kNftLine);
}

TEST_F(RouterKernelRun, TablesStartWithoutRulesAndTheLoopbackDeviceIsUp) {
  for (const std::string tables : {"--tables=legacy", "--tables=nft"}) {
    const ProcessResult result =
        runScript({tables, "--no-bus"},
                  "for f in iptables ip6tables; do for t in mangle nat filter; do"
                  " $f-save -t $t | grep -c -e '^-A' -e '^:.*-' || true; done; done;"
                  "ip -o -4 address show | awk '{ print $2, $4 }'");
    EXPECT_EQ(result.out, "0\n0\n0\n0\n0\n0\nlo 127.0.0.1/8\n");
  }
}

TEST_F(RouterKernelRun, AnOrdinaryUserGetsTheSame) {
  if (geteuid() != 0) GTEST_SKIP() << "every other test runs as an ordinary user already";
  // Other users may not be able to read the build tree.
  const TempDir directory;
  std::filesystem::permissions(directory.path(), std::filesystem::perms{0755});
  for (const std::string& piece :
       {kRouter, router_test::kBusDaemon, router_test::kPreloadLibrary}) {
    std::filesystem::copy(piece, directory.path());
  }
  const ProcessResult result = runProcess(
      {"env", "-C", "/", "setpriv", "--reuid=65534", "--regid=65534", "--clear-groups",
       directory / "router", "--tables=legacy", "sh", "-c",
       "id -u; ls /run/ubus; iptables -A OUTPUT -j DROP && iptables-save -t filter | grep -e -A"});
  EXPECT_EQ(result.out, "0\nubus.sock\n-A OUTPUT -j DROP\n");
  EXPECT_EQ(result.err, kLegacyLine);
}

}  // namespace
