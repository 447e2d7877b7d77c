// Cuts the text of a configuration file into statements: the words of one line, with quotes and
// escapes resolved.
#pragma once

#include <cstddef>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace testbed {

// what() is the file name, ":", the line, ": " and the message.
class UciSyntaxError : public std::runtime_error {
 public:
  UciSyntaxError(const std::string& fileName, std::size_t line, const std::string& message)
      : std::runtime_error(fileName + ":" + std::to_string(line) + ": " + message) {}
};

// The words of one statement, never none, and the line that the first one starts on.
struct UciStatement {
  std::size_t line = 0;
  std::vector<std::string> words;
};

class UciLexer {
 public:
  // Both texts must outlive the lexer.
  UciLexer(std::string_view text, const std::string& fileName) : text_(text), file_(fileName) {}

  // Reads the next statement; false at the end of the text. Blank lines and comments are passed
  // over. Throws UciSyntaxError for a quote that is not closed, a backslash at the end of the text
  // and a NUL byte.
  bool next(UciStatement& statement);

 private:
  bool atEnd() const { return position_ == text_.size(); }
  char take();
  void skipComment();
  // Appends one word of adjacent bare and quoted pieces.
  std::string readWord();
  void readQuoted(char quote, std::string& word);
  void readEscaped(std::string& word);
  // Passes over a backslash at the end of a line, which joins it with the next; false when there is
  // none here.
  bool skipEscapedLineEnd();

  std::string_view text_;
  const std::string& file_;
  std::size_t position_ = 0;
  std::size_t line_ = 1;
};

}  // namespace testbed
