// Where commands print: on a terminal in colours and in lines that fit, else plain.
#pragma once

#include <cstddef>
#include <iosfwd>
#include <string>
#include <string_view>

namespace tavrix::inspect {

enum class Look { kPlain, kTitle, kAdded, kRemoved, kFaint };

class Screen {
 public:
  // width: of a line, 0 for any.
  Screen(std::ostream& out, bool hasColours, std::size_t width)
      : out_(out), hasColours_(hasColours), width_(width) {}

  // Of the process's standard output.
  static Screen ofProcess();

  // Prints a line. One that is too long is broken at blanks, and what follows is indented below it.
  void line(std::string_view text, Look look = Look::kPlain);

  // Prints a text of whole lines as it is.
  void text(std::string_view lines);

 private:
  std::ostream& out_;
  bool hasColours_;
  std::size_t width_;
};

}  // namespace tavrix::inspect
