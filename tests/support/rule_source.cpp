#include "tests/support/rule_source.h"

#include <algorithm>
#include <functional>
#include <sstream>
#include <stdexcept>
#include <unordered_set>
#include <utility>

#include "ipt_compiler/export/ipt_lang.h"
#include "ipt_compiler/ipt_compiler.h"
#include "tests/support/chain_walker.h"

namespace test_support {
namespace {

using tavrix::IptProg;
using Kind = ConditionSource::Kind;
constexpr const char* kChain = "PREROUTING";
constexpr const char* kMark = "-m comment --comment ipt_compiler";

void addTokens(const ConditionSource& condition, bool nested, std::vector<std::string>& tokens) {
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
      if (nested) tokens.emplace_back("(");
      addTokens(condition.operands[0], true, tokens);
      tokens.emplace_back(condition.kind == Kind::kAnd ? "AND" : "OR");
      addTokens(condition.operands[1], true, tokens);
      if (nested) tokens.emplace_back(")");
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
      addTokens(statement.branches[i].condition, false, tokens);
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

bool holds(const std::string& match, const std::vector<std::string>& texts, std::uint32_t packet) {
  const auto found = std::ranges::find(texts, match);
  return found != texts.end() && ((packet >> (found - texts.begin())) & 1U) != 0;
}

// Every way to take one part away from a tree, each as a copy of the whole.
template <class Part>
using Use = std::function<void(const Part&)>;

void eachSmaller(const ProgramSource& program, const Use<ProgramSource>& use);

void eachSmaller(const ConditionSource& condition, const Use<ConditionSource>& use) {
  if (condition.kind != Kind::kTrue) use(ConditionSource{});
  if (condition.kind == Kind::kNegatedText) use({Kind::kText, condition.text, {}});
  for (std::size_t i = 0; i < condition.operands.size(); ++i) {
    use(condition.operands[i]);
    eachSmaller(condition.operands[i], [&](const ConditionSource& smaller) {
      ConditionSource whole = condition;
      whole.operands[i] = smaller;
      use(whole);
    });
  }
}

void eachSmaller(const StatementSource& statement, const Use<StatementSource>& use) {
  if (statement.otherwise) {
    StatementSource without = statement;
    without.otherwise.reset();
    use(without);
    eachSmaller(*statement.otherwise, [&](const ProgramSource& smaller) {
      StatementSource whole = statement;
      whole.otherwise = smaller;
      use(whole);
    });
  }
  for (std::size_t i = 0; i < statement.branches.size(); ++i) {
    if (statement.branches.size() > 1) {
      StatementSource without = statement;
      without.branches.erase(without.branches.begin() + static_cast<std::ptrdiff_t>(i));
      use(without);
    }
    eachSmaller(statement.branches[i].condition, [&](const ConditionSource& smaller) {
      StatementSource whole = statement;
      whole.branches[i].condition = smaller;
      use(whole);
    });
    eachSmaller(statement.branches[i].statements, [&](const ProgramSource& smaller) {
      StatementSource whole = statement;
      whole.branches[i].statements = smaller;
      use(whole);
    });
  }
}

void eachSmaller(const ProgramSource& program, const Use<ProgramSource>& use) {
  for (std::size_t i = 0; i < program.size(); ++i) {
    const auto at = static_cast<std::ptrdiff_t>(i);
    ProgramSource without = program;
    without.erase(without.begin() + at);
    use(without);
    // The content of a block in its place.
    for (const StatementSource::Branch& branch : program[i].branches) {
      ProgramSource unwrapped = without;
      unwrapped.insert(unwrapped.begin() + at, branch.statements.begin(), branch.statements.end());
      use(unwrapped);
    }
    eachSmaller(program[i], [&](const StatementSource& smaller) {
      ProgramSource whole = program;
      whole[i] = smaller;
      use(whole);
    });
  }
}

std::string joined(const std::vector<std::string>& words) {
  std::string all;
  for (const std::string& word : words) all += (all.empty() ? "" : ", ") + word;
  return all.empty() ? "nothing" : all;
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

IptProg buildProgram(const std::vector<std::string>& texts) {
  const tavrix::IptTokens tokens(texts.begin(), texts.end());
  IptProg all = tavrix::makeEmptyProg();
  for (auto position = tokens.begin(); position != tokens.end();) {
    IptProg statement = tavrix::parseSerializedTargets(position, tokens.end());
    all = sequence(std::move(all), std::move(statement));
  }
  return all;
}

std::vector<std::string> matchTextsOf(const IptProg& program) {
  std::vector<std::string> texts;
  std::unordered_set<const tavrix::ProxyIrNode*> seen;
  std::vector<const tavrix::ProxyIrNode*> toVisit = {program.first.get()};
  while (!toVisit.empty()) {
    const tavrix::ProxyIrNode* const node = toVisit.back();
    toVisit.pop_back();
    if (node == nullptr || !seen.insert(node).second) continue;
    for (const tavrix::IptTarget& target : node->targets) {
      if (target.text.starts_with("-m")) throw std::invalid_argument("a match module as target");
    }
    for (const tavrix::IptMatch& match : node->matches.items) {
      const std::string& text = tavrix::matchText(match);
      if (std::ranges::find(texts, text) == texts.end()) texts.push_back(text);
    }
    for (const auto& successor : node->successor) toVisit.push_back(successor.get());
  }
  return texts;
}

std::vector<std::string> evaluate(const IptProg& program, const std::vector<std::string>& texts,
                                  std::uint32_t packet) {
  std::vector<std::string> met;
  for (const tavrix::ProxyIrNode* node = program.first.get(); node != nullptr;) {
    for (const tavrix::IptTarget& target : node->targets) met.push_back(target.text);
    const bool condition = std::ranges::all_of(node->matches.items, [&](const auto& match) {
      return holds(tavrix::matchText(match), texts, packet);
    });
    node =
        node->successor[condition ? tavrix::_IptIrNode::kNext : tavrix::_IptIrNode::kNoMatch].get();
  }
  return met;
}

std::optional<Difference> findDifference(const ProgramSource& program, std::uint64_t& packets) {
  return findDifference(tokensOf(program), packets);
}

std::optional<Difference> findDifference(const std::vector<std::string>& tokens,
                                         std::uint64_t& packets) {
  const IptProg asBuilt = buildProgram(tokens);
  const std::vector<std::string> texts = matchTextsOf(asBuilt);
  IptProg compiled = buildProgram(tokens);
  std::ostringstream out;
  out << ':' << kChain << " - [0:0]\n";
  std::uint32_t counter = 0;
  tavrix::IptCompiler::compileHook(counter, out, compiled, kChain, false);
  const Chains chains = parseChains(out.str());

  for (std::uint32_t packet = 0; packet < (1U << texts.size()); ++packet) {
    ++packets;
    const std::vector<std::string> expected = evaluate(asBuilt, texts, packet);
    std::vector<std::string> met;
    walkChains(
        chains, kChain,
        {[&](const std::string& match) { return match == kMark || holds(match, texts, packet); },
         [&](const ChainRule& rule) {
           met.push_back(rule.target);
           return false;
         }});
    if (expected != met) return Difference{packet, expected, met, out.str()};
  }
  return std::nullopt;
}

ProgramSource shrink(ProgramSource program) {
  std::uint64_t packets = 0;
  for (bool smallerFound = true; smallerFound;) {
    smallerFound = false;
    const ProgramSource whole = program;
    eachSmaller(whole, [&](const ProgramSource& smaller) {
      if (smallerFound || !findDifference(smaller, packets)) return;
      program = smaller;
      smallerFound = true;
    });
  }
  return program;
}

std::string describe(const std::vector<std::string>& tokens, const Difference& difference) {
  const std::vector<std::string> texts = matchTextsOf(buildProgram(tokens));
  std::string held;
  for (std::size_t i = 0; i < texts.size(); ++i) {
    if (((difference.packet >> i) & 1U) != 0) held += " \"" + texts[i] + "\"";
  }
  return configurationOf(tokens) + "for a packet for which there holds" +
         (held.empty() ? " nothing" : held) + "\n  the program meets " +
         joined(difference.expected) + "\n  the chains meet " + joined(difference.met) + "\n" +
         difference.chains;
}

}  // namespace test_support
