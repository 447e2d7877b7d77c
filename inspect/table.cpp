// Reading of table texts, and their translation into the words of the restore tool.
#include "inspect/table.h"

#include <algorithm>
#include <sstream>
#include <stdexcept>
#include <unordered_map>
#include <utility>

#include "inspect/tool_output.h"
#include "ipt_compiler/generated_marks.h"
#include "ipt_compiler/tokenizer.h"

namespace tavrix::inspect {
namespace {

constexpr std::string_view kAppend = "-A ";

// Where the options of a rule begin: after "-A" and the name of the chain.
std::size_t optionsOf(std::string_view line) {
  return std::min(line.find(' ', kAppend.size()), line.size());
}

TableRule readRule(const std::string& line) {
  TableRule rule;
  for (Token token = nextToken(line, optionsOf(line)); token.exists();) {
    const Token value = nextToken(line, token.end());
    const bool leads = token.in(line) == "-j" || token.in(line) == "-g";
    if (leads && value.exists() && value.in(line).starts_with(kChainPrefix)) {
      rule.chain = value.in(line);
    }
    token = value;
  }
  rule.text = line.substr(optionsOf(line));
  const std::string mark = std::string(" ") + kRuleMark;
  const std::size_t found = rule.text.find(mark);
  if (found != std::string::npos) rule.text.erase(found, mark.size());
  rule.text.erase(0, rule.text.find_first_not_of(' '));
  return rule;
}

constexpr std::string_view kNumberBefore = "/* #";
constexpr std::string_view kNumberAfter = " */";

// The texts, with each rule to be added verbosely, which lists it, and with a comment in front that
// says which rule it is. Lines keep their numbers, as far as errors of the tool name them. At the
// end of each text stands a rule more, which every tool that lists rules has to list.
std::string listingInput(const std::vector<std::string>& texts) {
  const auto comment = [](std::size_t rule) {
    return " -v -m comment --comment #" + std::to_string(rule);
  };
  std::ostringstream input;
  std::size_t rules = 0;
  for (const std::string& text : texts) {
    std::istringstream lines(text);
    std::string chain;
    for (std::string line; std::getline(lines, line);) {
      if (line.starts_with(':')) chain = line.substr(1, line.find(' ') - 1);
      if (line.starts_with(kAppend)) line.insert(optionsOf(line), comment(rules++));
      if (line == "COMMIT") input << kAppend << chain << comment(rules++) << '\n';
      input << line << '\n';
    }
  }
  return input.str();
}

}  // namespace

std::vector<TableChain> readTable(const std::string& text, const RuleWords& words) {
  std::vector<TableChain> chains;
  std::unordered_map<std::string, std::size_t> numbers;
  auto next = words.begin();
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) {
    if (line.starts_with(':')) {
      std::istringstream declaration(line.substr(1));
      TableChain& chain = chains.emplace_back();
      declaration >> chain.name >> chain.policy;
      numbers[chain.name] = chains.size() - 1;
    } else if (line.starts_with(kAppend)) {
      const std::string chain = line.substr(kAppend.size(), optionsOf(line) - kAppend.size());
      TableRule rule = readRule(line);
      for (const std::string& listed : *next++) {
        rule.words = listed;
        const std::size_t name = rule.chain.empty() ? std::string::npos : listed.find(rule.chain);
        if (name != std::string::npos) rule.words.erase(name, rule.chain.size());
        chains.at(numbers.at(chain)).rules.push_back(rule);
      }
    }
  }
  return chains;
}

RuleWords wordsAsWritten(const std::string& text) {
  RuleWords words;
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) {
    if (line.starts_with(kAppend)) words.push_back({line.substr(optionsOf(line))});
  }
  return words;
}

std::vector<RuleWords> wordsOfTool(std::string_view tool, const std::vector<std::string>& texts) {
  std::unordered_map<std::size_t, std::vector<std::string>> listed;  // by the number of the rule
  std::istringstream lines(toolOutput(std::string(tool) + "-restore --test", listingInput(texts)));
  for (std::string line; std::getline(lines, line);) {
    const std::size_t before = line.find(kNumberBefore);
    const std::size_t after = line.find(kNumberAfter, before);
    if (after == std::string::npos) continue;
    const std::size_t number = before + kNumberBefore.size();
    const std::size_t rule = std::stoul(line.substr(number, after - number));
    line.erase(before, after + kNumberAfter.size() - before);
    listed[rule].push_back(line);
  }
  std::vector<RuleWords> words;
  std::size_t rule = 0;
  for (const std::string& text : texts) {
    words.push_back(wordsAsWritten(text));
    for (std::vector<std::string>& ofRule : words.back()) ofRule = std::move(listed[rule++]);
    if (!text.empty() && listed[rule++].empty()) {
      throw std::runtime_error(std::string(tool) +
                               "-restore lists no rules, as the legacy tool does");
    }
  }
  return words;
}

}  // namespace tavrix::inspect
