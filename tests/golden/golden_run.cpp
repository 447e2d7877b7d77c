#include "tests/golden/golden_run.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <regex>
#include <sstream>

#include "tests/support/temp_dir.h"

namespace golden {
namespace {

namespace fs = std::filesystem;
using test_support::TempDir;

// Runs on the router, in the test's directory. Only the recording tools and cat are in the
// program's PATH: a test that takes a tool away must not reach the machine's own.
constexpr std::string_view kRunScript = R"(
cd "$GOLDEN_DIR" || exit 125
ulimit -c 0
export SCRIPTS="$PWD/scripts" RECORD
. ./before
for config in configs/*; do
  RECORD=$PWD/records/${config##*/}
  mkdir "$RECORD"
  : >"$RECORD/calls"
  if [ "$config" != configs/1 ] && [ -n "${TESTBED_CONFIG_DIR-}" ]; then
    cp "$config" "$TESTBED_CONFIG_DIR/firewall_cpp"
  fi
  (PATH=$PWD/tools; exec "$FIREWALL_CPP") >"$RECORD/out" 2>"$RECORD/err"
  echo $? >"$RECORD/status"
  if [ -f /tmp/ipt_compiler_out ]; then
    cp /tmp/ipt_compiler_out "$RECORD/output_file"
  fi
  cp -R tables "$RECORD/tables"
done
. ./after
)";

std::vector<std::string> linesOf(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) lines.push_back(line);
  return lines;
}

std::map<std::string, std::string> readTables(const fs::path& directory) {
  std::map<std::string, std::string> tables;
  for (const fs::directory_entry& entry : fs::directory_iterator(directory)) {
    tables[entry.path().filename()] = test_support::readFile(entry.path());
  }
  return tables;
}

void prepare(const TempDir& dir, const Scenario& scenario) {
  for (const char* name : {"tools", "scripts", "configs", "records", "tables"}) {
    fs::create_directory(dir / name);
  }
  for (const char* tool :
       {"iptables-save", "iptables-restore", "ip6tables-save", "ip6tables-restore"}) {
    fs::create_symlink(GOLDEN_SOURCE_DIR "/recording_tool.sh", dir / "tools/" + tool);
  }
  fs::create_symlink("/bin/cat", dir / "tools/cat");
  if (scenario.tools == Tools::Texts) {
    for (const PassName& pass : kPasses) test_support::writeFile(dir / "tables/" + pass.key(), "");
  }
  for (const auto& [key, text] : scenario.tables)
    test_support::writeFile(dir / "tables/" + key, text);
  for (const auto& [number, text] : scenario.scripts) {
    test_support::writeFile(dir / "scripts/" + std::to_string(number), text);
  }
  for (std::size_t i = 0; i < scenario.configs.size(); ++i) {
    test_support::writeFile(dir / "configs/" + std::to_string(i + 1),
                            scenario.configs[i].value_or(""));
  }
  test_support::writeFile(dir / "before", scenario.before);
  test_support::writeFile(dir / "after", scenario.after);
}

RunRecord readRecord(const fs::path& directory) {
  RunRecord record;
  record.status = std::stoi(test_support::readFile(directory / "status"));
  record.out = test_support::readFile(directory / "out");
  record.err = test_support::readFile(directory / "err");
  record.calls = linesOf(test_support::readFile(directory / "calls"));
  for (std::size_t number = 1; number <= record.calls.size(); ++number) {
    const fs::path input = directory / ("input." + std::to_string(number));
    if (fs::exists(input)) record.restoreTexts.push_back(test_support::readFile(input));
  }
  if (fs::exists(directory / "output_file")) {
    record.outputFile = test_support::readFile(directory / "output_file");
  }
  record.tables = readTables(directory / "tables");
  return record;
}

}  // namespace

RouterFailed::RouterFailed(int status, const std::string& err)
    : std::runtime_error("the router ended with " + std::to_string(status) + ": " + err),
      status_(status) {}

void requireSuccess(const test_support::ProcessResult& routerRun) {
  constexpr int kRouterDidNotStart = 125;
  if (routerRun.exitStatus == 0) return;
  if (routerRun.exitStatus != kRouterDidNotStart || geteuid() == 0) {
    throw RouterFailed(routerRun.exitStatus, routerRun.err);
  }
  [&] { GTEST_SKIP() << routerRun.err; }();
  throw testing::AssertionException(
      {testing::TestPartResult::kSkip, __FILE__, __LINE__, routerRun.err.c_str()});
}

