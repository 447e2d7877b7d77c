// The two entry points; rule_parser.h says what they accept.
#include "ipt_compiler/rule_parser.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <optional>
#include <string>
#include <utility>

#include "ipt_compiler/tokenizer.h"

namespace tavrix {
namespace {

// Codes 1 to 10 are the match kinds.
constexpr int kNegation = 0;
constexpr int kMatch = _IptMatches::Match::kKind;
constexpr int kJump = 11;
constexpr int kGoto = 12;

// Every word that iptables itself gives a meaning in a rule, beside "!": "-" and a letter, or "--"
// and a name. The code is the place, from 1.
constexpr std::string_view kLetters = "46psdiofcmjg";
constexpr std::array<std::string_view, kGoto> kNames = {
    "ipv4",          "ipv6",     "protocol",     "source", "destination", "in-interface",
    "out-interface", "fragment", "set-counters", "match",  "jump",        "goto",
};
static_assert(kLetters.size() == kNames.size());
static_assert(kLetters[kMatch - 1] == 'm');
static_assert(kNames[kMatch - 1] == "match");
static_assert(kNames[kGoto - 1] == "goto");

// The code of a token that is an option word as a whole; nothing for any other, or for no token.
std::optional<int> optionCode(std::string_view text, Token token) {
  if (!token.exists()) return std::nullopt;
  const std::string_view word = token.in(text);
  if (word.front() == '!' && word.size() == 1) return kNegation;
  if (word.front() != '-' || word.size() < 2) return std::nullopt;
  std::size_t place = kNames.size();
  if (word.size() == 2) {
    place = kLetters.find(word[1]);
  } else if (word[1] == '-') {
    const auto* const found = std::ranges::find(kNames, word.substr(2));
    place = static_cast<std::size_t>(found - kNames.begin());
  }
  if (place >= kNames.size()) return std::nullopt;
  return static_cast<int>(place) + 1;
}

enum class Reading { kTarget, kMatches };

IptCompileFailed parseError(Reading reading, std::string_view text, const std::string& reason,
                            const char* file, int line) {
  return {"failed to parse '" + std::string(text) +
              (reading == Reading::kTarget ? "' as a target. " : "' as matches. ") + reason,
          file, line};
}

constexpr const char* kNotAParameter = "not a valid parameter of iptables.";

// Appends the match of the given kind code, 1 to 10.
template <std::size_t... Index>
void appendMatch(std::list<IptMatch>& matches, int kind, std::string_view segment, const char* file,
                 int line, std::index_sequence<Index...>) {
  using Append = void (*)(std::list<IptMatch>&, std::string_view, const char*, int);
  static constexpr std::array<Append, sizeof...(Index)> kAppend = {
      [](std::list<IptMatch>& m, std::string_view s, const char* f, int l) {
        m.emplace_back(std::in_place_index<Index>, s, f, l);
      }...};
  kAppend.at(static_cast<std::size_t>(kind) - 1)(matches, segment, file, line);
}

// One option of a matches text.
struct Segment {
  int code;
  std::size_t end;
};

// Reads the option that begins with the token. Nothing if a word that should be an option is none,
// or if nothing follows a "!".
std::optional<Segment> readSegment(std::string_view text, Token word) {
  std::optional<int> code = optionCode(text, word);
  if (code == kNegation) {
    word = nextToken(text, word.end());
    code = optionCode(text, word);
  }
  if (!code) return std::nullopt;

  // Where the segment ends if no further token follows: before the "!" of an argument in iptables'
  // old order ("-s ! 10.0.0.1"), else after the option word.
  std::size_t fallbackEnd = word.end();
  std::size_t scan = word.end();
  do {
    const Token token = nextToken(text, scan);
    if (!token.exists()) return Segment{*code, fallbackEnd};
    const std::optional<int> tokenCode = optionCode(text, token);
    if (!tokenCode) {
      scan = token.end();
    } else if (*tokenCode != kNegation) {
      return Segment{*code, token.start};
    } else {
      const Token negated = nextToken(text, token.end());
      if (!negated.exists()) return std::nullopt;
      if (optionCode(text, negated)) return Segment{*code, token.start};
      fallbackEnd = token.start;
      scan = negated.end();
    }
  } while (scan < text.size());
  return Segment{*code, scan};
}

}  // namespace

IptTarget parseTarget(std::string_view text, const char* file, int line) {
  Token token = nextToken(text, 0);
  const std::optional<int> head = optionCode(text, token);
  if (!head) throw parseError(Reading::kTarget, text, kNotAParameter, file, line);
  if (*head != kMatch && *head != kJump) {
    throw parseError(Reading::kTarget, text, "must be a match or a jump.", file, line);
  }

  while ((token = nextToken(text, token.end())).exists()) {
    if (optionCode(text, token)) {
      const std::string rest(text.substr(token.start));
      throw parseError(Reading::kTarget, text, "redundant parameters: '" + rest + "'.", file, line);
    }
  }
  return {normalizeTokens(text), file, line};
}

IptMatchList parseMatches(std::string_view text, const char* file, int line) {
  std::list<IptMatch> matches;
  std::size_t start = 0;
  for (Token word{}; (word = nextToken(text, start)).exists();) {
    const std::optional<Segment> option = readSegment(text, word);
    if (!option) throw parseError(Reading::kMatches, text, kNotAParameter, file, line);

    // The length is the position of the end, on purpose: rule_parser.h says what follows from it.
    const std::string_view segment = text.substr(start, option->end);
    if (option->code < _IptMatches::Ipv4::kKind || option->code > kMatch) {
      throw parseError(Reading::kMatches, segment, "not a valid match of iptables.", file, line);
    }
    appendMatch(matches, option->code, segment, file, line,
                std::make_index_sequence<std::variant_size_v<IptMatch>>());
    start = option->end;
  }
  matches.sort(sortsBefore);
  return {std::move(matches), file, line};
}

}  // namespace tavrix
