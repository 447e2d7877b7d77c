#include "tests/router/faults/fault_table.h"

#include <algorithm>
#include <array>
#include <filesystem>
#include <iomanip>
#include <iostream>
#include <iterator>
#include <regex>
#include <sstream>

#include "tests/router/product_run.h"
#include "tests/support/process.h"
#include "tests/support/router_under_test.h"
#include "tests/support/temp_dir.h"

namespace fault_test {
namespace {

namespace fs = std::filesystem;
using test_support::readFile;
using test_support::TempDir;
using test_support::writeFile;

struct PassName {
  const char* tool;
  const char* table;
};

constexpr std::array<PassName, kPasses> kPassNames = {{{"iptables", "mangle"},
                                                       {"iptables", "nat"},
                                                       {"iptables", "filter"},
                                                       {"ip6tables", "mangle"},
                                                       {"ip6tables", "nat"},
                                                       {"ip6tables", "filter"}}};

std::vector<std::string> splitTables(const std::string& text) {
  std::vector<std::string> tables;
  constexpr std::string_view end = "COMMIT\n";
  for (std::size_t begin = 0; begin < text.size();) {
    const std::size_t next = std::min(text.find(end, begin), text.size() - end.size()) + end.size();
    tables.push_back(text.substr(begin, next - begin));
    begin = next;
  }
  return tables;
}

// The tools' output without what is not the tables' own: comments with a time, packet counters.
std::string withoutTimesAndCounters(const std::string& saved) {
  std::string kept;
  std::istringstream lines(saved);
  for (std::string line; std::getline(lines, line);) {
    if (line.starts_with('#')) continue;
    if (line.starts_with(':')) line.replace(line.find('['), std::string::npos, "[0:0]");
    kept += line + "\n";
  }
  return kept;
}

std::string withoutVersions(const std::string& err) {
  static const std::regex version(R"( v\d+\.\d+\.\d+ \((legacy|nf_tables)\))");
  return std::regex_replace(err, version, "");
}

// Empty when the texts are equal. They may be far too long for gtest to look for a difference.
std::string firstDifference(const std::string& seen, const std::string& expected) {
  const auto [at, other] = std::ranges::mismatch(seen, expected);
  if (at == seen.end() && other == expected.end()) return "";
  const auto start = std::find(std::make_reverse_iterator(at), seen.rend(), '\n').base();
  const auto line = static_cast<std::size_t>(start - seen.begin());
  return seen.substr(line, 200) + "\ninstead of\n" + expected.substr(line, 200);
}

// Compares the six tables, one by one, so that a failure shows no more than what is wrong.
void checkTables(const std::string& saved, const std::set<int>& kept,
                 const std::map<int, std::string>& others) {
  const std::vector<std::string> tables = splitTables(withoutTimesAndCounters(saved));
  ASSERT_EQ(tables.size(), kPasses) << saved;
  for (int pass = 1; pass <= kPasses; ++pass) {
    const auto other = others.find(pass);
    const std::string& table = tables.at(static_cast<std::size_t>(pass) - 1);
    const std::string expected = other != others.end() ? other->second
                                 : kept.contains(pass) ? oldTable(pass)
                                                       : newTable(pass);
    EXPECT_EQ(firstDifference(table, expected), "") << "in pass " << pass;
  }
}

std::string rowDirectory(const TempDir& dir, std::size_t row) {
  std::ostringstream name;
  name << dir.path().string() << "/rows/" << std::setw(4) << std::setfill('0') << row;
  return name.str();
}

void prepare(const TempDir& dir, const std::vector<Fault>& faults, const Setup& setup) {
  for (const char* name : {"tools", "rows", "old"}) fs::create_directory(dir / name);
  for (const char* tool :
       {"iptables-save", "iptables-restore", "ip6tables-save", "ip6tables-restore", "cat"}) {
    fs::create_symlink(FAULTS_SOURCE_DIR "/failing_tool.sh", dir / "tools/" + tool);
  }
  for (const int first : {1, kPasses / 2 + 1}) {
    writeFile(dir / "old/" + kPassNames.at(static_cast<std::size_t>(first) - 1).tool,
              oldTable(first) + oldTable(first + 1) + oldTable(first + 2));
  }
  writeFile(dir / "config", setup.config.empty() ? product_test::kSmallConfig : setup.config);
  for (std::size_t row = 0; row < faults.size(); ++row) {
    const fs::path directory = rowDirectory(dir, row);
    const Fault& fault = faults[row];
    fs::create_directory(directory);
    writeFile(directory / "before", fault.before);
    writeFile(directory / "during", fault.during);
    writeFile(directory / "after", fault.after);
    writeFile(directory / "options", fault.options);
    writeFile(directory / "noted", "");
    for (const auto& [number, script] : fault.tools) {
      writeFile(directory / ("tool." + std::to_string(number)), script);
    }
    for (const auto& [number, script] : fault.cats) {
      writeFile(directory / ("cat." + std::to_string(number)), script);
    }
  }
}

// Compares a row and returns the rest of its report.
std::string checkRow(const fs::path& directory, const Fault& fault) {
  SCOPED_TRACE(fault.name);
  std::string report = readFile(directory / "report");
  const std::size_t lineEnd = report.find('\n');
  const std::string line = report.substr(0, lineEnd);
  report.erase(0, lineEnd + 1);
  const std::string status = "status=" + std::to_string(fault.status) + " ";
  if (fault.left == kAnyLeft) {
    EXPECT_TRUE(line.starts_with(status) && line.ends_with(" after=free")) << line;
  } else {
    EXPECT_EQ(line, status + std::string(fault.left));
  }
  EXPECT_EQ(readFile(directory / "out"), "");
  EXPECT_EQ(withoutVersions(readFile(directory / "err")), fault.err);
  EXPECT_EQ(readFile(directory / "noted"), fault.note);
  checkTables(readFile(directory / "tables"), fault.keptTables, fault.otherTables);

  EXPECT_EQ(readFile(directory / "healed_status"), "0\n");
  EXPECT_EQ(readFile(directory / "healed_out"), "");
  EXPECT_EQ(readFile(directory / "healed_err"), "");
  checkTables(readFile(directory / "healed_tables"), {}, fault.healedTables);
  return report;
}

}  // namespace

std::set<int> passesFrom(int first) {
  std::set<int> passes;
  for (int pass = first; pass <= kPasses; ++pass) passes.insert(pass);
  return passes;
}

std::string foreignTable(int pass) {
  const PassName& name = kPassNames.at(static_cast<std::size_t>(pass) - 1);
  return product_test::foreignTable(name.tool, name.table);
}

std::string oldTable(int pass) {
  const PassName& name = kPassNames.at(static_cast<std::size_t>(pass) - 1);
  std::string table = foreignTable(pass);
  const std::string chain = name.table == std::string_view("filter") ? "INPUT" : "PREROUTING";
  // The chain is the first of its table, so the rule stands before all others.
  table.insert(std::min(table.find("\n-A "), table.find("\nCOMMIT")) + 1,
               "-A " + chain + " -p tcp -m comment --comment ipt_compiler -j ACCEPT\n");
  return table;
}

std::string newTable(int pass) {
  static const std::vector<std::string> tables = splitTables(product_test::tablesOfSmallConfig());
  return tables.at(static_cast<std::size_t>(pass) - 1);
}

std::string withRules(const std::string& table, const std::string& chain,
                      const std::string& rules) {
  // Rules stand in the order in which the chains are declared.
  std::vector<std::string> before;
  std::istringstream lines(table);
  std::string text;
  bool isDone = false;
  bool isLater = false;  // than the chain
  for (std::string line; std::getline(lines, line); text += line + "\n") {
    std::istringstream words(line);
    std::string first;
    std::string second;
    words >> first >> second;
    if (first.starts_with(':') && !isLater) {
      before.push_back(first.substr(1));
      isLater = before.back() == chain;
    }
    const bool isJump = second == chain && line.find(" -j ipt_compiler_") != std::string::npos;
    const bool isBefore =
        std::find(before.begin(), before.end(), second) != before.end() && !isJump;
    if (!isDone && (first == "-A" || first == "COMMIT") && !isBefore) {
      text += rules;
      isDone = true;
    }
  }
  return text;
}

std::string tracingRefusal() {
  constexpr int kTracingRefused = 77;  // of watch_program
  const TempDir dir;
  const test_support::ProcessResult result =
      test_support::runProcess({WATCH_PROGRAM_PATH, "--steps=run", dir / "report", "/bin/true"});
  if (result.exitStatus == kTracingRefused) return "the system refuses to trace processes";
  EXPECT_EQ(result.exitStatus, 0);
  EXPECT_EQ(result.err, "");
  return "";
}

std::vector<int> passesFor(const std::string& tables) {
  return tables == "legacy" ? std::vector<int>{1, 2, 3, 4, 5, 6} : std::vector<int>{1, 5};
}

std::vector<std::string> checkFaults(std::string_view what, const std::vector<Fault>& faults,
                                     const Setup& setup) {
  const TempDir dir;
  prepare(dir, faults, setup);
  std::vector<std::string> options = {"--tables=" + setup.tables, "--config=" + dir / "config"};
  if (!setup.bus) options.emplace_back("--no-bus");
  test_support::ProcessOptions environment;
  environment.variables = {{"FAULTS", dir.path()},
                           {"BUILD", BUILD_DIR},
                           {"PROGRAM", PRODUCT_PROGRAM},
                           {"HELD_LOCK_SCRIPT", HELD_LOCK_SCRIPT},
                           {"WATCH_PROGRAM", WATCH_PROGRAM_PATH},
                           {"SCRIPTED_BUS", SCRIPTED_BUS_PATH},
                           {"BUS_DAEMON", router_test::kBusDaemon},
                           {"PRELOAD_LIBRARY", router_test::kPreloadLibrary}};
  const test_support::ProcessResult result = test_support::runProcess(
      router_test::routerCommand(options, "exec sh " FAULTS_SOURCE_DIR "/fault_rows.sh"),
      environment);
  std::vector<std::string> reports;
  EXPECT_EQ(result.exitStatus, 0);
  const bool isNft = setup.tables == "nft";
  EXPECT_EQ(result.err, (isNft ? router_test::kNftLine : router_test::kLegacyLine) + setup.err);
  if (result.exitStatus != 0) return reports;
  for (std::size_t row = 0; row < faults.size(); ++row) {
    reports.push_back(checkRow(rowDirectory(dir, row), faults[row]));
  }
  if (!what.empty())
    std::cout << what << ", " << setup.tables << " tables: " << faults.size() << " faults\n";
  return reports;
}

}  // namespace fault_test
