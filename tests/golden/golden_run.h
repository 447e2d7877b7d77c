// Runs the real program on the testbed's router, as a user would, and keeps all that can be seen of
// the run: its end, its error text, every start of a save or restore tool and the restore texts.
#pragma once

#include <array>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tests/support/process.h"

namespace golden {

struct PassName {
  std::string_view tool;
  std::string_view table;

  // "iptables.mangle": how the tables are named below.
  std::string key() const { return std::string(tool) + "." + std::string(table); }
};

// The passes of a run, in their order.
inline constexpr std::array<PassName, 6> kPasses = {{{"iptables", "mangle"},
                                                     {"iptables", "nat"},
                                                     {"iptables", "filter"},
                                                     {"ip6tables", "mangle"},
                                                     {"ip6tables", "nat"},
                                                     {"ip6tables", "filter"}}};

enum class Tools {
  Files,  // the real tools on tables in files: what is restored has to be what a kernel would take
  Texts,  // save prints what was restored last, byte for byte; restore takes everything
};

struct Scenario {
  // The UCI file of each run, one run after the other on the same tables. Nullopt: there is no such
  // package (with `bus`).
  std::vector<std::optional<std::string>> configs = {""};
  bool bus = true;
  Tools tools = Tools::Files;
  // The tables before the first run, by PassName::key. With Tools::Files they are restored, and the
  // others are empty ones; with Tools::Texts their save text is empty.
  std::map<std::string, std::string> tables;
  std::string before;  // shell text run on the router before the first run
};

// With Tools::Files the texts are without the version and the time that the save tools print.
struct RunRecord {
  int status = -1;  // as a shell tells it: 128 + the signal's number
  std::string out;
  std::string err;  // of the program and of the tools
  // "[LD_PRELOAD=<value> ]<tool>[ <arguments>]" of each start of a tool.
  std::vector<std::string> calls;
  std::vector<std::string> restoreTexts;  // standard input of each restore tool
  std::optional<std::string> outputFile;  // what the run left at "/tmp/ipt_compiler_out"
};

inline constexpr int kAborted = 128 + 6;

// Throws std::runtime_error unless the router's run ended with 0. Where the system refuses
// namespaces and tracing, the running test is skipped with the router's reason, by gtest's
// exception for what is reported already.
void requireSuccess(const test_support::ProcessResult& routerRun);

// The path of the program: the built one, or what the variable PROGRAM_UNDER_TEST names, such as
// one for another architecture in its emulator.
std::string programUnderTest();

// One record for each of scenario.configs. Throws as requireSuccess does.
std::vector<RunRecord> runAll(const Scenario& scenario);
// For a scenario with one configuration.
RunRecord runOnce(const Scenario& scenario);
RunRecord runOnce(const std::string& config);

using test_support::uncaught;

// The program's own part of an error text of a whole run: also without the shell's and the tools'
// lines before it.
std::string programError(const std::string& err);

// The starts of tools in a whole run, or in its first `count`.
std::vector<std::string> expectedCalls(std::size_t count = 2 * kPasses.size());

// The lines of a restore text that the program has added, or the others.
std::string linesOf(const std::string& restoreText, bool generated);

}  // namespace golden