std::vector<RunRecord> runAll(const Scenario& scenario) {
  const TempDir dir;
  prepare(dir, scenario);
  std::vector<std::string> command = {ROUTER_PATH, "--tables=files",
                                      "--table-files=" + dir / "tables"};
  if (!scenario.bus) command.emplace_back("--no-bus");
  if (scenario.bus && scenario.configs.front())
    command.emplace_back("--config=" + dir / "configs/1");
  command.insert(command.end(), {"--", "/bin/sh", "-c", std::string(kRunScript)});
  test_support::ProcessOptions options;
  options.variables = {{"GOLDEN_DIR", dir.path()},
                       {"FILE_TOOLS", FILE_TOOLS_DIR},
                       {"FIREWALL_CPP", FIREWALL_CPP_PATH},
                       {"TEXTS", scenario.tools == Tools::Texts ? dir / "tables" : ""}};
  const test_support::ProcessResult result = test_support::runProcess(command, options);
  requireSuccess(result);
  std::vector<RunRecord> records;
  for (std::size_t i = 1; i <= scenario.configs.size(); ++i) {
    records.push_back(readRecord(dir / "records/" + std::to_string(i)));
  }
  return records;
}

RunRecord runOnce(const Scenario& scenario) {
  return runAll(scenario).at(0);
}

RunRecord runOnce(const std::string& config) {
  Scenario scenario;
  scenario.configs = {config};
  return runOnce(scenario);
}

std::string withoutLoaderNotes(const std::string& err) {
  std::string rest;
  for (const std::string& line : linesOf(err)) {
    if (!line.starts_with("ERROR: ld.so: object '/usr/lib/libxtlock_intercept.so'")) {
      rest += line + "\n";
    }
  }
  return rest;
}

std::string programError(const std::string& err) {
  const std::size_t start = err.find("terminate called");
  return start == std::string::npos ? withoutLoaderNotes(err) : err.substr(start);
}

std::vector<std::string> expectedCalls(std::size_t count) {
  std::vector<std::string> calls;
  for (const PassName& pass : kPasses) {
    const std::string tool(pass.tool);
    calls.push_back(tool + "-save -t " + std::string(pass.table));
    calls.push_back("LD_PRELOAD=/usr/lib/libxtlock_intercept.so " + tool + "-restore");
  }
  calls.resize(count);
  return calls;
}

std::string emptyTable(const PassName& pass) {
  const std::map<std::string_view, std::vector<std::string>> chains = {
      {"mangle", {"PREROUTING", "INPUT", "FORWARD", "OUTPUT", "POSTROUTING"}},
      {"nat", {"PREROUTING", "INPUT", "OUTPUT", "POSTROUTING"}},
      {"filter", {"INPUT", "FORWARD", "OUTPUT"}}};
  const std::string save = std::string(pass.tool) + "-save";
  std::string text =
      "# Generated by the testbed's " + save + "\n*" + std::string(pass.table) + "\n";
  for (const std::string& chain : chains.at(pass.table)) text += ":" + chain + " ACCEPT [0:0]\n";
  return text + "COMMIT\n# Completed by the testbed's " + save + "\n";
}

std::string withBlock(const std::string& saved, const std::string& block) {
  std::string text = saved;
  text.insert(text.find("\nCOMMIT\n") + 1, block);
  return text;
}

std::string forBothHooks(const std::string& outputBlock) {
  const std::vector<std::string> lines = linesOf(outputBlock);
  const auto chains = std::count_if(lines.begin(), lines.end(),
                                    [](const std::string& line) { return line[0] == ':'; });
  std::string second;
  const std::regex word(R"(-A OUTPUT |ipt_compiler_(\d+))");
  auto rest = outputBlock.cbegin();
  for (std::sregex_iterator match(outputBlock.begin(), outputBlock.end(), word), end; match != end;
       ++match) {
    second.append(rest, (*match)[0].first);
    second += (*match)[1].matched
                  ? "ipt_compiler_" + std::to_string(std::stoi((*match)[1]) + chains)
                  : "-A PREROUTING ";
    rest = (*match)[0].second;
  }
  second.append(rest, outputBlock.cend());
  return outputBlock + second;
}

std::vector<std::string> restoreTextsWith(const std::string& mangleBlock) {
  std::vector<std::string> texts;
  texts.reserve(kPasses.size());
  for (const PassName& pass : kPasses) {
    texts.push_back(pass.table == "mangle" ? withBlock(emptyTable(pass), mangleBlock)
                                           : emptyTable(pass));
  }
  return texts;
}

}  // namespace golden
