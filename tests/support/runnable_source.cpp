#include "tests/support/runnable_source.h"

#include <functional>
#include <set>
#include <sstream>
#include <unordered_map>

#include "ipt_compiler/rule_parser.h"
#include "tests/support/chain_walker.h"

namespace test_support {
namespace {

namespace kinds = tavrix::_IptMatches;

int kindOf(const std::string& option) {
  return tavrix::matchKind(tavrix::parseMatches(option, "test", 0).items.front());
}

// What follows is called for every text, in the order of the program.
using Visit = std::function<void(std::string& text)>;

void visitMatches(ConditionSource& condition, const Visit& visit) {
  if (!condition.text.empty()) visit(condition.text);
  for (ConditionSource& operand : condition.operands) visitMatches(operand, visit);
}

void visitTexts(ProgramSource& program, const Visit& visitMatchText, const Visit& visitTarget) {
  for (StatementSource& statement : program) {
    if (!statement.target.empty()) visitTarget(statement.target);
    for (StatementSource::Branch& branch : statement.branches) {
      visitMatches(branch.condition, visitMatchText);
      visitTexts(branch.statements, visitMatchText, visitTarget);
    }
    if (statement.otherwise) visitTexts(*statement.otherwise, visitMatchText, visitTarget);
  }
}

// Bits that no other text has: "0x5/0x5" for 5.
std::string valueAndMask(std::size_t number) {
  std::ostringstream text;
  text << std::hex << "0x" << number << "/0x" << number;
  return text.str();
}

class Exchange {
 public:
  // Every match text of the program has to be seen before the first one is exchanged.
  void see(const std::string& text) {
    for (const std::string& option : splitOptions(text)) {
      const int kind = kindOf(option);
      if (kind >= kinds::Protocol::kKind && kind < kinds::Match::kKind) seen_.insert(kind);
    }
  }

  void exchangeMatches(std::string& text) {
    std::string all;
    std::set<int> met;
    for (const std::string& option : splitOptions(text)) {
      if (seen_.contains(kindOf(option)) && !met.insert(kindOf(option)).second) continue;
      all += (all.empty() ? "" : " ") + runnable(option);
    }
    text = all;
  }

  void exchangeTarget(std::string& text) {
    const std::size_t number = targets_.try_emplace(text, targets_.size() + 1).first->second;
    text = "-j MARK --set-xmark " + valueAndMask(number);
  }

 private:
  std::string runnable(const std::string& option) {
    const int kind = kindOf(option);
    if (kind < kinds::Protocol::kKind) return option;
    const std::size_t number = options_.try_emplace(option, options_.size() + 1).first->second;
    // Protocols above 200 have no names, which the tools would print instead.
    if (seen_.contains(kind) && kind == *seen_.begin()) return "-p " + std::to_string(200 + number);
    if (seen_.contains(kind) && kind == *seen_.rbegin()) {
      return "-c " + std::to_string(number) + " " + std::to_string(number);
    }
    return "-m mark --mark " + valueAndMask(number);
  }

  std::set<int> seen_;  // kinds that a rule has once
  std::unordered_map<std::string, std::size_t> options_;
  std::unordered_map<std::string, std::size_t> targets_;
};

}  // namespace

ProgramSource withRunnableTexts(ProgramSource program) {
  Exchange exchange;
  visitTexts(
      program, [&](const std::string& text) { exchange.see(text); }, [](const std::string&) {});
  visitTexts(
      program, [&](std::string& text) { exchange.exchangeMatches(text); },
      [&](std::string& text) { exchange.exchangeTarget(text); });
  return program;
}

}  // namespace test_support
