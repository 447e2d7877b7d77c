// Reads the iptables option text that rule sets write. It knows iptables' own rule options and
// nothing of modules: it cuts the text into one segment per option and keeps each segment as text.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "ipt_compiler/rule_model.h"

namespace tavrix {

// A token's place in the text it was taken from. Nothing is copied or unquoted.
struct Token {
  std::size_t start;  // npos when there is no token
  std::size_t length;

  bool exists() const { return start != std::string_view::npos; }
  std::size_t end() const { return start + length; }
  std::string_view in(std::string_view text) const { return text.substr(start, length); }
};

// The next token at or after `from`. Only spaces separate tokens, and not inside quotes; either
// quote character ends a quoted stretch, whichever began it. Outside single quotes a backslash
// passes over the character after it.
Token nextToken(std::string_view text, std::size_t from);

// All tokens of the text, as written, joined by one space.
std::string normalizeTokens(std::string_view text);

// A target: "-j" or "-m" in either spelling, then arguments that are not checked.
// file: a static string, kept as a pointer. Throws IptCompileFailed.
IptTarget parseTarget(std::string_view text, const char* file, int line);

// A list of matches, one per option, sorted by kind; empty for a text without tokens.
// file: a static string, kept as a pointer. Throws IptCompileFailed.
//
// The segment of an option is measured from its start by the position of its end. So the segment
// of an option between the first and the last runs on into the options behind it, and a text that
// ends in spaces loses the arguments of its last option and is refused.
IptMatchList parseMatches(std::string_view text, const char* file, int line);

}  // namespace tavrix
