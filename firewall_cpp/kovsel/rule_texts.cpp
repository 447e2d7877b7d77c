// Puts a value into a rule text and parses the whole under the text's line.
#include "firewall_cpp/kovsel/rule_texts.h"

#include <string>

namespace tavrix::kovsel {
namespace {

constexpr const char* kFile = "firewall_cpp/kovsel/kovsel";

std::string around(const RuleText& text, std::string_view value) {
  std::string whole(text.before);
  whole += value;
  whole += text.after;
  return whole;
}

}  // namespace

IptCond RuleText::matches(std::string_view value) const {
  return makeMatches(around(*this, value), kFile, line);
}

IptProg RuleText::target(std::string_view value) const {
  return makeTarget(around(*this, value), kFile, line);
}

}  // namespace tavrix::kovsel
