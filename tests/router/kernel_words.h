// What the kernel prints for the options of rule programs. It prints rules in its own words, so the
// tools are asked: each condition and each target stands alone in a rule of a chain that nothing
// jumps to, and the saved chain has the answers.
#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <vector>

#include "ipt_compiler/ir_graph.h"
#include "tests/support/program_comparison.h"

namespace product_test {

// The conditions and targets of a table's programs, each once.
class Questions {
 public:
  void add(const tavrix::IptProg& program);

  bool hasTargets() const { return numbers_.size() > conditions_.size(); }

  // The chain with the questions, as the restore tool takes it beside what the table has. The
  // product takes its rules for foreign ones.
  std::string restoreText(const std::string& table) const;

 private:
  friend class Answers;

  std::map<std::string, tavrix::IptMatchList> conditions_;  // by their texts
  std::map<std::string, int> numbers_;  // of condition and target texts; they tag the rules
};

// Options with an equal answer are one option.
class Answers {
 public:
  // saved: the chains of the table of one family. Reports a test failure when an answer cannot be
  // told apart into the options of its condition.
  Answers(const Questions& questions, const test_support::Chains& saved);

  // The options that the kernel prints, numbered.
  const test_support::MatchNumbers& printedMatches() const { return numbers_; }

  // Whether an option of a program holds, by what is known of the printed ones; `holds` must
  // outlive the result. A selector of the other family never holds. What is not printed always
  // holds.
  test_support::Holds inProgram(const test_support::Holds& holds) const;

  std::vector<std::string> printedTargets(std::vector<std::string> targets) const;

  // How many options and targets the kernel prints in other words.
  std::size_t reworded() const;

 private:
  void takeSkipped(const tavrix::IptMatchList& condition);
  void takePrinted(const tavrix::IptMatchList& condition, std::vector<std::string> printed);
  void learn(const std::string& text, const std::string& printed);

  std::map<std::string, std::string> matches_;
  std::map<std::string, std::string> targets_;
  test_support::MatchNumbers numbers_;
};

}  // namespace product_test
