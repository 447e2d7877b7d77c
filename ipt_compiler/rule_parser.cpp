// The two entry points; rule_parser.h says what they accept.
#include "ipt_compiler/rule_parser.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <iterator>
#include <list>
#include <optional>
#include <utility>
#include <vector>

#include "ipt_compiler/tokenizer.h"

namespace tavrix {
namespace {

// Codes 1 to 10 are the match kinds.
constexpr int kNegation = 0;
constexpr int kMatch = _IptMatches::Match::kKind;
constexpr int kJump = 11;
constexpr int kGoto = 12;

struct IptOption {
  std::string_view word;
  int code;
};

// Every word that iptables itself gives a meaning in a rule, sorted for the lookup.
constexpr auto kOptions = [] {
  std::array<IptOption, 25> options = {{
      {"!", kNegation},
      {"-4", _IptMatches::Ipv4::kKind},
      {"--ipv4", _IptMatches::Ipv4::kKind},
      {"-6", _IptMatches::Ipv6::kKind},
      {"--ipv6", _IptMatches::Ipv6::kKind},
      {"-p", _IptMatches::Protocol::kKind},
      {"--protocol", _IptMatches::Protocol::kKind},
      {"-s", _IptMatches::Source::kKind},
      {"--source", _IptMatches::Source::kKind},
      {"-d", _IptMatches::Destination::kKind},
      {"--destination", _IptMatches::Destination::kKind},
      {"-i", _IptMatches::In_interface::kKind},
      {"--in-interface", _IptMatches::In_interface::kKind},
      {"-o", _IptMatches::Out_interface::kKind},
      {"--out-interface", _IptMatches::Out_interface::kKind},
      {"-f", _IptMatches::Fragment::kKind},
      {"--fragment", _IptMatches::Fragment::kKind},
      {"-c", _IptMatches::Set_counters::kKind},
      {"--set-counters", _IptMatches::Set_counters::kKind},
      {"-m", kMatch},
      {"--match", kMatch},
      {"-j", kJump},
      {"--jump", kJump},
      {"-g", kGoto},
      {"--goto", kGoto},
  }};
  std::ranges::sort(options, {}, &IptOption::word);
  return options;
}();

// The code of a token that is an option word as a whole; nothing for any other, or for no token.
std::optional<int> optionCode(std::string_view text, Token token) {
  if (!token.exists()) return std::nullopt;
  const std::string_view word = token.in(text);
  const auto* const found = std::ranges::lower_bound(kOptions, word, {}, &IptOption::word);
  if (found == kOptions.end() || found->word != word) return std::nullopt;
  return found->code;
}

enum class Reading { kTarget, kMatches };

IptCompileFailed parseError(Reading reading, std::string_view text, const std::string& reason,
                            const char* file, int line) {
  return {"failed to parse '" + std::string(text) +
              (reading == Reading::kTarget ? "' as a target. " : "' as matches. ") + reason,
          file, line};
}

constexpr const char* kNotAParameter = "not a valid parameter of iptables.";

// Makes the match of the given kind code, 1 to 10.
template <std::size_t... Index>
IptMatch makeMatch(int kind, std::string_view segment, const char* file, int line,
                   std::index_sequence<Index...>) {
  using Make = IptMatch (*)(std::string_view, const char*, int);
  static constexpr std::array<Make, sizeof...(Index)> kMakers = {
      [](std::string_view s, const char* f, int l) -> IptMatch {
        return std::variant_alternative_t<Index, IptMatch>(s, f, l);
      }...};
  return kMakers.at(static_cast<std::size_t>(kind) - 1)(segment, file, line);
}

// One option of a matches text.
struct Segment {
  int code;
  std::size_t end;
};

// Reads the option that starts at or after `start`, where a token is known to exist. Nothing if a
// word that should be an option is none, or if nothing follows a "!".
std::optional<Segment> readSegment(std::string_view text, std::size_t start) {
  Token word = nextToken(text, start);
  std::optional<int> code = optionCode(text, word);
  if (code == kNegation) {
    word = nextToken(text, word.end());
    code = optionCode(text, word);
  }
  if (!code) return std::nullopt;

  // Where the segment ends if no further token follows: before the "!" of an argument written in
  // iptables' old order, else after the option word.
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

  IptTarget target{std::string(token.in(text)), file, line};
  while ((token = nextToken(text, token.end())).exists()) {
    if (optionCode(text, token)) {
      const std::string rest(text.substr(token.start));
      throw parseError(Reading::kTarget, text, "redundant parameters: '" + rest + "'.", file, line);
    }
    target.text += ' ';
    target.text += token.in(text);
  }
  return target;
}

IptMatchList parseMatches(std::string_view text, const char* file, int line) {
  std::vector<IptMatch> matches;
  for (std::size_t start = 0; nextToken(text, start).exists();) {
    const std::optional<Segment> option = readSegment(text, start);
    if (!option) throw parseError(Reading::kMatches, text, kNotAParameter, file, line);

    // The length is the position of the end, on purpose: rule_parser.h says what follows from it.
    const std::string_view segment = text.substr(start, option->end);
    if (option->code < _IptMatches::Ipv4::kKind || option->code > kMatch) {
      throw parseError(Reading::kMatches, segment, "not a valid match of iptables.", file, line);
    }
    matches.push_back(makeMatch(option->code, segment, file, line,
                                std::make_index_sequence<std::variant_size_v<IptMatch>>()));
    start = option->end;
  }
  std::ranges::stable_sort(matches, sortsBefore);
  return {std::list<IptMatch>(std::make_move_iterator(matches.begin()),
                              std::make_move_iterator(matches.end())),
          file, line};
}

}  // namespace tavrix
