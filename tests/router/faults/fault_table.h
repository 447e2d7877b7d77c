// A table of faults: each row says what goes wrong in a run of the product and what must hold
// afterwards. The rows of a table are run one after the other on one router, each on the same
// tables: rules of other programs, and in every table a rule of an earlier run. A fault is gone
// when the row is over, and then one more run must do everything that the failed one did not.
#pragma once

#include <gtest/gtest.h>

#include <map>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "tests/support/process.h"

namespace fault_test {

// Shell texts are run by fault_rows.sh, which has functions for them.
struct Fault {
  std::string name = {};
  std::string before = {};  // in the shell, before the run
  std::string during = {};  // beside it
  std::string after = {};   // and after it, when the tables are not looked at yet
  std::map<std::string, std::string> tools = {};  // in a tool of the run; see failing_tool.sh
  std::string options = {};                       // of watch_program

  int status = 0;        // as a shell tells it
  std::string err = {};  // whole, but for the tools' versions
  // The passes, from 1, whose tables are as before the run; the others are as after a whole one.
  std::set<int> keptTables = {};
  // The text of a table that is neither, by pass.
  std::map<int, std::string> otherTables = {};
  std::map<int, std::string> healedTables = {};  // the same for the run after it
  // What watch_program says next to the status.
  std::string_view left = "left=none lock=free after=free";
  std::string note = {};  // what a row of its own file says in `noted`
};

inline constexpr std::string_view kAnyLeft = "";  // nothing but that the lock is free in the end
inline constexpr int kAborted = 128 + 6;
inline constexpr int kPasses = 6;

// The tools of a pass, as `tools` above has them.
inline std::string saveOf(int pass) {
  return "tool." + std::to_string(2 * pass - 1);
}
inline std::string restoreOf(int pass) {
  return "tool." + std::to_string(2 * pass);
}
inline std::string catOf(int pass) {
  return "cat." + std::to_string(pass);
}
inline std::string familyOf(int pass) {
  return pass <= kPasses / 2 ? "iptables" : "ip6tables";
}
// A message of a tool, where @ stands for the family.
std::string messageOf(int pass, std::string message);

// The passes from one to the last.
std::set<int> passesFrom(int first);
inline const std::set<int> kAllTables = passesFrom(1);
inline const std::string kNoCommit =
    test_support::uncaught("std::runtime_error", "failed to commit");

// What becomes of the table of the pass that a fault is in.
enum class Table { Stays, IsReplaced };

// The configuration: DNS over UDP to queue 2, unless marked.
inline const std::string kSmallConfig =
    "config nfnlq 'nfnlq'\n"
    "  option queue_first '2'\n"
    "  option queue_last '2'\n"
    "  list matches '-p udp -m udp --dport 53'\n"
    "  list matches 'AND'\n"
    "  list matches 'NOT -m mark --mark 0x1/0x1'\n";

struct Setup {
  std::string tables = "legacy";
  bool bus = true;
  std::string err = {};  // what the router itself says, whole
};

// The table of a pass, from 1, as saved without comments: before every run, and after a whole one.
std::string oldTable(int pass);
std::string newTable(int pass);
// What other programs have in it.
std::string foreignTable(int pass);

// A saved table with further rules of another program, all of one chain, at the end of the chain's
// own. The generated rules of mangle come after them.
std::string withRules(std::string table, const std::string& chain, const std::string& rules);

// Why the system does not let a process be traced, which options with --steps need; else empty. Any
// other failure to trace one is the test's.
std::string tracingRefusal();

// The passes that a table has rows for: all, and fewer for the nft tables, which take longer and
// whose tools differ in nothing that faults are about.
std::vector<int> passesFor(const std::string& tables);

// Runs the rows and compares all that is said above, and that the run after each row ends with 0
// and makes every table new. Prints how many rows there were, unless `what` is empty. Returns the
// steps in watch_program's report of the last row.
std::string checkFaults(std::string_view what, const std::vector<Fault>& faults,
                        const Setup& setup = {});

}  // namespace fault_test
