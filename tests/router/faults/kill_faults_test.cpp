// The program killed in the middle of a run: after every step that others can see, and while a tool
// works for it. A tool then goes on by itself, with the tables' lock that it has inherited, so that
// nobody sees a table in between and the lock is free when the tool has ended.
#include <algorithm>
#include <csignal>
#include <cstddef>
#include <iterator>
#include <sstream>

#include "tests/router/faults/fault_table.h"
#include "tests/router/product_run.h"

namespace fault_test {
namespace {

// The program's end is the same for both signals, so one is enough for the nft tables.
std::vector<int> signalsFor(const std::string& tables) {
  if (tables == "nft") return {SIGKILL};
  return {SIGKILL, SIGTERM};
}

using KillFaults = product_test::ProductTest;
INSTANTIATE_TEST_SUITE_P(Kinds, KillFaults, testing::Values("legacy", "nft"),
                         [](const auto& kind) { return kind.param; });

TEST_P(KillFaults, AfterEveryStepFromTheLockToTheEnd) {
  if (const std::string reason = tracingRefusal(); !reason.empty()) GTEST_SKIP() << reason;
  Fault whole;
  whole.name = "no fault: the steps are counted";
  whole.options = "run";
  std::istringstream words(checkFaults("", {whole}, {.tables = GetParam()}));
  const std::vector<std::string> steps{std::istream_iterator<std::string>(words), {}};
  EXPECT_EQ(std::count(steps.begin(), steps.end(), "start"), 2 * kPasses);
  EXPECT_EQ(std::count(steps.begin(), steps.end(), "flock"), 1);

  std::vector<Fault> faults;
  int started = 0;
  for (std::size_t step = 1; step <= steps.size(); ++step) {
    if (steps[step - 1] == "start") ++started;
    for (const int signal : signalsFor(GetParam())) {
      const std::string number = std::to_string(step);
      Fault fault;
      fault.name =
          "signal " + std::to_string(signal) + " after step " + number + ", " + steps[step - 1];
      fault.options = "run " + std::to_string(signal) + " " + number;
      fault.status = 128 + signal;
      fault.keptTables = passesFrom(started / 2 + 1);
      fault.left = kAnyLeft;
      faults.push_back(fault);
    }
  }
  checkFaults("kills after every step", faults, {.tables = GetParam()});
}

// What a tool does in the moment that the program ends, and what becomes of its pass's table.
struct Orphan {
  const char* name;
  std::string (*toolOf)(int pass);
  const char* before;  // of its script, before the program is killed
  const char* after;   // when the program has ended; then the tool does its work
  const char* message;
  Table table;
};

constexpr Orphan kOrphans[] = {
    {"save tool starts", saveOf, "", "", "", Table::Stays},
    {"save tool has printed the table", saveOf, "real \"$@\"", "exit", "", Table::Stays},
    {"cat starts", catOf, "", "", "", Table::IsReplaced},
    {"cat is killed, too", catOf, "", "kill -KILL $$", "Killed\n", Table::Stays},
    {"cat stops half-way, too", catOf, "", "real \"$@\" | head -n 3; exit",
     "@-restore: COMMIT expected at line 4\n", Table::Stays},
    {"restore tool starts", restoreOf, "", "", "", Table::IsReplaced},
    {"restore tool is killed, too", restoreOf, "", "kill -KILL $$", "Killed\n", Table::Stays},
    {"restore tool has replaced the table", restoreOf, "real \"$@\"", "exit", "",
     Table::IsReplaced},
};

TEST_P(KillFaults, WhileAToolWorks) {
  // Nobody gets the lock before the tool has ended.
  const std::string look =
      "\nread -r _ <&9\n"
      "flock --nonblock /run/xtables.lock echo free >> $FAULT/noted || echo held >> $FAULT/noted\n";
  std::vector<Fault> faults;
  for (const int pass : passesFor(GetParam())) {
    for (const Orphan& orphan : kOrphans) {
      for (const int signal : signalsFor(GetParam())) {
        const std::string number = std::to_string(signal);
        Fault fault;
        fault.name =
            "signal " + number + " in pass " + std::to_string(pass) + " when the " + orphan.name;
        fault.tools[orphan.toolOf(pass)] = std::string(orphan.before) + "\nkill -" + number +
                                           " $PROGRAM_PID" + look + orphan.after + "\n";
        fault.status = 128 + signal;
        fault.err = messageOf(pass, orphan.message);
        fault.keptTables = passesFrom(orphan.table == Table::Stays ? pass : pass + 1);
        fault.left = "left=some lock=held after=free";
        fault.note = "held\n";
        faults.push_back(fault);
      }
    }
  }
  checkFaults("kills while a tool works", faults, {.tables = GetParam()});
}

}  // namespace
}  // namespace fault_test
