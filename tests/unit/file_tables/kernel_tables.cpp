// One shell script does the work for all texts of a test; texts and results are files.
#include "tests/unit/file_tables/kernel_tables.h"

#include <unistd.h>

#include <array>
#include <sstream>
#include <stdexcept>

#include "testbed/file_tables/restore_text.h"
#include "tests/support/process.h"
#include "tests/support/temp_dir.h"
#include "tests/unit/file_tables/restore_cases.h"

namespace file_tables {
namespace {

using test_support::ProcessResult;
using test_support::runProcess;
using test_support::TempDir;

constexpr std::array<std::string_view, 4> kTables{"raw", "mangle", "nat", "filter"};

// The tools are in a place for administrators, and lock a file in /run.
constexpr std::string_view kPreparation =
    "PATH=$PATH:/usr/sbin:/sbin; mount -t tmpfs none /run || exit 1\n";

ProcessResult runInNamespaces(const std::string& script,
                              const std::vector<std::string>& arguments) {
  std::vector<std::string> command{"unshare", geteuid() == 0 ? "-mn" : "-rmn",    "sh",
                                   "-c",      std::string(kPreparation) + script, "sh"};
  command.insert(command.end(), arguments.begin(), arguments.end());
  return runProcess(command);
}

std::string obstacle(const std::string& script) {
  try {
    const ProcessResult result = runInNamespaces(script, {});
    return result.exitStatus == 0 ? "" : "the namespaces or the tools refuse: " + result.err;
  } catch (const std::exception& error) {
    return error.what();
  }
}

std::string textWithInitialTables() {
  std::string text;
  for (const std::string_view name : kTables) {
    text.append("*").append(name).append("\n");
    for (const BuiltInChain& chain : findTableLayout(name)->chains) {
      text.append(":").append(chain.name).append(" ACCEPT [0:0]\n");
    }
    text.append("COMMIT\n");
  }
  return text;
}

// From the concatenated output of the save tool.
TablesShape shapeOfSavedText(const std::string& saved) {
  TablesShape shape;
  std::istringstream lines(saved);
  std::string table;
  for (std::string line; std::getline(lines, line);) {
    std::istringstream words(line);
    std::string first;
    std::string second;
    words >> first >> second;
    if (line.starts_with('*')) {
      table = line.substr(1) + " ";
    } else if (line.starts_with(':')) {
      shape.chains[table + first.substr(1)].first = second;
    } else if (first == "-A") {
      ++shape.chains[table + second].second;
    }
  }
  return shape;
}

}  // namespace

std::string kernelTablesObstacle() {
  return obstacle(
      "for tool in iptables ip6tables; do for table in raw mangle nat filter; do\n"
      "  $tool-legacy-save -t $table >/dev/null || exit 1\n"
      "done; done");
}

std::string ipsetObstacle() {
  return obstacle("ipset create probe hash:ip");
}

std::vector<RestoreOutcome> restoreInKernel(Family family, const std::vector<std::string>& texts) {
  const TempDir directory;
  test_support::writeFile(directory / "initial", textWithInitialTables());
  for (std::size_t index = 0; index < texts.size(); ++index) {
    test_support::writeFile(directory / ("text" + std::to_string(index)), texts[index]);
  }
  const ProcessResult result = runInNamespaces(
      "directory=$1; tool=$2; count=$3; index=0\n"
      "ipset create $4 hash:ip family $5 2>/dev/null\n"
      "while [ $index -lt $count ]; do\n"
      "  $tool-legacy-restore <$directory/initial || exit 1\n"
      "  $tool-legacy-restore <$directory/text$index >/dev/null 2>$directory/message$index\n"
      "  echo $? >$directory/status$index\n"
      "  for table in raw mangle nat filter; do\n"
      "    $tool-legacy-save -t $table || exit 1\n"
      "  done >$directory/saved$index\n"
      "  index=$((index + 1))\n"
      "done",
      {directory.path().string(), std::string(toolFamilyName(family)), std::to_string(texts.size()),
       setName(family), family == Family::Ipv4 ? "inet" : "inet6"});
  if (result.exitStatus != 0) {
    throw std::runtime_error("the kernel's tables failed: " + result.err);
  }
  std::vector<RestoreOutcome> outcomes;
  for (std::size_t index = 0; index < texts.size(); ++index) {
    const auto read = [&](const std::string& name) {
      return test_support::readFile(directory / (name + std::to_string(index)));
    };
    outcomes.push_back(
        {std::stoi(read("status")), shapeOfSavedText(read("saved")), read("message")});
  }
  return outcomes;
}

std::vector<RestoreOutcome> restoreInMemory(Family family, const std::vector<std::string>& texts) {
  std::vector<RestoreOutcome> outcomes;
  for (const std::string& text : texts) {
    std::map<std::string, Table> tables;
    for (const std::string_view name : kTables) {
      tables.emplace(name, Table(family, *findTableLayout(name)));
    }
    RestoreOutcome outcome{0, {}, ""};
    try {
      applyRestoreText(family, text, false,
                       {[&](const TableLayout& layout) { return Table(family, layout); },
                        [&](const Table& table) { tables.at(std::string(table.name())) = table; }});
    } catch (const RestoreFailure& failure) {
      outcome.exitStatus = failure.exitStatus();
      outcome.message = failure.what();
    }
    for (const auto& [name, table] : tables) {
      for (const Chain& chain : table.chains()) {
        outcome.tables.chains[name + " " + chain.name] = {chain.policy, chain.rules.size()};
      }
    }
    outcomes.push_back(std::move(outcome));
  }
  return outcomes;
}

}  // namespace file_tables
