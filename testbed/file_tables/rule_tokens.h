// Splits one rule line into tokens as the restore tools do: blanks separate, double quotes hold a
// token together, and inside them a backslash takes the next character as it is.
#pragma once

#include <cstddef>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace file_tables {

// What makes a restore tool end with status 2: a line that it cannot read. The restore text's
// reader adds the line number.
class ParameterProblem : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

struct RuleToken {
  std::string value;      // without the quotes
  std::size_t begin = 0;  // where the token stands in the line, quotes included
  std::size_t end = 0;
};

// The tokens of a line without its newline. A closing quote ends the token; a backslash outside
// quotes is an ordinary character; single quotes mean nothing. Throws ParameterProblem for a
// token of more than 1023 characters, for more than 251 tokens and for a quote that is not closed.
std::vector<RuleToken> splitRuleLine(std::string_view line);

}  // namespace file_tables
