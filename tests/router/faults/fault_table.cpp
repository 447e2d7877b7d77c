#include "tests/router/faults/fault_table.h"

#include <algorithm>
#include <array>
#include <filesystem>
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

// The mangle table of both families: the rules stand at the end of their hooks, after the
// foreign ones.
const std::string kSmallMangle = R"(*mangle
:PREROUTING ACCEPT [0:0]
:INPUT ACCEPT [0:0]
:FORWARD ACCEPT [0:0]
:OUTPUT ACCEPT [0:0]
:POSTROUTING ACCEPT [0:0]
:ipt_compiler_0 - [0:0]
:ipt_compiler_1 - [0:0]
-A PREROUTING -i br-guest -m comment --comment "guest network" -j MARK --set-xmark 0x1/0xff
-A PREROUTING -p udp -m udp --dport 53 -m comment --comment ipt_compiler -j ipt_compiler_1
-A FORWARD -o eth1 -p tcp -m tcp --tcp-flags SYN,RST SYN -m comment --comment "zone wan MTU fixing" -j TCPMSS --clamp-mss-to-pmtu
-A OUTPUT -p udp -m udp --dport 53 -m comment --comment ipt_compiler -j ipt_compiler_0
-A ipt_compiler_0 -m mark --mark 0x1/0x1 -m comment --comment ipt_compiler -j RETURN
-A ipt_compiler_0 -m comment --comment ipt_compiler -j NFQUEUE --queue-num 2 --queue-bypass
-A ipt_compiler_1 -m mark --mark 0x1/0x1 -m comment --comment ipt_compiler -j RETURN
-A ipt_compiler_1 -m comment --comment ipt_compiler -j NFQUEUE --queue-num 2 --queue-bypass
COMMIT
)";

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

// Compares the six tables, which stand in FILES.1 and so on.
void checkTables(const std::string& files, const std::set<int>& kept,
                 const std::map<int, std::string>& others) {
  for (int pass = 1; pass <= kPasses; ++pass) {
    const auto other = others.find(pass);
    const std::string expected = other != others.end() ? other->second
                                 : kept.contains(pass) ? oldTable(pass)
                                                       : newTable(pass);
    const std::string table = readFile(files + "." + std::to_string(pass));
    EXPECT_EQ(firstDifference(table, expected), "") << "in pass " << pass;
  }
}

std::string rowDirectory(const TempDir& dir, std::size_t row) {
  return dir / ("rows/" + std::to_string(1000 + row));  // the shell takes them in this order
}

void prepare(const TempDir& dir, const std::vector<Fault>& faults) {
  for (const char* name : {"tools", "rows", "old"}) fs::create_directory(dir / name);
  for (const char* tool :
       {"iptables-save", "iptables-restore", "ip6tables-save", "ip6tables-restore", "cat"}) {
    fs::create_symlink(FAULTS_SOURCE_DIR "/failing_tool.sh", dir / "tools/" + tool);
  }
  for (const int first : {1, kPasses / 2 + 1}) {
    writeFile(dir / "old/" + familyOf(first),
              oldTable(first) + oldTable(first + 1) + oldTable(first + 2));
  }
  writeFile(dir / "config", kSmallConfig);
  for (std::size_t row = 0; row < faults.size(); ++row) {
    const fs::path directory = rowDirectory(dir, row);
    const Fault& fault = faults[row];
    fs::create_directory(directory);
    writeFile(directory / "before", fault.before);
    writeFile(directory / "during", fault.during);
    writeFile(directory / "after", fault.after);
    writeFile(directory / "options", fault.options);
    writeFile(directory / "noted", "");
    for (const auto& [tool, script] : fault.tools) writeFile(directory / tool, script);
  }
}

// Compares a row and returns the steps of its report.
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
  checkTables(directory / "tables", fault.keptTables, fault.otherTables);

  EXPECT_EQ(readFile(directory / "healed_status"), "0\n");
  EXPECT_EQ(readFile(directory / "healed_out"), "");
  EXPECT_EQ(readFile(directory / "healed_err"), "");
  checkTables(directory / "healed_tables", {}, fault.healedTables);
  return report;
}

}  // namespace

