// Rule programs as trees that a test can make, run, shrink and print.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "ipt_compiler/ir_graph.h"
#include "tests/support/program_comparison.h"

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

// The program as tokens of the language, with parentheses only where it would be another tree
// without them.
std::vector<std::string> tokensOf(const ProgramSource& program);

// The program as a configuration, which puts it before the queue decision.
std::string configurationOf(const std::vector<std::string>& tokens);

// The rule program as the readers of the language build it.
tavrix::IptProg buildProgram(const std::vector<std::string>& tokens);

// Whether the tree is another program than the graph that the readers built of it, whose runs are
// given: some packet meets other targets in it.
bool isMisread(const ProgramSource& program, const Runs& runs);

// findDifference for the program that the readers build. Tokens that are no program throw what the
// readers throw.
std::optional<Difference> findDifference(const std::vector<std::string>& tokens,
                                         std::uint64_t& packets);

// The smallest program that can be had from a differing one by taking parts away, and still
// differs.
using Differs = std::function<bool(const ProgramSource& program)>;
ProgramSource shrink(ProgramSource program, const Differs& differs);

}  // namespace test_support
