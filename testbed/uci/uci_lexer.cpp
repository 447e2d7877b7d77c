#include "testbed/uci/uci_lexer.h"

namespace testbed {
namespace {

// Blanks inside a line. The carriage return makes files with CRLF line ends read the same.
bool isBlank(char c) {
  return c == ' ' || c == '\t' || c == '\r' || c == '\v' || c == '\f';
}

}  // namespace

bool UciLexer::next(UciStatement& statement) {
  statement.words.clear();
  while (!atEnd()) {
    const char c = text_[position_];
    if (c == '#') {
      skipComment();
    } else if (c == '\n') {
      take();
      if (!statement.words.empty()) return true;
    } else if (isBlank(c)) {
      take();
    } else if (!skipEscapedLineEnd()) {
      if (statement.words.empty()) statement.line = line_;
      statement.words.push_back(readWord());
    }
  }
  return !statement.words.empty();
}

// Counts lines, those inside quotes too.
char UciLexer::take() {
  const char c = text_[position_++];
  if (c == '\0') throw UciSyntaxError(file_, line_, "NUL byte");
  if (c == '\n') ++line_;
  return c;
}

// Leaves the line's end, which also ends the statement.
void UciLexer::skipComment() {
  while (!atEnd() && text_[position_] != '\n') take();
}

std::string UciLexer::readWord() {
  std::string word;
  while (!atEnd()) {
    const char c = text_[position_];
    if (c == '\n' || c == '#' || isBlank(c)) break;
    if (skipEscapedLineEnd()) continue;
    take();
    if (c == '\'' || c == '"') {
      readQuoted(c, word);
    } else if (c == '\\') {
      readEscaped(word);
    } else {
      word += c;
    }
  }
  return word;
}

void UciLexer::readQuoted(char quote, std::string& word) {
  const std::size_t startLine = line_;
  while (!atEnd()) {
    if (quote == '"' && skipEscapedLineEnd()) continue;
    const char c = take();
    if (c == quote) return;
    if (c == '\\' && quote == '"') {
      readEscaped(word);
    } else {
      word += c;
    }
  }
  throw UciSyntaxError(file_, startLine, std::string("the quote ") + quote + " is not closed");
}

// The character after a backslash stands for itself.
void UciLexer::readEscaped(std::string& word) {
  if (atEnd()) throw UciSyntaxError(file_, line_, "nothing follows the backslash");
  word += take();
}

bool UciLexer::skipEscapedLineEnd() {
  const std::string_view rest = text_.substr(position_);
  const std::size_t length = rest.starts_with("\\\n") ? 2 : rest.starts_with("\\\r\n") ? 3 : 0;
  if (length == 0) return false;
  position_ += length;
  ++line_;
  return true;
}

}  // namespace testbed
