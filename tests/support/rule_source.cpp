#include "tests/support/rule_source.h"

#include <algorithm>
#include <functional>
#include <unordered_map>
#include <utility>

#include "ipt_compiler/export/ipt_lang.h"
#include "tests/support/chain_walker.h"

namespace test_support {
namespace {

using tavrix::IptProg;
using Kind = ConditionSource::Kind;

// Whether an operand of `kind` needs parentheses. AND binds tighter than OR, and both are read from
// the left.
bool needsParentheses(Kind kind, Kind operand, bool isRight) {
  if (operand != Kind::kAnd && operand != Kind::kOr) return false;
  return operand == kind ? isRight : operand == Kind::kOr;
}

void addTokens(const ConditionSource& condition, std::vector<std::string>& tokens) {
  const auto addOperand = [&](std::size_t i) {
    const ConditionSource& operand = condition.operands[i];
    const bool inParentheses = needsParentheses(condition.kind, operand.kind, i == 1);
    if (inParentheses) tokens.emplace_back("(");
    addTokens(operand, tokens);
    if (inParentheses) tokens.emplace_back(")");
  };
  switch (condition.kind) {
    case Kind::kText:
      tokens.push_back(condition.text);
      break;
    case Kind::kNegatedText:
      tokens.push_back("NOT" + condition.text);
      break;
    case Kind::kTrue:
      tokens.insert(tokens.end(), {"(", ")"});
      break;
    case Kind::kFalse:
      tokens.emplace_back("NOT");
      break;
    case Kind::kAnd:
    case Kind::kOr:
      addOperand(0);
      tokens.emplace_back(condition.kind == Kind::kAnd ? "AND" : "OR");
      addOperand(1);
      break;
  }
}

void addTokens(const ProgramSource& program, std::vector<std::string>& tokens) {
  for (const StatementSource& statement : program) {
    if (!statement.target.empty()) {
      tokens.push_back(statement.target);
      continue;
    }
    for (std::size_t i = 0; i < statement.branches.size(); ++i) {
      tokens.emplace_back(i == 0 ? "IF" : "ELSEIF");
      addTokens(statement.branches[i].condition, tokens);
      tokens.emplace_back("THEN");
      addTokens(statement.branches[i].statements, tokens);
    }
    if (statement.otherwise) {
      tokens.emplace_back("ELSE");
      addTokens(*statement.otherwise, tokens);
    }
    tokens.insert(tokens.end(), statement.branches.size(), "FI");
  }
}

// Every way to take one part away from a tree, each as a copy of the whole, until one is used.
// Returns whether one was.
template <class Part>
using Use = std::function<bool(const Part&)>;

bool eachSmaller(const ProgramSource& program, const Use<ProgramSource>& use);

bool eachSmaller(const ConditionSource& condition, const Use<ConditionSource>& use) {
  if (condition.kind != Kind::kTrue && use(ConditionSource{})) return true;
  if (condition.kind == Kind::kNegatedText && use({Kind::kText, condition.text, {}})) return true;
  const std::vector<std::string> options = splitOptions(condition.text);
  for (const std::string& option : options) {
    if (options.size() > 1 && use({condition.kind, option, {}})) return true;
  }
  for (std::size_t i = 0; i < condition.operands.size(); ++i) {
    if (use(condition.operands[i])) return true;
    if (eachSmaller(condition.operands[i], [&](const ConditionSource& smaller) {
          ConditionSource whole = condition;
          whole.operands[i] = smaller;
          return use(whole);
        })) {
      return true;
    }
  }
  return false;
}

bool eachSmaller(const StatementSource& statement, const Use<StatementSource>& use) {
  // The statement with `change` made to a copy of it.
  const auto useWith = [&](const auto& change) {
    StatementSource whole = statement;
    change(whole);
    return use(whole);
  };
  if (statement.otherwise) {
    if (useWith([](StatementSource& whole) { whole.otherwise.reset(); })) return true;
    if (eachSmaller(*statement.otherwise, [&](const ProgramSource& smaller) {
          return useWith([&](StatementSource& whole) { whole.otherwise = smaller; });
        })) {
      return true;
    }
  }
  for (std::size_t i = 0; i < statement.branches.size(); ++i) {
    const auto at = static_cast<std::ptrdiff_t>(i);
    if (statement.branches.size() > 1 && useWith([at](StatementSource& whole) {
          whole.branches.erase(whole.branches.begin() + at);
        })) {
      return true;
    }
    const auto& [condition, statements] = statement.branches[i];
    if (eachSmaller(condition, [&](const ConditionSource& smaller) {
          return useWith([&](StatementSource& whole) { whole.branches[i].condition = smaller; });
        })) {
      return true;
    }
    if (eachSmaller(statements, [&](const ProgramSource& smaller) {
          return useWith([&](StatementSource& whole) { whole.branches[i].statements = smaller; });
        })) {
      return true;
    }
  }
  return false;
}

bool eachSmaller(const ProgramSource& program, const Use<ProgramSource>& use) {
  for (std::size_t i = 0; i < program.size(); ++i) {
    const auto at = static_cast<std::ptrdiff_t>(i);
    ProgramSource without = program;
    without.erase(without.begin() + at);
    if (use(without)) return true;
    // The content of a block in its place.
    const auto useUnwrapped = [&](const ProgramSource& content) {
      ProgramSource unwrapped = without;
      unwrapped.insert(unwrapped.begin() + at, content.begin(), content.end());
      return use(unwrapped);
    };
    for (const StatementSource::Branch& branch : program[i].branches) {
      if (useUnwrapped(branch.statements)) return true;
    }
    if (program[i].otherwise && useUnwrapped(*program[i].otherwise)) return true;
    if (eachSmaller(program[i], [&](const StatementSource& smaller) {
          ProgramSource whole = program;
          whole[i] = smaller;
          return use(whole);
        })) {
      return true;
    }
  }
  return false;
}

bool means(const ConditionSource& condition, const Holds& holds) {
  switch (condition.kind) {
    case Kind::kText:
      return holds(condition.text);
    case Kind::kNegatedText:
      return !holds(condition.text);
    case Kind::kTrue:
      return true;
    case Kind::kFalse:
      return false;
    case Kind::kAnd:
      return means(condition.operands[0], holds) && means(condition.operands[1], holds);
    case Kind::kOr:
      return means(condition.operands[0], holds) || means(condition.operands[1], holds);
  }
  return false;
}

// The targets that a packet meets by what the program says. `holds` is asked for whole texts, of
// more than one option perhaps.
void addMeaning(const ProgramSource& program, const Holds& holds, std::vector<std::string>& met) {
  for (const StatementSource& statement : program) {
    if (!statement.target.empty()) {
      met.push_back(statement.target);
      continue;
    }
    const auto taken = std::ranges::find_if(
        statement.branches, [&](const auto& branch) { return means(branch.condition, holds); });
    if (taken != statement.branches.end()) {
      addMeaning(taken->statements, holds, met);
    } else if (statement.otherwise) {
      addMeaning(*statement.otherwise, holds, met);
    }
  }
}

}  // namespace

std::vector<std::string> tokensOf(const ProgramSource& program) {
  std::vector<std::string> tokens;
  addTokens(program, tokens);
  return tokens;
}

std::string configurationOf(const std::vector<std::string>& tokens) {
  std::string text = "config nfnlq 'nfnlq'\n\toption queue_first '0'\n\toption queue_last '0'\n";
  for (const std::string& token : tokens) {
    text += "\tlist pre_targets '" + token + "'\n";
  }
  return text;
}

bool isMisread(const ProgramSource& program, const Runs& runs) {
  std::unordered_map<std::string, std::vector<std::string>> optionsOf;
  for (std::size_t i = 0; i < runs.packets.size(); ++i) {
    const Holds holds = holdsIn(runs.numbers, runs.packets[i]);
    // A text of several options holds when each of them does.
    const auto textHolds = [&](const std::string& text) {
      const auto [options, isNew] = optionsOf.try_emplace(text);
      if (isNew) options->second = splitOptions(text);
      return std::ranges::all_of(options->second, holds);
    };
    std::vector<std::string> met;
    addMeaning(program, textHolds, met);
    if (met != runs.met[i]) return true;
  }
  return false;
}

IptProg buildProgram(const std::vector<std::string>& texts) {
  const tavrix::IptTokens tokens(texts.begin(), texts.end());
  IptProg all = tavrix::makeEmptyProg();
  for (auto position = tokens.begin(); position != tokens.end();) {
    IptProg statement = tavrix::parseSerializedTargets(position, tokens.end());
    all = tavrix::sequence({all, statement});
  }
  return all;
}

std::optional<Difference> findDifference(const std::vector<std::string>& tokens,
                                         std::uint64_t& packets) {
  return findDifference([&tokens] { return buildProgram(tokens); }, "PREROUTING", packets);
}

ProgramSource shrink(ProgramSource program, const Differs& differs) {
  while (eachSmaller(ProgramSource(program), [&](const ProgramSource& smaller) {
    if (!differs(smaller)) return false;
    program = smaller;
    return true;
  })) {
  }
  return program;
}

}  // namespace test_support
