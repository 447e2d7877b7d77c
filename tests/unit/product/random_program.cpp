#include "tests/unit/product/random_program.h"

#include <map>
#include <sstream>
#include <utility>

namespace test_support {

using tavrix::IptCond;
using tavrix::IptProg;

namespace {

// Leaves take one option or two; the parser and the merge put them into the order of their kinds.
std::string leafText(const std::vector<std::size_t>& options) {
  std::string text;
  for (const std::size_t option : options) {
    text += (text.empty() ? "" : " ") + std::string(kOptions[option]);
  }
  return text;
}

}  // namespace

struct RandomProgram::Condition {
  enum class Kind { kLeaf, kConstant, kNot, kAnd, kOr } kind;
  std::vector<std::size_t> options;  // of a leaf
  bool value = false;                // of a constant
  std::unique_ptr<Condition> left;
  std::unique_ptr<Condition> right;

  IptCond build() const {
    switch (kind) {
      case Kind::kLeaf:
        return tavrix::makeMatches(leafText(options), "random", 1);
      case Kind::kConstant:
        return tavrix::makeConstCond(value);
      case Kind::kNot:
        return !left->build();
      case Kind::kAnd:
        return left->build() && right->build();
      case Kind::kOr:
        return left->build() || right->build();
    }
    return {};
  }

  bool holds(Packet packet) const {
    switch (kind) {
      case Kind::kLeaf:
        for (const std::size_t option : options) {
          if ((packet >> option & 1) == 0) return false;
        }
        return true;
      case Kind::kConstant:
        return value;
      case Kind::kNot:
        return !left->holds(packet);
      case Kind::kAnd:
        return left->holds(packet) && right->holds(packet);
      case Kind::kOr:
        return left->holds(packet) || right->holds(packet);
    }
    return false;
  }

  std::string text() const {
    switch (kind) {
      case Kind::kLeaf:
        return "\"" + leafText(options) + "\"";
      case Kind::kConstant:
        return value ? "TRUE" : "FALSE";
      case Kind::kNot:
        return "NOT " + left->text();
      case Kind::kAnd:
        return "(" + left->text() + " AND " + right->text() + ")";
      case Kind::kOr:
        return "(" + left->text() + " OR " + right->text() + ")";
    }
    return "";
  }
};

struct RandomProgram::Statement {
  std::string target;                    // of a rule
  std::unique_ptr<Condition> condition;  // of an IF block; null for a rule
  Statements thenBody;
  Statements elseBody;
  bool hasElse = false;

  static IptProg build(const Statements& statements) {
    IptProg all = tavrix::makeEmptyProg();
    for (const Statement& statement : statements) {
      all = tavrix::sequence({all, statement.build()});
    }
    return all;
  }

  IptProg build() const {
    if (!condition) return tavrix::makeTarget(target, "random", 1);
    auto block = If(condition->build()).then({build(thenBody)});
    return hasElse ? block.orElse({build(elseBody)}) : IptProg(block);
  }

  static void run(const Statements& statements, Packet packet, std::vector<std::string>& targets) {
    for (const Statement& statement : statements) {
      if (!statement.condition) {
        targets.push_back(statement.target);
      } else {
        run(statement.condition->holds(packet) ? statement.thenBody : statement.elseBody, packet,
            targets);
      }
    }
  }

