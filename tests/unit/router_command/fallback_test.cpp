// What is chosen where the system refuses something. The machine whose own paths are used is the
// private one of an outer run, so nothing of the real machine is touched.
#include <gtest/gtest.h>

#include <algorithm>

#include "tests/support/process.h"
#include "tests/unit/router_command/router_under_test.h"

namespace {

using router_test::kDeny;
using router_test::kFilesLine;
using router_test::kRouter;
using router_test::runScript;
using test_support::ProcessResult;
using test_support::runProcess;

const std::string kRefused = "namespaces are refused (clone: Operation not permitted)";

// No namespaces are needed here: the run does not come about.
TEST(RouterChoice, KernelTablesThatAreForcedAndRefusedAreAnError) {
  for (const std::string tables : {"legacy", "nft"}) {
    const ProcessResult result =
        runProcess({kDeny, "namespaces", kRouter, "--tables=" + tables, "true"});
    EXPECT_EQ(result.exitStatus, 125);
    EXPECT_EQ(result.err, "router: " + kRefused + "\n");
  }
}

TEST(RouterChoice, WithoutNamespacesTheMachinesPathsCanBeRuledOut) {
  for (const std::string tables : {"auto", "files"}) {
    const ProcessResult result = runProcess(
        {kDeny, "namespaces", kRouter, "--no-machine-paths", "--tables=" + tables, "true"});
    EXPECT_EQ(result.exitStatus, 125);
    EXPECT_EQ(result.err, "router: " + kRefused + "\n");
  }
}

using RouterFallback = router_test::NamespaceTest;

TEST_F(RouterFallback, WithoutNetworkNamespacesTablesAreInFiles) {
  const ProcessResult result = runProcess(
      {kDeny, "network", kRouter, "--no-bus", "sh", "-c", "echo $TESTBED_TABLES_KIND; ls /run"});
  EXPECT_EQ(result.out, "files\nrouter\nubus\n");
  EXPECT_EQ(result.err,
            "router: tables in files, namespaces of its own, because " + kRefused + "\n");
}

// The machine whose own paths are used.
class RouterOnMachinePaths : public router_test::NamespaceTest {
 protected:
  // Runs `script` on a machine (that of an outer run) where the commands after $deny get no
  // namespaces. `list` prints what stands in the directories that a run uses, with inode numbers.
  static ProcessResult onMachine(const std::string& script) {
    const std::string start = "deny='" + kDeny + " namespaces'; router='" + kRouter + "'; ubusd='" +
                              router_test::kBusDaemon + "';" + R"sh(
list() { ls -Ai /run /run/ubus /tmp /usr/lib 2> /dev/null || true; }
# Starts a bus daemon and waits until it listens.
start_daemon() {
  mkfifo /run/ready
  $ubusd --socket=/run/ubus/ubus.sock --config-dir=/run --ready-fd=1 > /run/ready &
  daemon=$!
  head -c 1 /run/ready > /dev/null
  rm /run/ready
}
rmdir /run/ubus
)sh";
    ProcessResult result = runScript({"--tables=files", "--no-bus"}, start + script);
    // The outer run's own first line is the same everywhere.
    EXPECT_TRUE(result.err.starts_with(kFilesLine)) << result.err;
    result.err.erase(0, std::min(kFilesLine.size(), result.err.size()));
    return result;
  }

  static inline const std::string kFirstLine =
      "router: tables in files, on the machine's own paths, because " + kRefused + "\n";
};

TEST_F(RouterOnMachinePaths, EverythingTheRunMadeIsRemoved) {
  const ProcessResult result = onMachine(R"sh(
before=$(list)
$deny $router sh -c 'ls /run/ubus; touch /run/xtables.lock /tmp/ipt_compiler_out
  echo $TESTBED_TABLES_KIND; iptables-save -t nat | grep -c COMMIT; exit 9' || echo $?
test "$before" = "$(list)")sh");
  EXPECT_EQ(result.exitStatus, 0);
  EXPECT_EQ(result.out, "ubus.sock\nfiles\n1\n9\n");
  EXPECT_EQ(result.err, kFirstLine);
}

TEST_F(RouterOnMachinePaths, WhatStoodThereBeforeIsThereAgain) {
  const ProcessResult result = onMachine(R"sh(
mkdir /run/ubus
start_daemon
kill -KILL $daemon
{ wait $daemon || true; } 2> /dev/null
echo kept > /tmp/ipt_compiler_out
echo lock > /run/xtables.lock
before=$(list)
$deny $router sh -c 'ls /run/ubus /tmp/ipt_compiler_out; cat /run/xtables.lock
  echo x > /tmp/ipt_compiler_out' || true
cat /tmp/ipt_compiler_out
test "$before" = "$(list)")sh");
  EXPECT_EQ(result.exitStatus, 0);
  // The dead daemon's socket and the old output are out of sight meanwhile.
  EXPECT_EQ(result.out, "/run/ubus:\nubus.sock\nubus.sock.before-router\nlock\nkept\n");
  EXPECT_EQ(result.err,
            kFirstLine + "ls: cannot access '/tmp/ipt_compiler_out': No such file or directory\n");
}

