// One pass over the line with the state of the token under construction.
#include "testbed/file_tables/rule_tokens.h"

#include <utility>

namespace file_tables {
namespace {

constexpr std::size_t kLongestToken = 1023;
constexpr std::size_t kMostTokens = 251;

bool isBlank(char character) {
  return character == ' ' || character == '\t' || character == '\n';
}

}  // namespace

std::vector<RuleToken> splitRuleLine(std::string_view line) {
  std::vector<RuleToken> tokens;
  RuleToken token;
  bool started = false;  // a token is under construction
  bool inQuotes = false;
  bool escaped = false;

  const auto finish = [&](std::size_t end) {
    if (tokens.size() == kMostTokens) {
      throw ParameterProblem("Parser cannot handle more arguments");
    }
    token.end = end;
    tokens.push_back(std::move(token));
    token = {};
    started = false;
  };

  for (std::size_t position = 0; position < line.size(); ++position) {
    const char character = line[position];
    if (!inQuotes && !started && isBlank(character)) {
      continue;
    }
    if (!started) {
      token.begin = position;
      started = true;
    }
    if (inQuotes && !escaped && character == '\\') {
      escaped = true;
    } else if (inQuotes && !escaped && character == '"') {
      // No blank is needed after a closing quote: "a"b are two tokens.
      inQuotes = false;
      finish(position + 1);
    } else if (!inQuotes && character == '"') {
      inQuotes = true;
    } else if (!inQuotes && isBlank(character)) {
      finish(position);
    } else {
      escaped = false;
      token.value += character;
      if (token.value.size() > kLongestToken) {
        throw ParameterProblem("Parameter too long!");
      }
    }
  }
  if (inQuotes) {
    throw ParameterProblem("quote is not closed");
  }
  if (started) {
    finish(line.size());
  }
  return tokens;
}

}  // namespace file_tables
