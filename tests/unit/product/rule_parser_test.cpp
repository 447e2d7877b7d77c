// Rule text: tokens, the two entry points, every error whole.
#include "ipt_compiler/rule_parser.h"

#include <gtest/gtest.h>

#include <array>
#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "ipt_compiler/tokenizer.h"
#include "tests/support/graph_text.h"
#include "tests/unit/product/error_text.h"

namespace tavrix {
namespace {

using test_support::errorText;
using test_support::listText;

constexpr const char* kSourceFile = "firewall_cpp/kovsel/kovsel";

// The error without what all have in common: the place and "failed to parse".
template <class Parse>
std::string errorOf(Parse parse, std::string_view text, int line) {
  const std::string error = errorText<IptCompileFailed>([&] { parse(text, kSourceFile, line); });
  const std::string start =
      "firewall_cpp/kovsel/kovsel:" + std::to_string(line) + ": failed to parse ";
  return error.starts_with(start) ? error.substr(start.size()) : error;
}

std::string targetError(std::string_view text) {
  return errorOf(parseTarget, text, 212);
}

std::string matchesError(std::string_view text) {
  return errorOf(parseMatches, text, -3);
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

TEST(NextToken, SaysWhereTheTokenIs) {
  const std::string_view text = "  ab cd ";
  EXPECT_EQ(nextToken(text, 0).start, 2U);
  EXPECT_EQ(nextToken(text, 0).in(text), "ab");
  EXPECT_EQ(nextToken(text, 3).in(text), "b");
  EXPECT_EQ(nextToken(text, 4).in(text), "cd");
  for (const std::size_t from : {7U, 8U, 9U, 1000U}) {
    EXPECT_EQ(nextToken(text, from).start, std::string_view::npos) << from;
    EXPECT_EQ(nextToken(text, from).length, 0U) << from;
  }
  // No quote is open at the start, even inside a quoted stretch.
  const std::string_view quoted = "\"a b\" c";
  EXPECT_EQ(nextToken(quoted, 1).in(quoted), "a");
  EXPECT_EQ(nextToken(quoted, 3).in(quoted), "b\" c");
}

// The option words with their codes: that of "!" is 0, and two words have each of the others.
std::vector<std::pair<std::string, int>> optionWords() {
  constexpr std::array kWords = {
      "-4", "--ipv4",         "-6", "--ipv6",         "-p", "--protocol",      "-s", "--source",
      "-d", "--destination",  "-i", "--in-interface", "-o", "--out-interface", "-f", "--fragment",
      "-c", "--set-counters", "-m", "--match",        "-j", "--jump",          "-g", "--goto"};
  std::vector<std::pair<std::string, int>> words = {{"!", 0}};
  for (const char* word : kWords) {
    words.emplace_back(word, static_cast<int>(words.size() + 1) / 2);
  }
  return words;
}

// Close to an option, but none.
constexpr std::array kOtherWords = {
    "x",   "-",       "--",     "-5",    "-P",      "-J",   "--proto", "-ptcp", "--protocol=tcp",
    "!-p", "!!",      "\"-p\"", "'-j'",  "-j\t",    "\t-j", "--Match", "-mx",   "--jump=A",
    "-t",  "--table", "-A",     "--ipv", "--ipv44", "-\\p", "p",       "-4-",   "--gotoo"};

TEST(ParseTarget, IsOneJumpOrModule) {
  for (const auto& [word, code] : optionWords()) {
    const std::string asHead = word + " A b";
    if (code == 10 || code == 11) {
      EXPECT_EQ(parseTarget(asHead, kSourceFile, 212).text, asHead);
    } else {
      EXPECT_EQ(targetError(asHead), "'" + asHead + "' as a target. must be a match or a jump.");
    }
    const std::string after = "-j  A " + word + "  'x  y'  ";
    EXPECT_EQ(targetError(after),
              "'" + after + "' as a target. redundant parameters: '" + word + "  'x  y'  '.");
  }
}

TEST(ParseTarget, TakesEveryOtherWordAsArgumentAndNotAsHead) {
  for (const std::string word : kOtherWords) {
    EXPECT_EQ(parseTarget("-m a " + word, kSourceFile, 1).text, "-m a " + word);
    EXPECT_EQ(targetError(word + " A"),
              "'" + word + " A' as a target. not a valid parameter of iptables.");
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
  for (const auto& [text, message] : cases) EXPECT_EQ(targetError(text), message);
}

TEST(ParseMatches, TakesEachOfTheTenKindsUpToTheNext) {
  for (const auto& [word, code] : optionWords()) {
    if (code == 0) continue;
    for (const std::string& text : {word + " arg", "! " + word + " arg", word}) {
      if (code <= 10) {
        EXPECT_EQ(matchesOf(text), std::to_string(code) + " " + text);
      } else {
        EXPECT_EQ(matchesError(text), "'" + text + "' as matches. not a valid match of iptables.");
      }
    }
    if (code < 3 || code > 10) continue;
    EXPECT_EQ(matchesOf("-4 arg " + word + " x"),
              "1 -4 arg | " + std::to_string(code) + " " + word + " x");
  }
}

TEST(ParseMatches, TakesEveryOtherWordAsArgumentAndNotAsOption) {
  for (const std::string word : kOtherWords) {
    EXPECT_EQ(matchesOf("-m a " + word), "10 -m a " + word);
    EXPECT_EQ(matchesOf("-p ! " + word), "3 -p ! " + word);
    for (const std::string& text : {word + " -4", "! " + word}) {
      EXPECT_EQ(matchesError(text),
                "'" + text + "' as matches. not a valid parameter of iptables.");
    }
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
  for (const auto& [text, message] : cases) EXPECT_EQ(matchesError(text), message);
}

}  // namespace
}  // namespace tavrix
