// The scan for the end of a token; tokenizer.h says what separates tokens.
#include "ipt_compiler/tokenizer.h"

#include <algorithm>

namespace tavrix {

Token nextToken(std::string_view text, std::size_t from) {
  const std::size_t start = text.find_first_not_of(' ', from);
  if (start == std::string_view::npos) return {std::string_view::npos, 0};

  char openQuote = '\0';
  std::size_t end = start;
  for (; end < text.size(); ++end) {
    const char c = text[end];
    if (c == '"' || c == '\'') {
      openQuote = openQuote == '\0' ? c : '\0';
    } else if (c == ' ' && openQuote == '\0') {
      break;
    } else if (c == '\\' && openQuote != '\'') {
      ++end;
    }
  }
  // A backslash at the very end passes over a character that is not there.
  end = std::min(end, text.size());
  return {start, end - start};
}

std::string normalizeTokens(std::string_view text) {
  std::string joined;
  joined.reserve(text.size());  // and not more: there are many
  for (Token token = nextToken(text, 0); token.exists(); token = nextToken(text, token.end())) {
    if (!joined.empty()) joined += ' ';
    joined += token.in(text);
  }
  return joined;
}

}  // namespace tavrix
