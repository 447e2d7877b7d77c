// A table as values: the chains of a save or restore text, without counters.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace tavrix::inspect {

struct TableRule {
  std::string text;   // its options as written, without the mark of generated rules
  std::string chain;  // the generated chain that it leads to, or empty
  std::string words;  // rules that are the same have the same words, whatever the chain's number
};

struct TableChain {
  std::string name;
  std::string policy;
  std::vector<TableRule> rules;
};

// For each rule of a text, in its order, the words that stand for it: one line for each rule that
// the kernel would have in its place.
using RuleWords = std::vector<std::vector<std::string>>;

// The chains in the order of the text. words: one element for each rule.
std::vector<TableChain> readTable(const std::string& text, const RuleWords& words);

// The rules' own lines.
RuleWords wordsAsWritten(const std::string& text);

// The words in which the restore tool lists the rules. A rule that a run writes comes back from the
// save tool with its options in another order and its values in another form: the tool lists both
// alike. It gets the texts in its test mode, which changes nothing. A rule that it leaves out,
// because it is of the other address family, has no words. Throws std::runtime_error if the tool
// cannot be run, lists no rule or refuses a text; it has then written why to standard error.
std::vector<RuleWords> wordsOfTool(std::string_view tool, const std::vector<std::string>& texts);

}  // namespace tavrix::inspect
