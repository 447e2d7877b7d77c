// Rule programs as trees that a test can make, shrink and print, and the question whether the
// chains generated from one do what it says.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "ipt_compiler/ir_graph.h"

namespace test_support {

// A condition: a match text, a constant, or a composition of two.
struct ConditionSource {
  enum class Kind { kText, kNegatedText, kTrue, kFalse, kAnd, kOr };

  Kind kind = Kind::kTrue;
  std::string text;
  std::vector<ConditionSource> operands;  // two for kAnd and kOr
};

// A target text, or an IF block with at least one branch: condition and statements.
struct StatementSource {
  struct Branch {
    ConditionSource condition;
    std::vector<StatementSource> statements;
  };

  std::string target;  // empty for a block
  std::vector<Branch> branches;
  std::optional<std::vector<StatementSource>> otherwise;
};

using ProgramSource = std::vector<StatementSource>;

// The program as tokens of the language.
std::vector<std::string> tokensOf(const ProgramSource& program);

// The program as a configuration, which puts it before the queue decision.
std::string configurationOf(const std::vector<std::string>& tokens);

// The rule program as the readers of the language build it.
tavrix::IptProg buildProgram(const std::vector<std::string>& tokens);

// The match texts in a program's graph, each once, in depth-first order. A packet is the truth of
// each: bit i is that of text i. Throws std::invalid_argument for a match module as target: in a
// rule it could not be told from a match.
std::vector<std::string> matchTextsOf(const tavrix::IptProg& program);

// The targets that the packet meets in the graph as it stands: control enters at first, the targets
// of a node happen in order, and a condition holds when all its items hold.
std::vector<std::string> evaluate(const tavrix::IptProg& program,
                                  const std::vector<std::string>& texts, std::uint32_t packet);

struct Difference {
  std::uint32_t packet;
  std::vector<std::string> expected;
  std::vector<std::string> met;
  std::string chains;
};

// Compares the graph as built with the chains generated from it, no target being final, for every
// packet; adds their number to `packets`. Tokens that are no program throw what the readers of the
// language throw.
std::optional<Difference> findDifference(const std::vector<std::string>& tokens,
                                         std::uint64_t& packets);
std::optional<Difference> findDifference(const ProgramSource& program, std::uint64_t& packets);

// The smallest program that can be had from a differing one by taking parts away, and still
// differs.
ProgramSource shrink(ProgramSource program);

// For a failing test: the configuration, the packet, both sequences and the chains.
std::string describe(const std::vector<std::string>& tokens, const Difference& difference);

}  // namespace test_support