TEST_F(RouterOnMachinePaths, WhatAKilledRunHasSetAsideIsNotLost) {
  const ProcessResult result = onMachine(R"sh(
echo kept > /tmp/ipt_compiler_out.before-router
echo new > /tmp/ipt_compiler_out
before=$(list)
$deny $router true || echo $?
cat /tmp/ipt_compiler_out.before-router /tmp/ipt_compiler_out
test "$before" = "$(list)")sh");
  EXPECT_EQ(result.exitStatus, 0);
  EXPECT_EQ(result.out, "125\nkept\nnew\n");
  EXPECT_EQ(
      result.err,
      "router: /tmp/ipt_compiler_out.before-router is left from a run that was killed: rename "
      "it to /tmp/ipt_compiler_out or remove it\n");
}

TEST_F(RouterOnMachinePaths, ALiveBusDaemonIsARefusal) {
  const ProcessResult result = onMachine(R"sh(
mkdir /run/ubus
start_daemon
before=$(list)
$deny $router true || echo $?
test "$before" = "$(list)")sh");
  EXPECT_EQ(result.exitStatus, 0);
  EXPECT_EQ(result.out, "125\n");
  EXPECT_EQ(result.err,
            "router: a bus daemon lives on /var/run/ubus/ubus.sock: refusing to use the machine's "
            "own paths\n");
}

TEST_F(RouterOnMachinePaths, ARouterIsARefusal) {
  const ProcessResult result = onMachine(R"sh(
mount -t tmpfs none /etc
touch /etc/openwrt_release
before=$(list)
$deny $router true || echo $?
test "$before" = "$(list)")sh");
  EXPECT_EQ(result.exitStatus, 0);
  EXPECT_EQ(result.out, "125\n");
  EXPECT_EQ(result.err,
            "router: this machine is a router (it has /etc/openwrt_release): refusing to use its "
            "own paths\n");
}

TEST_F(RouterOnMachinePaths, ADirectoryThatCannotBeWrittenIsNamed) {
  const ProcessResult result = onMachine(R"sh(
mount -o remount,bind,ro /run
$deny $router true || echo $?)sh");
  EXPECT_EQ(result.out, "125\n");
  EXPECT_EQ(result.err, "router: cannot make /var/run/ubus: Read-only file system\n");
}

TEST_F(RouterOnMachinePaths, ARunInsideSuchARunIsARefusal) {
  const ProcessResult result = onMachine("$deny $router $router true || echo $?");
  EXPECT_EQ(result.out, "125\n");
  EXPECT_EQ(result.err,
            kFirstLine + "router: already inside a run that uses the machine's own paths\n");
}

TEST_F(RouterOnMachinePaths, ASecondRunWaitsForTheFirst) {
  const ProcessResult result = onMachine(R"sh(
mkfifo /run/started /run/go
$deny $router sh -c 'echo > /run/started; cat /run/go > /dev/null; echo first' 2> /dev/null &
cat /run/started > /dev/null
$deny $router echo second 2> /dev/null &
# The kernel lists who waits for a lock with an arrow, and the file by its device and inode.
device=$(mountpoint -d /run)
file=$(printf %02x:%02x:%d ${device%:*} ${device#*:} $(stat -c %i /run))
until grep -q -e "-> FLOCK .* $file " /proc/locks; do :; done
echo waiting
echo > /run/go
wait)sh");
  EXPECT_EQ(result.out, "waiting\nfirst\nsecond\n");
  EXPECT_EQ(result.err, "");
}

TEST_F(RouterOnMachinePaths, ASignalToTheRouterEndsEveryProcessAndCleansUp) {
  // The substitution ends when no process holds its pipe any more.
  const ProcessResult result = onMachine(R"sh(
mkfifo /run/never /run/started
before=$(list)
for signal in TERM HUP KILL; do
  rest=$(
    $deny $router sh -c "trap '' INT TERM HUP
      setsid cat /run/never & echo > /run/started; cat /run/never" 2> /dev/null &
    cat /run/started > /dev/null
    kill -$signal $!
    { wait $! || echo $?; } 2> /dev/null)
  echo $signal $rest
  test "$before" = "$(list)"
done)sh");
  EXPECT_EQ(result.exitStatus, 0);
  EXPECT_EQ(result.out, "TERM 143\nHUP 129\nKILL 137\n");
  EXPECT_EQ(result.err, "");
}

TEST_F(RouterOnMachinePaths, RefusedMountsLeadThereToo) {
  const ProcessResult result = onMachine("${deny%namespaces}mounts $router --no-bus true");
  EXPECT_EQ(result.exitStatus, 0);
  EXPECT_EQ(result.err,
            "router: tables in files, on the machine's own paths, because namespaces are refused "
            "(mount on /: Operation not permitted)\n");
}

}  // namespace
