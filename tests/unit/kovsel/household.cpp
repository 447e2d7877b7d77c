#include "tests/unit/kovsel/household.h"

#include <sstream>
#include <stdexcept>

#include "ipt_compiler/rule_model.h"
#include "tests/support/configuration.h"
#include "tests/support/program_comparison.h"

namespace kovsel_test {

using test_support::compiledText;

void configure(std::string_view lines) {
  test_support::setConfiguration("config kovsel 'kovsel'\n" + std::string(lines));
}

void configure(const Options& options) {
  std::string lines;
  for (const auto& [name, values] : options) {
    for (const std::string& value : values) {
      lines.append("list ").append(name).append(" '").append(value).append("'\n");
    }
  }
  configure(lines);
}

std::string mangleRules() {
  return compiledText(tavrix::kovsel::mangleProgram(), "PREROUTING");
}
std::string natRules() {
  return compiledText(tavrix::kovsel::natPreroutingProgram(), "PREROUTING");
}
std::string inputRules() {
  return compiledText(tavrix::kovsel::filterInputProgram(), "INPUT");
}
std::string forwardRules() {
  return compiledText(tavrix::kovsel::filterForwardProgram(), "FORWARD");
}

std::string tagged(std::string_view rules) {
  std::istringstream in{std::string(rules)};
  std::string text;
  for (std::string line; std::getline(in, line);) {
    if (line.starts_with("-A ")) line += " -m comment --comment ipt_compiler";
    if (!line.empty()) text += line + "\n";
  }
  return text;
}

std::string errorOf(Program program) {
  try {
    program();
  } catch (const tavrix::IptCompileFailed& error) {
    return std::string("IptCompileFailed ") + error.what();
  } catch (const std::invalid_argument& error) {
    return std::string("invalid_argument ") + error.what();
  }
  return "none";
}

}  // namespace kovsel_test
