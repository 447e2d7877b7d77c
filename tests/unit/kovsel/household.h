// Configurations of section "kovsel" and the rules that they give, as the tests here write them.
#pragma once

#include <ostream>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "firewall_cpp/kovsel/kovsel.h"

namespace kovsel_test {

using Program = tavrix::IptProg (*)();

// The options of section "kovsel", each with its values; no values, no option.
using Options = std::vector<std::pair<std::string, std::vector<std::string>>>;

// Both make it the configuration from now on. lines: the section's "option" and "list" lines.
void configure(std::string_view lines);
void configure(const Options& options);

// What becomes of each program with the present configuration, as restore text.
std::string mangleRules();
std::string natRules();
std::string inputRules();
std::string forwardRules();

// Expected rules: the text without its first newline, and the tag of generated rules at the end of
// every line that begins with "-A".
std::string tagged(std::string_view rules);

// A named household and the rules that one program gives for it, before they are tagged.
struct RulesCase {
  const char* name;
  const char* options;  // lines
  std::string rules;
};

inline void PrintTo(const RulesCase& household, std::ostream* out) {
  *out << household.name;
}

// what() of the exception that the program ends with, after its type: "IptCompileFailed ",
// "invalid_argument "; "none" without one.
std::string errorOf(Program program);

}  // namespace kovsel_test
