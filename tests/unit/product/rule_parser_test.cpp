// Rule text: tokens, the two entry points, every error whole.
#include "ipt_compiler/rule_parser.h"

#include <gtest/gtest.h>

#include <array>
#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "ipt_compiler/tokenizer.h"
#include "tests/support/graph_text.h"
#include "tests/unit/product/error_text.h"

namespace tavrix {
namespace {

using test_support::errorText;
using test_support::listText;

constexpr const char* kSourceFile = "firewall_cpp/kovsel/kovsel";

std::string targetError(std::string_view text) {
  return errorText<IptCompileFailed>([&] { parseTarget(text, kSourceFile, 212); });
}

std::string matchesError(std::string_view text) {
  return errorText<IptCompileFailed>([&] { parseMatches(text, kSourceFile, -3); });
}

std::string matchesOf(std::string_view text) {
  return listText(parseMatches(text, kSourceFile, 1));
}

// The tokens of the text, each in brackets. The text is copied to memory that ends with it, so that
// a read past the end is noticed.
std::string tokensOf(std::string_view text) {
  const auto copy = std::make_unique<char[]>(text.size());
  text.copy(copy.get(), text.size());
  const std::string_view exact(copy.get(), text.size());
  std::string tokens;
  for (Token token = nextToken(exact, 0); token.exists(); token = nextToken(exact, token.end())) {
    tokens += '[';
    tokens += token.in(exact);
    tokens += ']';
  }
  return tokens;
}

TEST(NextToken, CutsAtSpacesOutsideQuotes) {
  const std::vector<std::pair<const char*, const char*>> cases = {
      {"", ""},
      {" ", ""},
      {"   ", ""},
      {"a", "[a]"},
      {" a ", "[a]"},
      {"a  bc   d", "[a][bc][d]"},
      // Other white space is nothing special.
      {"a\tb c\nd \t", "[a\tb][c\nd][\t]"},
      {"\r \v\f", "[\r][\v\f]"},
      // Quotes keep spaces and stay in the token.
      {"\"a b\" c", "[\"a b\"][c]"},
      {"'a b' c", "['a b'][c]"},
      {"x\"a b\"y'c d'z w", "[x\"a b\"y'c d'z][w]"},
      {"\"\" ''", "[\"\"]['']"},
      {"\"a b", "[\"a b]"},
      {"'a  b ", "['a  b ]"},
      // Either quote character closes what any of them opened.
      {"a'b c\"d", "[a'b c\"d]"},
      {"a'b c\"d e'", "[a'b c\"d][e']"},
      {"\"a'b c\"", "[\"a'b][c\"]"},
      {"'a\"b c'", "['a\"b][c']"},
      {"\"a'b\"c d'", "[\"a'b\"c d']"},
      // A backslash passes over the next character, but not inside single quotes.
      {"a\\ b c", "[a\\ b][c]"},
      {"a\\\" b\" c", "[a\\\"][b\" c]"},
      {"\"a\\\" b\" c", "[\"a\\\" b\"][c]"},
      {"\"a\\' b\" c", "[\"a\\' b\"][c]"},
      {"'a\\' b' c", "['a\\'][b' c]"},
      {"\\'a b", "[\\'a][b]"},
      {"\\\\ a", "[\\\\][a]"},
      {"a\\\\\\ b", "[a\\\\\\ b]"},
      // There is nothing after the text to be passed over.
      {"\\", "[\\]"},
      {"a \\", "[a][\\]"},
      {"a\\", "[a\\]"},
      {"\"a\\", "[\"a\\]"},
      {"'a\\", "['a\\]"},
      {"a\\ ", "[a\\ ]"},
  };
  for (const auto& [text, tokens] : cases) EXPECT_EQ(tokensOf(text), tokens) << '<' << text << '>';
}

TEST(NextToken, TakesANulByteAsAnyOther) {
  EXPECT_EQ(tokensOf(std::string_view("a\0b c", 5)), std::string("[a\0b][c]", 8));
}

TEST(NextToken, SaysWhereTheTokenIs) {
  const std::string_view text = "  ab cd ";
  EXPECT_EQ(nextToken(text, 0).start, 2U);
  EXPECT_EQ(nextToken(text, 0).length, 2U);
  EXPECT_EQ(nextToken(text, 3).start, 3U);
  EXPECT_EQ(nextToken(text, 3).length, 1U);
  EXPECT_EQ(nextToken(text, 4).start, 5U);
  for (const std::size_t from : {7U, 8U, 9U, 1000U}) {
    EXPECT_EQ(nextToken(text, from).start, std::string_view::npos) << from;
    EXPECT_EQ(nextToken(text, from).length, 0U) << from;
    EXPECT_FALSE(nextToken(text, from).exists()) << from;
  }
}

// Every start begins with no quote open, even inside a quoted stretch.
TEST(NextToken, StartsOutsideQuotesWhereverItStarts) {
  const std::string_view text = "\"a b\" c";
  EXPECT_EQ(nextToken(text, 1).in(text), "a");
  EXPECT_EQ(nextToken(text, 3).in(text), "b\" c");
}

TEST(NormalizeTokens, JoinsTokensAsWrittenByOneSpace) {
  EXPECT_EQ(normalizeTokens(""), "");
  EXPECT_EQ(normalizeTokens("   "), "");
  EXPECT_EQ(normalizeTokens("  -m  comment   --comment \"a  b\"  "),
            "-m comment --comment \"a  b\"");
  EXPECT_EQ(normalizeTokens("a\tb  c\\  d"), "a\tb c\\  d");
}

struct OptionWord {
  const char* word;
  int code;
};

constexpr std::array<OptionWord, 25> kOptionWords = {{
    {"!", 0},
    {"-4", 1},
    {"--ipv4", 1},
    {"-6", 2},
    {"--ipv6", 2},
    {"-p", 3},
    {"--protocol", 3},
    {"-s", 4},
    {"--source", 4},
    {"-d", 5},
    {"--destination", 5},
    {"-i", 6},
    {"--in-interface", 6},
    {"-o", 7},
    {"--out-interface", 7},
    {"-f", 8},
    {"--fragment", 8},
    {"-c", 9},
    {"--set-counters", 9},
    {"-m", 10},
    {"--match", 10},
    {"-j", 11},
    {"--jump", 11},
    {"-g", 12},
    {"--goto", 12},
}};

// Close to an option, but none.
constexpr std::array kOtherWords = {
    "x",   "-",       "--",     "-5",    "-P",      "-J",   "--proto", "-ptcp", "--protocol=tcp",
    "!-p", "!!",      "\"-p\"", "'-j'",  "-j\t",    "\t-j", "--Match", "-mx",   "--jump=A",
    "-t",  "--table", "-A",     "--ipv", "--ipv44", "-\\p", "p",       "-4-",   "--gotoo"};

TEST(ParseTarget, AcceptsJumpsAndModulesAsHead) {
  for (const OptionWord& option : kOptionWords) {
    const std::string text = std::string(option.word) + " A b";
    if (option.code == 10 || option.code == 11) {
      EXPECT_EQ(parseTarget(text, kSourceFile, 212).text, text);
    } else {
      EXPECT_EQ(targetError(text), "firewall_cpp/kovsel/kovsel:212: failed to parse '" + text +
                                       "' as a target. must be a match or a jump.");
    }
  }
}

TEST(ParseTarget, RefusesEveryOtherWordAsHead) {
  for (const char* word : kOtherWords) {
    const std::string text = std::string(word) + " A";
    EXPECT_EQ(targetError(text), "firewall_cpp/kovsel/kovsel:212: failed to parse '" + text +
                                     "' as a target. not a valid parameter of iptables.");
  }
}

TEST(ParseTarget, RefusesEveryOptionWordAfterTheHead) {
  for (const OptionWord& option : kOptionWords) {
    const std::string text = std::string("-j  A ") + option.word + "  'x  y'  ";
    EXPECT_EQ(targetError(text), "firewall_cpp/kovsel/kovsel:212: failed to parse '" + text +
                                     "' as a target. redundant parameters: '" + option.word +
                                     "  'x  y'  '.");
  }
}

TEST(ParseTarget, AcceptsEveryOtherWordAsArgument) {
  for (const char* word : kOtherWords) {
    const std::string text = std::string("-m a ") + word;
    EXPECT_EQ(parseTarget(text, kSourceFile, 1).text, text);
  }
}

TEST(ParseTarget, KeepsTheTokensAsWritten) {
  const std::vector<std::pair<const char*, const char*>> cases = {
      {"-j", "-j"},
      {"--match", "--match"},
      {"-j  MARK   --set-mark 0x10", "-j MARK --set-mark 0x10"},
      {"  --jump   MARK  --set-mark 0x1 ", "--jump MARK --set-mark 0x1"},
      {"-j LOG --log-prefix \"a  -p\\\" b\"", "-j LOG --log-prefix \"a  -p\\\" b\""},
      {"-j A \\", "-j A \\"},
  };
  for (const auto& [text, kept] : cases)
    EXPECT_EQ(parseTarget(text, kSourceFile, 1).text, kept) << text;
}

TEST(ParseTarget, KeepsItsPlace) {
  const IptTarget target = parseTarget("-j A", kSourceFile, -9);
  EXPECT_EQ(target.file, kSourceFile);
  EXPECT_EQ(target.line, -9);
}

TEST(ParseTarget, ErrorsQuoteTheTextAsGiven) {
  const std::string place = "firewall_cpp/kovsel/kovsel:212: failed to parse ";
  const std::vector<std::pair<const char*, const char*>> cases = {
      {"", "'' as a target. not a valid parameter of iptables."},
      {"   ", "'   ' as a target. not a valid parameter of iptables."},
      {" x  y ", "' x  y ' as a target. not a valid parameter of iptables."},
      // What stands first is reported first.
      {"-p tcp -j A", "'-p tcp -j A' as a target. must be a match or a jump."},
      {"x -j A", "'x -j A' as a target. not a valid parameter of iptables."},
      {"-j DROP !", "'-j DROP !' as a target. redundant parameters: '!'."},
      {"-j A -4 -6", "'-j A -4 -6' as a target. redundant parameters: '-4 -6'."},
  };
  for (const auto& [text, message] : cases) EXPECT_EQ(targetError(text), place + message);
}

TEST(ParseMatches, TakesEachOfTheTenKinds) {
  for (const OptionWord& option : kOptionWords) {
    const std::string text = std::string(option.word) + " arg";
    const std::string negated = "! " + text;
    if (option.code >= 1 && option.code <= 10) {
      EXPECT_EQ(matchesOf(text), std::to_string(option.code) + " " + text);
      EXPECT_EQ(matchesOf(negated), std::to_string(option.code) + " " + negated);
      EXPECT_EQ(matchesOf(option.word), std::to_string(option.code) + " " + option.word);
    } else if (option.code != 0) {
      EXPECT_EQ(matchesError(text), "firewall_cpp/kovsel/kovsel:-3: failed to parse '" + text +
                                        "' as matches. not a valid match of iptables.");
      EXPECT_EQ(matchesError(negated), "firewall_cpp/kovsel/kovsel:-3: failed to parse '" +
                                           negated +
                                           "' as matches. not a valid match of iptables.");
    }
  }
}

TEST(ParseMatches, RefusesEveryOtherWordAsOption) {
  for (const char* word : kOtherWords) {
    for (const std::string& text : {word + std::string(" -4"), "! " + std::string(word)}) {
      EXPECT_EQ(matchesError(text), "firewall_cpp/kovsel/kovsel:-3: failed to parse '" + text +
                                        "' as matches. not a valid parameter of iptables.");
    }
  }
}

TEST(ParseMatches, EveryOptionWordEndsTheArgumentsBeforeIt) {
  for (const OptionWord& option : kOptionWords) {
    if (option.code < 3 || option.code > 10) continue;
    const std::string text = std::string("-4 arg ") + option.word + " x";
    EXPECT_EQ(matchesOf(text),
              "1 -4 arg | " + std::to_string(option.code) + " " + option.word + " x");
  }
}

TEST(ParseMatches, TakesEveryOtherWordAsArgument) {
  for (const char* word : kOtherWords) {
    const std::string text = std::string("-m a ") + word;
    EXPECT_EQ(matchesOf(text), "10 " + text);
    EXPECT_EQ(matchesOf("-p ! " + std::string(word)), "3 -p ! " + std::string(word));
  }
}

TEST(ParseMatches, ListsOptionsByKind) {
  const std::vector<std::pair<const char*, const char*>> cases = {
      {"", ""},
      {"    ", ""},
      {"  -p   tcp", "3 -p tcp"},
      {"-s 1 -p 2", "3 -p 2 | 4 -s 1"},
      {"-m b --x -m a --y", "10 -m b --x | 10 -m a --y"},
      {"!  -s  10.0.0.1", "4 ! -s 10.0.0.1"},
      {"-s ! 10.0.0.1", "4 -s ! 10.0.0.1"},
      {"-p tcp ! -s 10.0.0.1", "3 -p tcp | 4 ! -s 10.0.0.1"},
      {"-s ! 10.0.0.1 -p tcp", "3 -p tcp | 4 -s ! 10.0.0.1"},
      {"-s a ! b ! c", "4 -s a ! b ! c"},
      {"-m comment --comment \"a b\"", "10 -m comment --comment \"a b\""},
      {"-m comment --comment \"-p\" -4", "1 -4 | 10 -m comment --comment \"-p\""},
      {"-m comment --comment 'a -p b' -4", "1 -4 | 10 -m comment --comment 'a -p b'"},
      // Spaces may follow an option without arguments.
      {"-4 ", "1 -4"},
      {"-f   ", "8 -f"},
      {"-p tcp -f  ", "3 -p tcp | 8 -f"},
  };
  for (const auto& [text, list] : cases) EXPECT_EQ(matchesOf(text), list) << '<' << text << '>';
}

// The segment of an option is as long as the position of its end, so one between the first and the
// last runs on into what follows.
TEST(ParseMatches, OptionsBetweenFirstAndLastRunOn) {
  EXPECT_EQ(matchesOf("-p tcp -s 1.2.3.4 -d 5.6.7.8"),
            "3 -p tcp | 4 -s 1.2.3.4 -d 5.6. | 5 -d 5.6.7.8");
  EXPECT_EQ(matchesOf("-m mark --mark 1 -p tcp -4"), "1 -4 | 3 -p tcp -4 | 10 -m mark --mark 1");
  EXPECT_EQ(matchesOf("-4 -f -6 -p tcp"), "1 -4 | 2 -6 -p tcp | 3 -p tcp | 8 -f -6");
  EXPECT_EQ(matchesOf("-m a ! -p b -s c -d d"), "3 ! -p b -s c | 4 -s c -d d | 5 -d d | 10 -m a");
}

TEST(ParseMatches, KeepsThePlaceInTheListAndInEachItem) {
  const IptMatchList list = parseMatches("-p tcp -4", kSourceFile, 77);
  EXPECT_EQ(list.file, kSourceFile);
  EXPECT_EQ(list.line, 77);
  EXPECT_EQ(list.elementCount, 2U);
  for (const IptMatch& match : list.items) {
    std::visit(
        [](const auto& option) {
          EXPECT_EQ(option.file, kSourceFile);
          EXPECT_EQ(option.line, 77);
        },
        match);
  }
  const IptMatchList empty = parseMatches("  ", kSourceFile, 78);
  EXPECT_EQ(empty.file, kSourceFile);
  EXPECT_EQ(empty.line, 78);
  EXPECT_EQ(empty.elementCount, 0U);
}

TEST(ParseMatches, ErrorsQuoteTheTextOrTheSegmentAsGiven) {
  const std::string place = "firewall_cpp/kovsel/kovsel:-3: failed to parse ";
  const std::string notAParameter = " as matches. not a valid parameter of iptables.";
  const std::string notAMatch = " as matches. not a valid match of iptables.";
  const std::vector<std::pair<std::string, std::string>> cases = {
      {"  tcp  -4", "'  tcp  -4'" + notAParameter},
      {"!", "'!'" + notAParameter},
      {"! ", "'! '" + notAParameter},
      {"-s 1.2.3.4 !", "'-s 1.2.3.4 !'" + notAParameter},
      {"-s 1.2.3.4 ! ", "'-s 1.2.3.4 ! '" + notAParameter},
      {"-s !", "'-s !'" + notAParameter},
      // Spaces at the end cost the last option its arguments, which are then no option.
      {"-p tcp ", "'-p tcp '" + notAParameter},
      {"-4 -p tcp  ", "'-4 -p tcp  '" + notAParameter},
      {"-s ! 10.0.0.1 ", "'-s ! 10.0.0.1 '" + notAParameter},
      {"--goto  x", "'--goto  x'" + notAMatch},
      {"! ! -4", "'! ! '" + notAMatch},
      // Spaces at the end: up to the "!" of an argument in the old order, else the word alone.
      {"-j a  ", "'-j'" + notAMatch},
      {"-j a ! b ", "'-j a '" + notAMatch},
      {"! ! x", "'! ! x'" + notAMatch},
      // The segment of a later option runs on here too.
      {"-j ACCEPT -p tcp", "'-j ACCEPT '" + notAMatch},
      {"-4 -g x -p tcp", "'-g x -p '" + notAMatch},
      {"-p tcp -j ACCEPT", "'-j ACCEPT'" + notAMatch},
      // The first bad option is the one that is reported.
      {"-j A -s 1 !", "'-j A '" + notAMatch},
      {"-p tcp  -j A x ! ", "'-p tcp  -j A x ! '" + notAParameter},
  };
  for (const auto& [text, message] : cases) EXPECT_EQ(matchesError(text), place + message);
}

// Built from pieces of the grammar: whatever the text, the result is a list or one of the errors,
// and no byte past the text is read.
TEST(ParseMatches, EndsInAListOrAnErrorForAllShortTexts) {
  constexpr std::array<std::string_view, 9> kPieces = {"!", "-4", "-p", "-j", " ",
                                                       "x", "\"", "'",  "\\"};
  std::vector<std::string> texts = {""};
  for (std::size_t i = 0; i < texts.size(); ++i) {
    const auto exact = std::make_unique<char[]>(texts[i].size());
    texts[i].copy(exact.get(), texts[i].size());
    const std::string_view text(exact.get(), texts[i].size());
    for (const auto& error : {errorText<IptCompileFailed>([&] { parseMatches(text, "f", 1); }),
                              errorText<IptCompileFailed>([&] { parseTarget(text, "f", 1); })}) {
      ASSERT_TRUE(error == "(no error)" || error.starts_with("f:1: failed to parse '"))
          << texts[i] << ": " << error;
    }
    if (i >= 820) continue;  // 1 + 9 + 81 + 729 texts of up to three pieces get a fourth one
    for (const std::string_view piece : kPieces) texts.push_back(texts[i] + std::string(piece));
  }
  EXPECT_EQ(texts.size(), 7381U);
}

}  // namespace
}  // namespace tavrix
