#include "tests/router/kernel_words.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <utility>
#include <variant>

#include "ipt_compiler/rule_parser.h"
#include "tests/support/graph_text.h"

namespace product_test {
namespace {

using test_support::ChainRule;
using test_support::Holds;

const std::string kChain = "asked";

// In place of a printed option.
const std::string kAlways = "always";
const std::string kNever = "never";

std::string tagOf(int number) {
  return "-m comment --comment asked_" + std::to_string(number);
}

// A set has one family, and the tool of the other refuses a rule that names it.
bool isPrintedAsWritten(const std::string& text) {
  return text.starts_with("-j SET ");
}

int kindOf(const std::string& option) {
  return tavrix::matchKind(tavrix::parseMatches(option, "test", 1).items.front());
}

bool selectsFamily(const tavrix::IptMatch& match) {
  return std::holds_alternative<tavrix::_IptMatches::Ipv4>(match) ||
         std::holds_alternative<tavrix::_IptMatches::Ipv6>(match);
}

bool isPrinted(const tavrix::IptMatch& match) {
  return !selectsFamily(match) && !std::holds_alternative<tavrix::_IptMatches::Set_counters>(match);
}

}  // namespace

void Questions::add(const tavrix::IptProg& program) {
  const auto number = [this](const std::string& text) {
    numbers_.try_emplace(text, static_cast<int>(numbers_.size()));
  };
  const test_support::NodeNumbers nodes(*program.first);
  for (std::size_t i = 0; i < nodes.size(); ++i) {
    const std::string text = matchesText(nodes[i].matches());
    if (!text.empty()) {
      conditions_.try_emplace(text, nodes[i].matches());
      number(text);
    }
    for (const tavrix::IptTarget& target : nodes[i].targets()) number(target.text);
  }
}

std::string Questions::restoreText(const std::string& table) const {
  std::string text = "*" + table + "\n:" + kChain + " - [0:0]\n";
  for (const auto& [asked, number] : numbers_) {
    if (isPrintedAsWritten(asked)) continue;
    // There are targets which only rules for TCP may have; the others do not mind.
    const char* before = conditions_.contains(asked) ? " " : " -p tcp ";
    text.append("-A ").append(kChain).append(before).append(asked);
    text.append(" ").append(tagOf(number)).append("\n");
  }
  return text + "COMMIT\n";
}

Answers::Answers(const Questions& questions, const test_support::Chains& saved) {
  std::map<std::string, ChainRule> rules;
  for (ChainRule rule : saved.at(kChain)) {
    const std::string tag = rule.matches.back();
    rule.matches.pop_back();
    rules.emplace(tag, std::move(rule));
  }
  for (const auto& [text, number] : questions.numbers_) {
    const auto rule = rules.find(tagOf(number));
    const auto condition = questions.conditions_.find(text);
    if (condition != questions.conditions_.end()) {
      if (rule == rules.end()) {
        takeSkipped(condition->second);
      } else {
        takePrinted(condition->second, rule->second.matches);
      }
    } else if (isPrintedAsWritten(text)) {
      targets_[text] = text;
    } else {
      const ChainRule& answer = rules.at(tagOf(number));
      targets_[text] = answer.target.empty() ? answer.matches.at(1) : answer.target;
    }
  }
}

// The tool skips a rule of the other family. Its selector, which is the first option, decides the
// condition; the answer for the others is known if they stand in another condition too.
void Answers::takeSkipped(const tavrix::IptMatchList& condition) {
  for (const tavrix::IptMatch& match : condition.items) {
    if (selectsFamily(match)) learn(tavrix::matchText(match), kNever);
  }
}

void Answers::takePrinted(const tavrix::IptMatchList& condition, std::vector<std::string> printed) {
  std::ranges::stable_sort(printed, {}, kindOf);  // the order of the condition's options
  auto next = printed.begin();
  for (const tavrix::IptMatch& match : condition.items) {
    const std::string text = tavrix::matchText(match);
    if (!isPrinted(match)) {
      learn(text, kAlways);
      continue;
    }
    ASSERT_NE(next, printed.end()) << text;
    ASSERT_EQ(kindOf(*next), tavrix::matchKind(match)) << text << ", printed as " << *next;
    numbers_.try_emplace(*next, numbers_.size());
    learn(text, *next++);
  }
  ASSERT_EQ(next, printed.end()) << matchesText(condition);
}

void Answers::learn(const std::string& text, const std::string& printed) {
  ASSERT_EQ(matches_.try_emplace(text, printed).first->second, printed) << text;
}

Holds Answers::inProgram(const Holds& holds) const {
  return [this, &holds](const std::string& option) {
    const std::string& printed = matches_.at(option);
    return printed == kAlways || (printed != kNever && holds(printed));
  };
}

std::vector<std::string> Answers::printedTargets(std::vector<std::string> targets) const {
  for (std::string& target : targets) target = targets_.at(target);
  return targets;
}

std::size_t Answers::reworded() const {
  const auto isOther = [](const auto& entry) {
    return entry.second != entry.first && entry.second != kAlways && entry.second != kNever;
  };
  return static_cast<std::size_t>(std::ranges::count_if(matches_, isOther) +
                                  std::ranges::count_if(targets_, isOther));
}

}  // namespace product_test
