// The findings of the configuration and those of the restore tools, in the order of the file and in
// the form that users see.

#include <algorithm>
#include <exception>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "inspect/commands.h"
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
    case Finding::Effect::kAccepted:
      return "silently accepted: ";
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
  std::vector<Finding> findings = checkConfiguration(texts);
  std::exception_ptr failure;
  try {
    addRefusals(findings, request, texts);
  } catch (...) {
    failure = std::current_exception();
  }
  std::ranges::stable_sort(findings, std::less<>(), &Finding::at);
  for (const Finding& finding : findings) show(finding, screen);
  if (failure) std::rethrow_exception(failure);
  if (findings.empty()) screen.remark("Nothing found.");
  return findings.empty() ? kFine : kDifference;
}

}  // namespace tavrix::inspect
