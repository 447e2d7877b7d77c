// The two fixed paths of a run: the file that goes from the program to the restore tool, and the
// tables' lock.
#include <string>

#include "tests/router/faults/fault_table.h"
#include "tests/router/product_run.h"

namespace fault_test {
namespace {

using test_support::uncaught;

std::string repeated(const std::string& line, int count) {
  std::string text;
  for (int i = 0; i < count; ++i) text += line;
  return text;
}

const std::string kNoFile = "cat: /tmp/ipt_compiler_out: No such file or directory\n";
const std::string kDirectory = "cat: /tmp/ipt_compiler_out: Is a directory\n";
const std::string kNoLock = uncaught("std::runtime_error", "Can't get xtable lock.");

// Puts a text into the file and makes it one that root cannot write either.
std::string stale(const std::string& text) {
  return "cat > /tmp/ipt_compiler_out << 'END'\n" + text +
         "END\n"
         "mount --bind /tmp/ipt_compiler_out /tmp/ipt_compiler_out\n"
         "mount -o remount,bind,ro /tmp/ipt_compiler_out\n";
}
const std::string kNoLongerStale = "umount /tmp/ipt_compiler_out; rm /tmp/ipt_compiler_out\n";

const std::string kOpenFilter =
    "*filter\n:INPUT ACCEPT [0:0]\n:FORWARD ACCEPT [0:0]\n:OUTPUT ACCEPT [0:0]\nCOMMIT\n";

// Covers /tmp by a file system with so many free pages of memory, of four.
std::string fullTmp(int free) {
  return "mount -t tmpfs -o size=16k none /tmp\n"
         "head -c " +
         std::to_string(4096 * (4 - free)) + " /dev/zero > /tmp/filler\n";
}
const std::string kNoLongerFull = "umount /tmp\n";

// Some 9,000 bytes, which take three pages: rules of another program in the first pass's table.
const std::string kManyRules = [] {
  std::string rules;
  for (int i = 0; i < 250; ++i) {
    rules += "-A INPUT -s 10.0.0." + std::to_string(i) + "/32 -j ACCEPT\n";
  }
  return rules;
}();

using FileFaults = product_test::ProductTest;
INSTANTIATE_TEST_SUITE_P(Kinds, FileFaults, testing::Values("legacy", "nft"),
                         [](const auto& kind) { return kind.param; });

// A file that cannot be written is no error of the program's own: the restore tools get what can be
// read there. That is nothing, and then no table changes, or an older text.
TEST_P(FileFaults, OfTheOutputFile) {
  const std::vector<Fault> faults = {
      {.name = "a directory is in its place",
       .before = "mkdir /tmp/ipt_compiler_out",
       .after = "rmdir /tmp/ipt_compiler_out",
       .err = repeated(kDirectory, kPasses),
       .keptTables = kAllTables},
      {.name = "the file system is read-only",
       .before = "mount -t tmpfs -o ro none /tmp",
       .after = "umount /tmp",
       .err = repeated(kNoFile, kPasses),
       .keptTables = kAllTables},
      {.name = "the file system has no room for one more file",
       .before = "mount -t tmpfs -o nr_inodes=2 none /tmp; : > /tmp/filler",
       .after = "umount /tmp",
       .err = repeated(kNoFile, kPasses),
       .keptTables = kAllTables},
      {.name = "a link into a missing directory is in its place",
       .before = "rm -f /tmp/ipt_compiler_out; ln -s missing/file /tmp/ipt_compiler_out",
       .after = "rm /tmp/ipt_compiler_out",
       .err = repeated(kNoFile, kPasses),
       .keptTables = kAllTables},
      {.name = "a link to a missing file is in its place, and makes it",
       .before = "rm -f /tmp/ipt_compiler_out; ln -s made /tmp/ipt_compiler_out",
       .after = "rm /tmp/ipt_compiler_out /tmp/made"},
      {.name = "a file of an earlier run is in its place, and is replaced",
       .before = "yes stale | head -c 100000 > /tmp/ipt_compiler_out"},
      {.name = "a file that nobody may read or write is in its place, which root may",
       .before = ": > /tmp/ipt_compiler_out; chmod 0 /tmp/ipt_compiler_out"},
      {.name = "a link to the null device is in its place",
       .before = "rm -f /tmp/ipt_compiler_out; ln -s /dev/null /tmp/ipt_compiler_out",
       .after = "rm /tmp/ipt_compiler_out",
       .keptTables = kAllTables},
      // The worst that can happen: the six passes install an older text, whatever its table is.
      {.name = "a file of an earlier run is there and cannot be written",
       .before = stale(kOpenFilter),
       .after = kNoLongerStale,
       .keptTables = {1, 2, 4, 5},
       .otherTables = {{3, kOpenFilter}, {6, kOpenFilter}},
       .healedTables = {{3, kOpenFilter}, {6, kOpenFilter}}},
      {.name = "a file with half a text is there and cannot be written",
       .before = stale("*filter\n:INPUT ACCEPT [0:0]\n"),
       .after = kNoLongerStale,
       .status = kAborted,
       .err = "iptables-restore: COMMIT expected at line 3\n" + kNoCommit,
       .keptTables = kAllTables},
  };
  checkFaults("faults of the output file", faults, {.tables = GetParam()});
}

// A text that has been cut off has no COMMIT line. One that has been cut off to nothing is no
// error.
TEST_P(FileFaults, OfAFullFileSystem) {
  std::vector<Fault> faults = {
      {.name = "no page free for small tables",
       .before = fullTmp(0),
       .after = kNoLongerFull,
       .keptTables = kAllTables},
      {.name = "one page free for small tables", .before = fullTmp(1), .after = kNoLongerFull}};
  for (int free = 0; free <= 4; ++free) {
    const bool fits = free >= 3;
    const bool isEmpty = free == 0;
    Fault fault;
    fault.name = std::to_string(free) + " pages free for a table of three";
    fault.before = "cat > /run/many << 'END'\n*mangle\n" + kManyRules +
                   "COMMIT\nEND\nchange_unlocked iptables-restore --noflush < /run/many\n" +
                   fullTmp(free);
    fault.after = kNoLongerFull;
    // The tool's own message depends on the word that the text ends in.
    if (!fits && !isEmpty) fault.tools[restoreOf(1)] = "exec 2> /dev/null";
    fault.status = fits || isEmpty ? 0 : kAborted;
    fault.err = fits || isEmpty ? "" : kNoCommit;
    if (!fits) fault.keptTables = kAllTables;
    fault.otherTables = {{1, withRules(fits ? newTable(1) : oldTable(1), "INPUT", kManyRules)}};
    fault.healedTables = {{1, withRules(newTable(1), "INPUT", kManyRules)}};
    faults.push_back(fault);
  }
  checkFaults("faults of a full file system", faults, {.tables = GetParam()});
}

TEST_P(FileFaults, OfTheLockFile) {
  const std::vector<Fault> faults = {
      {.name = "the lock file is missing, and is made", .before = "rm -f /run/xtables.lock"},
      {.name = "the lock file's directory is missing",
       .before = "rm -f /run/xtables.lock; ln -s missing/xtables.lock /run/xtables.lock",
       .after = "rm /run/xtables.lock",
       .status = kAborted,
       .err = kNoLock,
       .keptTables = kAllTables,
       .left = "left=none lock=missing after=missing"},
      {.name = "a directory is in the lock file's place",
       .before = "rm -f /run/xtables.lock; mkdir /run/xtables.lock",
       .after = "rmdir /run/xtables.lock",
       .status = kAborted,
       .err = kNoLock,
       .keptTables = kAllTables},
      {.name = "the directory of the lock and of the bus is missing",
       .before = "mount -t tmpfs none /var",
       .after = "umount /var",
       .status = kAborted,
       .err = uncaught("std::runtime_error", "Ubus: Failed to connect to ubusd."),
       .keptTables = kAllTables},
  };
  checkFaults("faults of the lock file", faults, {.tables = GetParam()});
}

TEST_P(FileFaults, OfALockThatIsHeld) {
  const std::string killProgram = " $(cat $row/report.pid)\n";
  const std::vector<Fault> faults = {
      {.name = "it is released, and the run goes on",
       .before = "hold_lock",
       .during = "await_waiting $run; show_tables /run/before; release\n",
       .after = "cat /run/before.? | grep -c comment.ipt_compiler > $row/noted",
       .note = "6\n"},
      {.name = "two runs before this one wait, and take turns",
       .before = R"sh(hold_lock
mkdir /run/noting
for tool in $(ls tools); do
  printf '#!/bin/sh\necho $RUN >> /run/order\nexec %s "$@"\n' "$(command -v $tool)" \
    > /run/noting/$tool
  chmod +x /run/noting/$tool
done
RUN=one PATH=/run/noting:$PATH "$PROGRAM" &
one=$!
RUN=two PATH=/run/noting:$PATH "$PROGRAM" &
two=$!
await_waiting $one $two
release
wait $one
wait $two
uniq -c /run/order | sort | sed 's/^ *//' > $row/noted
rm -r /run/noting /run/order
)sh",
       .note = "18 one\n18 two\n"},
      {.name = "the program is killed while it waits",
       .before = "hold_lock",
       .during = "await_waiting $run; kill -KILL" + killProgram,
       .after = "release",
       .status = 128 + 9,
       .keptTables = kAllTables,
       .left = "left=none lock=held after=held"},
      {.name = "the program is ended while it waits",
       .before = "hold_lock",
       .during = "await_waiting $run; kill -TERM" + killProgram,
       .after = "release",
       .status = 128 + 15,
       .keptTables = kAllTables,
       .left = "left=none lock=held after=held"},
      {.name = "the holder is killed, and the run goes on",
       .before = "hold_lock",
       .during = "await_waiting $run; kill -KILL $holder",
       .after = "wait $holder || :"},
  };
  checkFaults("faults of a lock that is held", faults, {.tables = GetParam()});
}

// Without the preload library the restore tool waits for the lock that it has inherited itself, and
// so for ever; nft tools take no lock.
using PreloadLibrary = product_test::ProductTest;
INSTANTIATE_TEST_SUITE_P(Kinds, PreloadLibrary, testing::Values("legacy"),
                         [](const auto& kind) { return kind.param; });

TEST_P(PreloadLibrary, ThatCannotBeLoadedKeepsTheRunWaitingUntilTheRestoreToolIsKilled) {
  const std::string library = "/usr/lib/libxtlock_intercept.so";
  // Once for the shell of failing_tool.sh, once for the tool.
  const std::string notLoaded = repeated("ERROR: ld.so: object '" + library +
                                             "' from LD_PRELOAD cannot be preloaded (file too "
                                             "short): ignored.\n",
                                         2);
  Fault fault = {.name = "the library cannot be loaded",
                 .before = "umount " + library,
                 .during = "await_waiting $run; kill -KILL $(cat /run/restore)",
                 .after = "mount --bind $PRELOAD_LIBRARY " + library,
                 .tools = {{restoreOf(1), "echo $$ > /run/restore"}},
                 .status = kAborted,
                 .err = notLoaded + "Killed\n" + kNoCommit,
                 .keptTables = kAllTables};
  std::vector<Fault> faults = {fault};
  // The lock stays with the tool.
  fault.name = "the library cannot be loaded, and the program is ended first";
  fault.tools[restoreOf(1)] += "; { read -r _ <&9; echo >&7; } &";
  fault.during =
      "await_waiting $run; kill -TERM $(cat $row/report.pid)\n"
      "await_tool; kill -KILL $(cat /run/restore)";
  fault.status = 128 + 15;
  fault.err = notLoaded + "Killed\n";
  fault.left = "left=some lock=held after=free";
  faults.push_back(fault);
  checkFaults("faults of the preload library", faults);
}

}  // namespace
}  // namespace fault_test
