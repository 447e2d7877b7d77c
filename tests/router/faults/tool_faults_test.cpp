// A save tool, restore tool, `cat` or shell that is missing, fails, dies or stops half-way, in each
// of the six passes.
#include <algorithm>
#include <span>

#include "tests/router/faults/fault_table.h"
#include "tests/router/product_run.h"

namespace fault_test {
namespace {

enum class Run { GoesOn, Ends };

struct ToolFault {
  const char* name;
  const char* script;   // of the tool, see failing_tool.sh; null when it is missing
  const char* message;  // of the tools and the shell; @ is "iptables" or "ip6tables"
  Run run;
  Table table;  // of the pass
};

// What a save tool prints is taken for the whole table, however it ends. A text that breaks off has
// no COMMIT line and is refused; no text at all changes nothing, and the run goes on without a
// word. The same happens to cat: the shell's status of the pipeline is that of the restore tool,
// for which no text is no error. Only the first row is the save tool's alone.
constexpr ToolFault kSaveFaults[] = {
    {"prints a first comment only", "real \"$@\" | head -n 1; exit 1", "", Run::GoesOn,
     Table::Stays},
    {"fails", "exit 1", "", Run::GoesOn, Table::Stays},
    {"is killed", "kill -KILL $$", "Killed\n", Run::GoesOn, Table::Stays},
    {"crashes", "kill -SEGV $$", "Segmentation fault\n", Run::GoesOn, Table::Stays},
    {"stops half-way", "real \"$@\" | head -n 3; exit 1", "@-restore: COMMIT expected at line 4\n",
     Run::Ends, Table::Stays},
    {"fails after its work", "real \"$@\"; exit 1", "", Run::GoesOn, Table::IsReplaced},
    {"is killed after its work", "real \"$@\"; kill -KILL $$", "Killed\n", Run::GoesOn,
     Table::IsReplaced},
    {"is missing", nullptr, "", Run::GoesOn, Table::Stays},
};

// A table is replaced in one step: either it was, or it is as before.
constexpr ToolFault kRestoreFaults[] = {
    {"fails", "exit 1", "", Run::Ends, Table::Stays},
    {"is killed", "kill -KILL $$", "Killed\n", Run::Ends, Table::Stays},
    {"crashes", "kill -SEGV $$", "Segmentation fault\n", Run::Ends, Table::Stays},
    {"gets half of its text", "head -n 3 | real \"$@\"; exit 1",
     "@-restore: COMMIT expected at line 4\n", Run::Ends, Table::Stays},
    {"is killed with half of its text", "head -n 3 > /dev/null; kill -KILL $$", "Killed\n",
     Run::Ends, Table::Stays},
    {"fails after its work", "real \"$@\"; exit 1", "", Run::Ends, Table::IsReplaced},
    {"is killed after its work", "real \"$@\"; kill -KILL $$", "Killed\n", Run::Ends,
     Table::IsReplaced},
    {"is missing", nullptr, "", Run::Ends, Table::Stays},
};

// What must hold when this goes wrong in the pass.
Fault makeFault(const std::string& who, int pass, const ToolFault& tool) {
  Fault fault;
  fault.name = who + " of pass " + std::to_string(pass) + " " + tool.name;
  fault.err = messageOf(pass, tool.message);
  if (tool.run == Run::Ends) {
    fault.status = kAborted;
    fault.err += kNoCommit;
    fault.keptTables = passesFrom(pass + 1);
  }
  if (tool.table == Table::Stays) fault.keptTables.insert(pass);
  return fault;
}

struct Tool {
  const char* name;
  std::string command;  // @ as above
  std::string (*startOf)(int pass);
};

class ToolFaults : public product_test::ProductTest {
 protected:
  // remove: takes the tool away for the pass.
  static void checkTool(const Tool& tool, std::span<const ToolFault> rows,
                        void (*remove)(Fault& fault, int pass)) {
    std::vector<Fault> faults;
    for (const int pass : passesFor(GetParam())) {
      for (const ToolFault& row : rows) {
        Fault& fault = faults.emplace_back(makeFault(tool.name, pass, row));
        if (row.script != nullptr) {
          fault.tools[tool.startOf(pass)] = row.script;
        } else {
          fault.err.insert(0, messageOf(pass, "sh: 1: " + tool.command + ": not found\n"));
          remove(fault, pass);
        }
      }
    }
    checkFaults("faults of the tools", faults, {.tables = GetParam()});
  }
};
INSTANTIATE_TEST_SUITE_P(Kinds, ToolFaults, testing::Values("legacy", "nft"),
                         [](const auto& kind) { return kind.param; });

TEST_P(ToolFaults, OfTheSaveTool) {
  checkTool({"save tool", "@-save", saveOf}, kSaveFaults, [](Fault& fault, int pass) {
    const std::string file = "/run/tools/" + familyOf(pass) + "-save";
    const std::string remove = "mv " + file + " /run/taken\n";
    (pass == 1 ? fault.before : fault.tools[restoreOf(pass - 1)]) = remove;
    // The missing tool does not count, so the next one has its number.
    fault.tools[saveOf(pass)] = "mv /run/taken " + file;
  });
}

TEST_P(ToolFaults, OfTheRestoreTool) {
  checkTool({"restore tool", "@-restore", restoreOf}, kRestoreFaults, [](Fault& fault, int pass) {
    fault.tools[saveOf(pass)] = "rm /run/tools/" + familyOf(pass) + "-restore";
  });
}

TEST_P(ToolFaults, OfCat) {
  checkTool({"cat", "cat", catOf}, std::span(kSaveFaults).subspan(1), [](Fault& fault, int pass) {
    fault.tools[saveOf(pass)] = "mv /run/tools/cat /run/taken";
    // The restore tool is started beside cat, so it is too early there.
    if (pass < kPasses) fault.tools[saveOf(pass + 1)] = "mv /run/taken /run/tools/cat";
  });
}

TEST_P(ToolFaults, OfTheShell) {
  const std::string remove = ": > /run/no_shell; mount --bind /run/no_shell /bin/sh\n";
  std::vector<Fault> faults;
  for (const int pass : passesFor(GetParam())) {
    Fault fault =
        makeFault("shell", pass, {"is missing for saving", "", "", Run::Ends, Table::Stays});
    fault.err = test_support::uncaught("std::runtime_error", "Can't exec {toolName}-save");
    fault.after = "umount /bin/sh\n";
    // When the tool before has ended, cat beside it has long had its shell.
    if (pass == 1) {
      fault.before = remove;
    } else {
      fault.tools[restoreOf(pass - 1)] = "real \"$@\"; " + remove + "exit";
    }
    faults.push_back(fault);

    fault = makeFault("shell", pass, {"is missing for restoring", "", "", Run::Ends, Table::Stays});
    fault.after = "umount /bin/sh\n";
    fault.tools[saveOf(pass)] = "real \"$@\"; " + remove + "exit";
    faults.push_back(fault);
  }
  checkFaults("faults of the shell", faults, {.tables = GetParam()});
}

// A saved text that breaks off anywhere never loses a rule: the table stays as it was.
TEST_P(ToolFaults, OfASaveToolThatStopsAfterAnyLine) {
  std::vector<Fault> faults;
  // The text of the first pass: a comment, the table's lines, a comment.
  const std::string table = oldTable(1);
  const int lines = static_cast<int>(std::count(table.begin(), table.end(), '\n')) + 1;
  const int droppedLine = 8;  // the rule of the earlier run, not counted in what is restored
  for (int line = 2; line < lines; ++line) {
    Fault fault =
        makeFault("save tool", 1, {"stops after a line", "", "", Run::Ends, Table::Stays});
    const std::string count = std::to_string(line);
    fault.name += ": " + count;
    fault.tools[saveOf(1)] = "real \"$@\" | head -n " + count + "; exit 1";
    fault.err = "iptables-restore: COMMIT expected at line " +
                std::to_string(line < droppedLine ? line + 1 : line) + "\n" + kNoCommit;
    faults.push_back(fault);
  }
  Fault fault =
      makeFault("save tool", 1, {"stops in COMMIT's line", "", "", Run::Ends, Table::Stays});
  fault.tools[saveOf(1)] = "real \"$@\" | sed '/^COMMIT/,$d'; printf COMM; exit 1";
  fault.err = "Bad argument `COMM'\nError occurred at line: " + std::to_string(lines - 1) +
              "\nTry `iptables-restore -h' or 'iptables-restore --help' for more information.\n" +
              kNoCommit;
  faults.push_back(fault);
  fault =
      makeFault("save tool", 1, {"stops at COMMIT's end", "", "", Run::GoesOn, Table::IsReplaced});
  fault.tools[saveOf(1)] = "real \"$@\" | sed '/^COMMIT/,$d'; printf COMMIT; exit 1";
  faults.push_back(fault);
  checkFaults("faults of a save tool that breaks off", faults, {.tables = GetParam()});
}

}  // namespace
}  // namespace fault_test
