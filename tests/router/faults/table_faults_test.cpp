// Tables that another process changes while a run is at them, and tables with very many rules.
#include <string>

#include "tests/router/faults/fault_table.h"
#include "tests/router/product_run.h"

namespace fault_test {
namespace {

const std::string kChange = " -t mangle -A FORWARD -p icmp -j ACCEPT";
const std::string kRule = "-A FORWARD -p icmp -j ACCEPT\n";

// A tool of the run waits there until the change is made.
const std::string kWaitForChange = "echo >&7; read -r _ <&8\n";

Fault changed(const std::string& name, const std::string& tool, const std::string& script,
              const std::string& change) {
  Fault fault;
  fault.name = name;
  fault.during = "await_tool\n" + change + "resume_tool\n";
  fault.tools[tool] = script;
  return fault;
}

using TableFaults = product_test::ProductTest;
INSTANTIATE_TEST_SUITE_P(Kinds, TableFaults, testing::Values("legacy", "nft"),
                         [](const auto& kind) { return kind.param; });

// Between save and restore of its table the change is lost: the restore tool replaces the table by
// what was saved. At every other time it stays.
TEST_P(TableFaults, OfAnotherProcessThatTakesNoLock) {
  const std::string change = "change_unlocked iptables" + kChange + "\n";
  const std::map<int, std::string> kept = {{1, withRules(newTable(1), "FORWARD", kRule)}};
  std::vector<Fault> faults = {
      changed("before the save", saveOf(1), kWaitForChange, change),
      changed("after the save", saveOf(1), "real \"$@\"\n" + kWaitForChange + "exit", change),
      changed("before the restore", restoreOf(1), kWaitForChange, change),
      changed("after the restore", restoreOf(1), "real \"$@\"\n" + kWaitForChange + "exit", change),
      changed("in a later pass", saveOf(2), kWaitForChange, change),
      changed("it empties the table between save and restore, and all is there again", restoreOf(1),
              kWaitForChange, "change_unlocked iptables -t mangle -F\n"),
  };
  for (const std::size_t stays : {0U, 3U, 4U}) {
    faults[stays].otherTables = kept;
    faults[stays].healedTables = kept;
  }
  checkFaults("faults of another process without the lock", faults, {.tables = GetParam()});
}

// The nft tools know no lock, and take long for many rules.
using LegacyTableFaults = product_test::ProductTest;
INSTANTIATE_TEST_SUITE_P(Kinds, LegacyTableFaults, testing::Values("legacy"),
                         [](const auto& kind) { return kind.param; });

TEST_P(LegacyTableFaults, OfAnotherProcessThatWaitsForTheLock) {
  Fault waiting =
      changed("it waits, and changes the table after the run", restoreOf(1), kWaitForChange,
              "iptables" + kChange + " &\nchange=$!\nawait_waiting $change\n");
  waiting.after = "wait $change\n";
  waiting.left = kAnyLeft;
  waiting.otherTables = {{1, withRules(newTable(1), "FORWARD", kRule)}};
  waiting.healedTables = waiting.otherTables;
  checkFaults("faults of another process with the lock", {waiting});
}

constexpr int kForeignRules = 20000;

// A row whose six tables have that many rules of another program.
Fault withManyRules(const std::string& name, const std::set<int>& kept) {
  static const std::string rules = [] {
    std::string text;
    for (int i = 0; i < kForeignRules; ++i) {
      const std::string number = std::to_string(i);
      text += "-A OUTPUT -p tcp -m tcp --dport " + number + " -m comment --comment \"host " +
              number + "\" -j ACCEPT\n";
    }
    return text;
  }();
  Fault fault;
  fault.name = name;
  fault.before = "cat > /run/many << 'END'\n" + rules +
                 "END\n"
                 "for family in iptables ip6tables; do\n"
                 "  for table in mangle nat filter; do\n"
                 "    { echo \"*$table\"; cat /run/many; echo COMMIT; } |\n"
                 "      change_unlocked $family-restore --noflush\n"
                 "  done\n"
                 "done\n";
  for (int pass = 1; pass <= kPasses; ++pass) {
    fault.healedTables[pass] = withRules(newTable(pass), "OUTPUT", rules);
    fault.otherTables[pass] =
        kept.contains(pass) ? withRules(oldTable(pass), "OUTPUT", rules) : fault.healedTables[pass];
  }
  return fault;
}

TEST_P(LegacyTableFaults, AmongTwentyThousandRulesOfAnotherProgramLoseNone) {
  std::vector<Fault> faults = {withManyRules("no fault", {})};
  // More than fits into a pipe is on its way.
  Fault fault = withManyRules("the save tool is killed half-way", kAllTables);
  fault.tools[saveOf(1)] = "real \"$@\" | head -n 10000; kill -KILL $$";
  fault.status = kAborted;
  const std::string noCommit = "iptables-restore: COMMIT expected at line 10000\n" + kNoCommit;
  fault.err = "Killed\n" + noCommit;
  faults.push_back(fault);
  fault = withManyRules("the program is killed while the restore tool reads", passesFrom(2));
  fault.tools[restoreOf(1)] = "kill -KILL $PROGRAM_PID; read -r _ <&9";
  fault.status = 128 + 9;
  fault.left = "left=some lock=held after=free";
  faults.push_back(fault);
  checkFaults("faults among 20,000 rules", faults);
}

}  // namespace
}  // namespace fault_test
