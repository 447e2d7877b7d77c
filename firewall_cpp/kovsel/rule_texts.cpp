// Puts a value into a rule text and parses the whole under the text's line.
#include "firewall_cpp/kovsel/rule_texts.h"

#include <string>

namespace tavrix::kovsel {
namespace {

constexpr const char* kFile = "firewall_cpp/kovsel/kovsel";

std::string around(const RuleText& text, std::string_view value) {
  return std::string(text.before).append(value).append(text.after);
}

}  // namespace

IptCond RuleText::matches(std::string_view value) const {
  return makeMatches(around(*this, value), kFile, line);
}

IptProg RuleText::target(std::string_view value) const {
  return makeTarget(around(*this, value), kFile, line);
}

}  // namespace tavrix::kovsel
