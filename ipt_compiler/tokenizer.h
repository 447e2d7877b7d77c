// Splits rule text into tokens.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace tavrix {

// A token's place in the text it was taken from. Nothing is copied or unquoted.
struct Token {
  std::size_t start;  // npos if there is no token
  std::size_t length;

  bool exists() const { return start != std::string_view::npos; }
  std::size_t end() const { return start + length; }
  std::string_view in(std::string_view text) const { return text.substr(start, length); }
};

// The next token at or after `from`. Only spaces separate tokens, and not inside quotes. Either
// quote character ends a quoted stretch, whichever began it: kept on purpose, as rule texts rely on
// it. Outside single quotes a backslash passes over the character after it.
Token nextToken(std::string_view text, std::size_t from);

// All tokens of the text, as written, joined by one space.
std::string normalizeTokens(std::string_view text);

}  // namespace tavrix
