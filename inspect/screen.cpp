// Colours as in ./demo and line breaks.
#include "inspect/screen.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <iostream>

namespace tavrix::inspect {
namespace {

// In the order of Look.
constexpr std::array<std::string_view, 5> kColours = {"", "\033[1m", "\033[32m", "\033[31m",
                                                      "\033[2m"};
constexpr std::size_t kHanging = 4;  // further than the line that they continue

}  // namespace

Screen Screen::ofProcess() {
  Screen screen(std::cout);
  screen.isTerminal_ = isatty(STDOUT_FILENO) != 0;
  if (!screen.isTerminal_) return screen;
  winsize size{};
  ioctl(STDOUT_FILENO, TIOCGWINSZ, &size);
  screen.width_ = size.ws_col;
  const char* const refused = std::getenv("NO_COLOR");
  screen.hasColours_ = refused == nullptr || *refused == '\0';
  return screen;
}

void Screen::line(std::string_view text, Look look) {
  const std::string_view colour = hasColours_ ? kColours[static_cast<std::size_t>(look)] : "";
  const std::size_t indent = std::min(text.find_first_not_of(' ', 1), text.size()) + kHanging;
  out_ << colour;
  std::size_t room = width_;
  while (width_ > indent && text.size() > room) {
    const std::size_t firstWord = text.find_first_not_of(' ');
    std::size_t end = text.rfind(' ', room);
    // A word that is too long stays whole.
    if (end == std::string_view::npos || end < firstWord) end = text.find(' ', firstWord);
    if (end == std::string_view::npos) break;
    out_ << text.substr(0, end) << '\n' << std::string(indent, ' ');
    text.remove_prefix(std::min(text.find_first_not_of(' ', end), text.size()));
    room = width_ - indent;
  }
  out_ << text << (colour.empty() ? "" : "\033[0m") << '\n';
}

void Screen::text(std::string_view lines) {
  out_ << lines;
}

void Screen::remark(std::string_view text) {
  if (isTerminal_) line(text);
}

}  // namespace tavrix::inspect