std::string messageOf(int pass, std::string message) {
  const std::size_t at = message.find('@');
  return at == std::string::npos ? message : message.replace(at, 1, familyOf(pass));
}

std::set<int> passesFrom(int first) {
  std::set<int> passes;
  for (int pass = first; pass <= kPasses; ++pass) passes.insert(pass);
  return passes;
}

std::string foreignTable(int pass) {
  constexpr std::array<const char*, 3> tables = {"mangle", "nat", "filter"};
  return product_test::foreignTable(familyOf(pass),
                                    tables.at(static_cast<std::size_t>(pass - 1) % 3));
}

std::string oldTable(int pass) {
  std::string table = foreignTable(pass);
  const std::string chain = pass % 3 == 0 ? "INPUT" : "PREROUTING";
  // The chain is the first of its table, so the rule stands before all others.
  return table.insert(std::min(table.find("\n-A "), table.find("\nCOMMIT")) + 1,
                      "-A " + chain + " -p tcp -m comment --comment ipt_compiler -j ACCEPT\n");
}

std::string newTable(int pass) {
  return pass % 3 == 1 ? kSmallMangle : foreignTable(pass);
}

std::string withRules(std::string table, const std::string& chain, const std::string& rules) {
  // Rules stand in the order in which the chains are declared, and a generated jump is the last.
  std::size_t place =
      std::min(table.find("-A " + chain + " -p udp -m udp --dport 53 "), table.find("COMMIT\n"));
  std::istringstream later(table.substr(table.find(":" + chain + " ") + 1));
  for (std::string line; std::getline(later, line) && !line.starts_with("-A ");) {
    if (!line.starts_with(':')) continue;
    place = std::min(place, table.find("-A " + line.substr(1, line.find(' '))));
  }
  return table.insert(place, rules);
}

std::string tracingRefusal() {
  constexpr int kTracingRefused = 77;  // of watch_program
  const TempDir dir;
  const test_support::ProcessResult result =
      test_support::runProcess({WATCH_PROGRAM_PATH, dir / "report", "/bin/true", "run"});
  if (result.exitStatus == kTracingRefused) return "the system refuses to trace processes";
  EXPECT_EQ(result.exitStatus, 0);
  EXPECT_EQ(result.err, "");
  return "";
}

std::vector<int> passesFor(const std::string& tables) {
  return tables == "legacy" ? std::vector<int>{1, 2, 3, 4, 5, 6} : std::vector<int>{1, 5};
}

std::string checkFaults(std::string_view what, const std::vector<Fault>& faults,
                        const Setup& setup) {
  const TempDir dir;
  prepare(dir, faults);
  std::vector<std::string> options = {"--tables=" + setup.tables, "--config=" + dir / "config"};
  if (!setup.bus) options.emplace_back("--no-bus");
  test_support::ProcessOptions environment;
  environment.variables = {{"FAULTS", dir.path()},
                           {"BUILD", BUILD_DIR},
                           {"PROGRAM", PRODUCT_PROGRAM},
                           {"WATCH_PROGRAM", WATCH_PROGRAM_PATH},
                           {"SCRIPTED_BUS", SCRIPTED_BUS_PATH},
                           {"BUS_DAEMON", router_test::kBusDaemon},
                           {"PRELOAD_LIBRARY", router_test::kPreloadLibrary}};
  const test_support::ProcessResult result = test_support::runProcess(
      router_test::routerCommand(options, "exec sh " FAULTS_SOURCE_DIR "/fault_rows.sh"),
      environment);
  EXPECT_EQ(result.exitStatus, 0);
  const bool isNft = setup.tables == "nft";
  EXPECT_EQ(result.err, (isNft ? router_test::kNftLine : router_test::kLegacyLine) + setup.err);
  if (result.exitStatus != 0) return "";
  std::string steps;
  for (std::size_t row = 0; row < faults.size(); ++row) {
    steps = checkRow(rowDirectory(dir, row), faults[row]);
  }
  if (!what.empty())
    std::cout << what << ", " << setup.tables << " tables: " << faults.size() << " faults\n";
  return steps;
}

}  // namespace fault_test
