#include "tests/support/chain_walker.h"

#include <algorithm>
#include <sstream>
#include <stdexcept>
#include <utility>

namespace test_support {
namespace {

constexpr std::string_view kOptionWords =
    " -4 -6 -p -s -d -i -o -f -c -m -j -g --ipv4 --ipv6 --protocol --source --destination"
    " --in-interface --out-interface --fragment --set-counters --match --jump --goto ";

bool isOptionWord(const std::string& word) {
  return word.starts_with('-') && kOptionWords.find(" " + word + " ") != std::string_view::npos;
}

std::vector<std::string> splitWords(const std::string& line) {
  constexpr const char* kBlanks = " \t\n\v\f\r";
  std::vector<std::string> words;
  for (std::size_t begin = 0;
       (begin = line.find_first_not_of(kBlanks, begin)) != std::string::npos;) {
    const std::size_t end = std::min(line.find_first_of(kBlanks, begin), line.size());
    words.push_back(line.substr(begin, end - begin));
    begin = end;
  }
  return words;
}

// The options from the word at `begin` on.
std::vector<std::string> optionsOf(const std::vector<std::string>& words, std::size_t begin) {
  std::vector<std::string> options;
  while (begin < words.size()) {
    // An option reaches to the next option word, or to the "!" before it.
    const bool negated = words[begin] == "!";
    std::size_t end = begin + (negated ? 2 : 1);
    while (end < words.size() && !isOptionWord(words[end]) &&
           !(words[end] == "!" && end + 1 < words.size() && isOptionWord(words[end + 1]))) {
      ++end;
    }
    std::string option = words[begin];
    for (std::size_t i = begin + 1; i < end; ++i) option += " " + words[i];
    options.push_back(std::move(option));
    begin = end;
  }
  return options;
}

bool isOneOf(std::string_view word, std::string_view shortForm, std::string_view longForm) {
  return word == shortForm || word == longForm;
}

ChainRule parseRule(const std::vector<std::string>& words) {
  ChainRule rule;
  for (std::string& option : optionsOf(words, 2)) {
    const std::vector<std::string> parts = splitWords(option);
    const bool isGoto = isOneOf(parts[0], "-g", "--goto");
    if (isGoto || isOneOf(parts[0], "-j", "--jump")) {
      rule.target = std::move(option);
      rule.targetName = parts.at(1);
      rule.isGoto = isGoto;
    } else {
      rule.matches.push_back(std::move(option));
    }
  }
  return rule;
}

}  // namespace

std::vector<std::string> splitOptions(const std::string& text) {
  return optionsOf(splitWords(text), 0);
}

Chains parseChains(std::string_view restoreText) {
  Chains chains;
  std::istringstream in{std::string(restoreText)};
  for (std::string line; std::getline(in, line);) {
    const std::vector<std::string> words = splitWords(line);
    if (words.empty()) continue;
    if (line.front() == ':') {
      chains.try_emplace(words[0].substr(1));
    } else if (words[0] == "-A") {
      const auto chain = chains.find(words.at(1));
      if (chain == chains.end()) throw std::runtime_error("undeclared chain: " + line);
      chain->second.push_back(parseRule(words));
    }
  }
  return chains;
}

void takeSideEffectsForTargets(Chains& chains) {
  for (auto& [name, rules] : chains) {
    for (ChainRule& rule : rules) {
      if (!rule.target.empty() || rule.matches.empty() || rule.matches.back() != kRuleTag) continue;
      rule.matches.pop_back();
      if (rule.matches.empty() || !isOneOf(splitWords(rule.matches.back())[0], "-m", "--match")) {
        throw std::runtime_error("a generated rule that does nothing in " + name);
      }
      rule.target = std::move(rule.matches.back());
      rule.matches.pop_back();
    }
  }
}

bool walkChains(const Chains& chains, std::string_view chain, const WalkCallbacks& callbacks) {
  struct Frame {
    const std::vector<ChainRule>* rules;
    std::size_t next;
  };
  const auto rulesOf = [&chains](std::string_view name) {
    const auto found = chains.find(name);
    if (found == chains.end()) throw std::runtime_error("no such chain: " + std::string(name));
    return &found->second;
  };
  std::vector<Frame> frames = {{rulesOf(chain), 0}};
  while (!frames.empty()) {
    Frame& frame = frames.back();
    if (frame.next == frame.rules->size()) {
      frames.pop_back();
      continue;
    }
    const ChainRule& rule = (*frame.rules)[frame.next++];
    if (!std::ranges::all_of(rule.matches, callbacks.holds) || rule.target.empty()) continue;
    if (rule.targetName == "RETURN") {
      frames.pop_back();
    } else if (chains.contains(rule.targetName)) {
      const Frame target = {rulesOf(rule.targetName), 0};
      // After a goto, the end of the target chain returns to where this chain was jumped from.
      if (rule.isGoto) frames.pop_back();
      frames.push_back(target);
    } else if (rule.isGoto) {
      throw std::runtime_error("no such chain: " + rule.targetName);
    } else if (callbacks.meet(rule)) {
      return true;
    }
  }
  return false;
}

}  // namespace test_support
