// The program killed in the middle of a run: after every step that others can see, and while a tool
// works for it. A tool then goes on by itself, with the tables' lock that it has inherited, so that
// nobody sees a table in between and the lock is free when the tool has ended.
#include <algorithm>
#include <csignal>
#include <cstddef>
#include <sstream>

#include "tests/router/faults/fault_table.h"
#include "tests/router/product_run.h"

namespace fault_test {
namespace {

struct Signal {
  const char* name;
  int number;
};

// The program's end is the same for both signals, so one is enough for the nft tables.
std::vector<Signal> signalsFor(const std::string& tables) {
  std::vector<Signal> signals = {{"SIGKILL", SIGKILL}};
  if (tables == "legacy") signals.push_back({"SIGTERM", SIGTERM});
  return signals;
}

using KillFaults = product_test::ProductTest;
INSTANTIATE_TEST_SUITE_P(Kinds, KillFaults, testing::Values("legacy", "nft"),
                         [](const auto& kind) { return kind.param; });

std::vector<std::string> linesOf(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) lines.push_back(line);
  return lines;
}

TEST_P(KillFaults, AfterEveryStepFromTheLockToTheEnd) {
  if (const std::string reason = tracingRefusal(); !reason.empty()) GTEST_SKIP() << reason;
  Fault whole;
  whole.name = "no fault: the steps are counted";
  whole.options = "--steps=run";
  const std::vector<std::string> reports = checkFaults("", {whole}, {.tables = GetParam()});
  ASSERT_EQ(reports.size(), 1);
  const std::vector<std::string> steps = linesOf(reports.front());
  EXPECT_EQ(std::count(steps.begin(), steps.end(), "start"), 2 * kPasses);

  std::vector<Fault> faults;
  int started = 0;
  for (std::size_t step = 1; step <= steps.size(); ++step) {
    if (steps[step - 1] == "start") ++started;
    for (const Signal& signal : signalsFor(GetParam())) {
      Fault fault;
      fault.name =
          std::string(signal.name) + " after step " + std::to_string(step) + ", " + steps[step - 1];
      fault.options = "--steps=run --signal=" + std::to_string(signal.number) +
                      " --after=" + std::to_string(step);
      fault.status = 128 + signal.number;
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
  enum { Save, Restore, Cat } tool;
  const char* before;  // of its script, before the program is killed
  const char* after;   // when the program has ended; then the tool does its work
  const char* message;
  Table table;
};

constexpr Orphan kOrphans[] = {
    {"save tool starts", Orphan::Save, "", "", "", Table::Stays},
    {"save tool has printed the table", Orphan::Save, "real \"$@\"", "exit", "", Table::Stays},
    {"cat starts", Orphan::Cat, "", "", "", Table::IsReplaced},
    {"cat is killed, too", Orphan::Cat, "", "kill -KILL $$", "Killed\n", Table::Stays},
    {"cat stops half-way, too", Orphan::Cat, "", "real \"$@\" | head -n 3; exit",
     "@-restore: COMMIT expected at line 4\n", Table::Stays},
    {"restore tool starts", Orphan::Restore, "", "", "", Table::IsReplaced},
    {"restore tool is killed, too", Orphan::Restore, "", "kill -KILL $$", "Killed\n", Table::Stays},
    {"restore tool has replaced the table", Orphan::Restore, "real \"$@\"", "exit", "",
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
      for (const Signal& signal : signalsFor(GetParam())) {
        Fault fault;
        fault.name = std::string(signal.name) + " in pass " + std::to_string(pass) + " when the " +
                     orphan.name;
        const std::string script = std::string(orphan.before) + "\nkill -" +
                                   std::to_string(signal.number) + " $PROGRAM_PID" + look +
                                   orphan.after + "\n";
        const int number = 2 * pass;
        if (orphan.tool == Orphan::Cat) {
          fault.cats[pass] = script;
        } else {
          fault.tools[orphan.tool == Orphan::Save ? number - 1 : number] = script;
        }
        fault.status = 128 + signal.number;
        fault.err = orphan.message;
        if (const std::size_t at = fault.err.find('@'); at != std::string::npos) {
          fault.err.replace(at, 1, pass <= kPasses / 2 ? "iptables" : "ip6tables");
        }
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
