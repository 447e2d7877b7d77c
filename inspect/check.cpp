// The findings of the configuration and those of the restore tools, in the form that users see.
#include "inspect/check.h"

#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

#include "inspect/configuration_check.h"
#include "inspect/restore_check.h"

namespace tavrix::inspect {
namespace {

std::string_view wordsFor(Finding::Effect effect) {
  switch (effect) {
    case Finding::Effect::kStops:
      return "a run stops at ";
    case Finding::Effect::kRefused:
      return "the restore tool refuses ";
    case Finding::Effect::kIgnored:
      return "silently ignored: ";
  }
  return {};
}

// One line for the terminal, whatever is in it.
std::string printable(std::string text) {
  std::ranges::replace_if(
      text, [](unsigned char c) { return c < ' ' || c == 0x7F; }, '?');
  return text;
}

// How many columns it takes, if it is UTF-8.
std::size_t columnsOf(std::string_view text) {
  return static_cast<std::size_t>(
      std::ranges::count_if(text, [](char c) { return (c & '\xC0') != '\x80'; }));
}

void show(const Finding& finding, Screen& screen) {
  const std::string_view text = finding.text;
  const std::size_t columns = columnsOf(text.substr(finding.markStart, finding.markLength));
  screen.line(finding.where, Look::kTitle);
  screen.text("    " + printable(finding.text) + "\n" +
              std::string(4 + columnsOf(text.substr(0, finding.markStart)), ' ') +
              std::string(std::max<std::size_t>(columns, 1), '^') + "\n");
  screen.line("  " + std::string(wordsFor(finding.effect)) + printable(finding.reason));
}

}  // namespace

int check(const Request& request, Screen& screen) {
  const NotedTexts texts(NotedTexts::Wrong::kIsNoted);
  const std::vector<Finding> ofConfiguration = checkConfiguration(texts);
  for (const Finding& finding : ofConfiguration) show(finding, screen);
  const std::vector<Finding> ofTools = checkTables(request, texts, ofConfiguration);
  for (const Finding& finding : ofTools) show(finding, screen);
  return ofConfiguration.empty() && ofTools.empty() ? kFine : kDifference;
}

}  // namespace tavrix::inspect
