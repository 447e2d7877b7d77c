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
  // Plain.
  explicit Screen(std::ostream& out) : out_(out) {}

  // Of the process's standard output.
  static Screen ofProcess();

  // Prints a line. One that is too long is broken at blanks, and what follows is indented below it.
  void line(std::string_view text, Look look = Look::kPlain);

  // Prints a text of whole lines as it is.
  void text(std::string_view lines);

  // Prints a line for people, who do not see an exit status: only on a terminal.
  void remark(std::string_view text);

 private:
  std::ostream& out_;
  bool isTerminal_ = false;
  bool hasColours_ = false;
  std::size_t width_ = 0;  // of a line, 0 for any
};

}  // namespace tavrix::inspect
