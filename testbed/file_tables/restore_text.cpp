// One reader per text, one function per kind of line.
#include "testbed/file_tables/restore_text.h"

#include <algorithm>
#include <cstddef>
#include <optional>
#include <utility>

#include "testbed/file_tables/commit_checks.h"
#include "testbed/file_tables/option_checks.h"
#include "testbed/file_tables/rule_parser.h"
#include "testbed/file_tables/rule_tokens.h"

namespace file_tables {
namespace {

// The real tools read into a buffer of this size; what is longer goes on as the next line.
constexpr std::size_t kLongestLine = 10239;

// The next word of the text, which is cut off it; empty at the end.
std::string_view takeWord(std::string_view& text) {
  constexpr std::string_view kBlanks = " \t\n";
  const std::size_t begin = std::min(text.find_first_not_of(kBlanks), text.size());
  const std::size_t end = std::min(text.find_first_of(kBlanks, begin), text.size());
  const std::string_view word = text.substr(begin, end - begin);
  text.remove_prefix(end);
  return word;
}

class RestoreReader {
 public:
  RestoreReader(Family family, bool keepOld, const RestoreActions& actions)
      : tool_(std::string(toolFamilyName(family)) + "-restore"),
        keepOld_(keepOld),
        actions_(actions) {}

  void read(std::string_view text);

 private:
  void readLine(std::string_view line);
  void openTable(std::string_view rest);
  void declareChain(std::string_view rest);
  void addRules(std::string_view line);
  void commit();
  [[noreturn]] void failLine() const {
    throw RestoreFailure(tool_ + ": line " + std::to_string(lineNumber_) + " failed", 1);
  }

  std::string tool_;
  bool keepOld_;
  const RestoreActions& actions_;
  std::size_t lineNumber_ = 0;
  std::optional<Table> table_;
};

void RestoreReader::read(std::string_view text) {
  while (!text.empty()) {
    const std::size_t newline = text.substr(0, kLongestLine).find('\n');
    const std::size_t length =
        newline == std::string_view::npos ? std::min(text.size(), kLongestLine) : newline + 1;
    ++lineNumber_;
    try {
      readLine(text.substr(0, length));
    } catch (const ParameterProblem& problem) {
      const std::string message = problem.what();
      // The real tools print this one message without their name.
      const std::string prefix = message.starts_with("Bad argument") ? "" : tool_ + ": ";
      throw RestoreFailure(
          prefix + message + "\nError occurred at line: " + std::to_string(lineNumber_), 2);
    }
    text.remove_prefix(length);
  }
  if (table_) {
    throw RestoreFailure(tool_ + ": COMMIT expected at line " + std::to_string(lineNumber_ + 1), 1);
  }
}

// `line` has its newline unless it is the text's last one or too long.
void RestoreReader::readLine(std::string_view line) {
  line = line.substr(0, line.find('\0'));
  if (line == "\n" || line.starts_with('#')) {
    return;
  }
  if (!table_) {
    if (!line.starts_with('*')) {
      failLine();
    }
    openTable(line.substr(1));
  } else if (line == "COMMIT\n") {
    commit();
  } else if (line.starts_with(':')) {
    declareChain(line.substr(1));
  } else {
    addRules(line);
  }
}

void RestoreReader::openTable(std::string_view rest) {
  const std::string name(takeWord(rest));
  if (name.empty()) {
    throw ParameterProblem("line " + std::to_string(lineNumber_) + " table name invalid");
  }
  const TableLayout* layout = findTableLayout(name);
  if (layout == nullptr) {
    throw ParameterProblem("unable to initialize table '" + name + "'");
  }
  table_ = actions_.open(*layout);
}

void RestoreReader::declareChain(std::string_view rest) {
  const std::string name(takeWord(rest));
  const std::string policy(takeWord(rest));
  if (name.empty()) {
    throw ParameterProblem("line " + std::to_string(lineNumber_) + " chain name invalid");
  }
  if (name.size() > kLongestChainName) {
    throw ParameterProblem("Invalid chain name `" + name + "' (28 chars max)");
  }
  Chain* chain = table_->findChain(name);
  if (chain == nullptr && !isVerdictName(name)) {
    table_->addUserChain(name);
    chain = table_->findChain(name);
  } else if (chain != nullptr && !chain->isBuiltIn() && keepOld_) {
    chain->rules.clear();
  } else if (chain == nullptr || !chain->isBuiltIn()) {
    throw ParameterProblem("error creating chain '" + name + "':File exists");
  }
  if (policy.empty()) {
    throw ParameterProblem("line " + std::to_string(lineNumber_) + " policy invalid");
  }
  if (policy == "-") {
    return;
  }
  if (!chain->isBuiltIn() || (policy != "ACCEPT" && policy != "DROP")) {
    throw RestoreFailure(tool_ + ": Can't set policy `" + policy + "' on `" + name + "' line " +
                             std::to_string(lineNumber_) + ": " +
                             (chain->isBuiltIn() ? "Bad policy name" : "Bad built-in chain name"),
                         1);
  }
  chain->policy = policy;
}

void RestoreReader::addRules(std::string_view line) {
  if (line.starts_with('[')) {
    // Counters in front of a rule: "[packets:bytes] ". Nothing counts here, so they go.
    const std::size_t colon = line.find(':');
    const std::size_t end = line.find(']');
    if (end == std::string_view::npos || colon > end || colon == 1) {
      throw ParameterProblem("Bad line " + std::to_string(lineNumber_) + ": need ]");
    }
    line.remove_prefix(end + 1);
  }
  if (line.ends_with('\n')) {
    line.remove_suffix(1);
  }
  ParsedRuleLine parsed = parseRuleLine(line, *table_);
  if (parsed.refusedByTable) {
    failLine();
  }
  for (Rule& rule : parsed.rules) {
    table_->findChain(parsed.chain)->rules.push_back(std::move(rule));
  }
}

void RestoreReader::commit() {
  if (!kernelAccepts(*table_)) {
    failLine();
  }
  actions_.commit(*table_);
  table_.reset();
}

}  // namespace

void applyRestoreText(Family family, std::string_view text, bool keepOld,
                      const RestoreActions& actions) {
  RestoreReader(family, keepOld, actions).read(text);
}

std::vector<Table> parseRestoreText(Family family, std::string_view text) {
  std::vector<Table> tables;
  const RestoreActions actions{
      [family](const TableLayout& layout) { return Table(family, layout); },
      [&tables](const Table& table) { tables.push_back(table); }};
  applyRestoreText(family, text, false, actions);
  return tables;
}

}  // namespace file_tables