  static std::string text(const Statements& statements) {
    std::string all;
    for (const Statement& statement : statements) {
      if (!statement.condition) {
        all += "\"" + statement.target + "\"; ";
        continue;
      }
      all += "IF " + statement.condition->text() + " THEN " + text(statement.thenBody);
      if (statement.hasElse) all += "ELSE " + text(statement.elseBody);
      all += "FI; ";
    }
    return all;
  }
};

RandomProgram::RandomProgram(unsigned seed, std::size_t size) : random_(seed) {
  statements_ = std::make_unique<Statements>();
  while (size > 0) {
    for (Statement& statement : makeStatements(size, 0)) {
      statements_->push_back(std::move(statement));
    }
  }
}

RandomProgram::~RandomProgram() = default;

std::unique_ptr<RandomProgram::Condition> RandomProgram::makeCondition(std::size_t& budget) {
  auto condition = std::make_unique<Condition>();
  const auto choice = random_() % 10;
  if (budget > 1 && choice < 6) {
    using Kind = Condition::Kind;
    condition->kind = choice < 2 ? Kind::kAnd : choice < 4 ? Kind::kOr : Kind::kNot;
    condition->left = makeCondition(budget);
    if (condition->kind != Kind::kNot) condition->right = makeCondition(budget);
    return condition;
  }
  if (budget > 0) --budget;
  condition->kind = choice == 9 ? Condition::Kind::kConstant : Condition::Kind::kLeaf;
  condition->value = random_() % 2 == 0;
  const std::size_t options = 1 + random_() % 2;
  while (condition->options.size() < options) {
    condition->options.push_back(random_() % std::size(kOptions));
  }
  return condition;
}

RandomProgram::Statements RandomProgram::makeStatements(std::size_t& budget, int depth) {
  Statements statements;
  const std::size_t count = 1 + random_() % 3;
  while (statements.size() < count && budget > 0) {
    Statement& statement = statements.emplace_back();
    if (depth < 4 && random_() % 2 == 0) {
      statement.condition = makeCondition(budget);
      if (random_() % 8 != 0) statement.thenBody = makeStatements(budget, depth + 1);
      statement.hasElse = random_() % 2 == 0;
      if (statement.hasElse) statement.elseBody = makeStatements(budget, depth + 1);
    } else {
      --budget;
      statement.target = "-j T" + std::to_string(targetCount_++);
    }
  }
  return statements;
}

IptProg RandomProgram::build() const {
  return Statement::build(*statements_);
}

std::vector<std::string> RandomProgram::run(Packet packet) const {
  std::vector<std::string> targets;
  Statement::run(*statements_, packet, targets);
  return targets;
}

std::string RandomProgram::text() const {
  return Statement::text(*statements_);
}

namespace {

struct Rule {
  Packet options = 0;  // all of which must hold
  std::string jump;    // "-j" or "-g"
  std::string target;
};

using Chains = std::map<std::string, std::vector<Rule>>;

// Cuts one "-A" line into options, jump and target. False for any other line.
bool readRule(const std::string& line, const std::string& firstChain, Chains& chains) {
  std::istringstream words(line);
  std::string word;
  std::string chain;
  words >> word >> chain;
  if (word != "-A" || (chain != firstChain && chains.count(chain) == 0)) return false;
  Rule rule;
  while (words >> word && word != "-j" && word != "-g") {
    std::string value;
    words >> value;
    bool known = false;
    for (std::size_t i = 0; i < std::size(kOptions); ++i) {
      if (kOptions[i] != word + " " + value) continue;
      rule.options |= 1U << i;
      known = true;
    }
    if (!known) return false;
  }
  rule.jump = word;
  words >> rule.target;
  std::string tag;
  std::getline(words, tag);
  chains[chain].push_back(rule);
  return tag == " -m comment --comment ipt_compiler";
}

}  // namespace

std::vector<std::string> runRules(const std::string& rules, const std::string& chain,
                                  Packet packet) {
  Chains chains;
  std::istringstream lines(rules);
  for (std::string line; std::getline(lines, line);) {
    const std::string declarationEnd = " - [0:0]";
    if (line.starts_with(':') && line.ends_with(declarationEnd)) {
      // Declared once, before any rule names it.
      const std::string name = line.substr(1, line.size() - 1 - declarationEnd.size());
      if (!chains.try_emplace(name).second) return {"declared twice: " + line};
    } else if (!readRule(line, chain, chains)) {
      return {"no rule: " + line};
    }
  }

  std::vector<std::string> targets;
  std::vector<std::pair<const std::vector<Rule>*, std::size_t>> calls = {{&chains[chain], 0}};
  while (!calls.empty()) {
    auto& [current, next] = calls.back();
    if (next == current->size()) {
      calls.pop_back();
      continue;
    }
    const Rule& rule = (*current)[next++];
    if ((rule.options & packet) != rule.options) continue;
    if (rule.target == "RETURN") {
      calls.pop_back();
    } else if (chains.count(rule.target) == 0) {
      targets.push_back(rule.jump + " " + rule.target);
    } else {
      if (rule.jump == "-g") calls.pop_back();
      calls.emplace_back(&chains[rule.target], 0);
    }
  }
  return targets;
}

}  // namespace test_support
