// The language as a list of tokens: what is easily read otherwise gives the graph that the builders
// give for what it means, and what cannot be read one of the errors, whole. Programs of every other
// shape are read in tests/equivalence.
#include <gtest/gtest.h>

#include <cstddef>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "ipt_compiler/export/ipt_lang.h"
#include "tests/support/graph_text.h"
#include "tests/support/rule_source.h"
#include "tests/unit/product/rule_texts.h"

namespace tavrix {
namespace {

using test_support::graphText;
using test_support::target;

constexpr const char* kInvalidMatches = "Invalid serialized matches!";
constexpr const char* kInvalidTargets = "Invalid serialized targets!";

IptCond leaf(const char* text) {
  return makeMatches(text, "f", 1);
}

// The graph of a condition with different targets after its exits.
std::string condText(IptCond cond) {
  IptIfBlock block = If(cond).then({target("-j HOLDS")});
  return graphText(block.orElse({target("-j FAILS")}).first);
}

std::string readCond(const IptTokens& tokens) {
  auto position = tokens.begin();
  IptCond cond = parseSerializedMatches(position, tokens.end());
  EXPECT_EQ(position, tokens.end());
  return condText(std::move(cond));
}

// The error of what cannot be read, of either kind: their messages differ.
template <class Read>
std::string readingError(Read read) {
  try {
    read();
  } catch (const IptCompileFailed& error) {
    return error.what();
  } catch (const std::invalid_argument& error) {
    return error.what();
  }
  return "(no error)";
}

std::string conditionError(const IptTokens& tokens) {
  return readingError([&] { readCond(tokens); });
}

std::string notMatches(int line, const std::string& text) {
  return "./ipt_compiler/export/ipt_lang:" + std::to_string(line) + ": failed to parse '" + text +
         "' as matches. not a valid parameter of iptables.";
}

std::string notATarget(const std::string& text) {
  return "./ipt_compiler/export/ipt_lang:349: failed to parse '" + text +
         "' as a target. not a valid parameter of iptables.";
}

// What the reader makes of a list of conjunctions, each a list of operands: every conjunction
// begins with a constant, and so does the disjunction.
IptCond disjunctionOf(std::vector<std::vector<IptCond>> conjunctions) {
  IptCond all = makeConstCond(false);
  for (std::vector<IptCond>& operands : conjunctions) {
    IptCond conjunction = makeConstCond(true);
    for (IptCond& operand : operands) {
      conjunction = conjunction && operand;
    }
    all = all || conjunction;
  }
  return all;
}

TEST(SerializedMatches, AreADisjunctionOfConjunctions) {
  const auto a = [] { return leaf("-p a"); };
  const auto b = [] { return leaf("-s b"); };
  const auto c = [] { return leaf("-d c"); };
  EXPECT_EQ(readCond({"-p a", "OR", "-s b", "AND", "-d c"}),
            condText(disjunctionOf({{a()}, {b(), c()}})));
  EXPECT_EQ(readCond({"(", "-p a", "OR", "-s b", ")", "AND", "-d c"}),
            condText(disjunctionOf({{disjunctionOf({{a()}, {b()}}), c()}})));
  EXPECT_EQ(readCond({"-d c", "AND", "(", "-p a", "OR", "(", "-s b", ")", ")"}),
            condText(disjunctionOf({{c(), disjunctionOf({{a()}, {disjunctionOf({{b()}})}})}})));
}

TEST(SerializedMatches, EmptyListsAlwaysHold) {
  EXPECT_EQ(readCond({}), condText(makeConstCond(false) || makeConstCond(true)));
  EXPECT_EQ(readCond({"(", ")"}), condText(disjunctionOf({{disjunctionOf({{}})}})));
  EXPECT_EQ(readCond({""}), condText(disjunctionOf({{leaf("")}})));
}

TEST(SerializedMatches, MayEndWithAnOperator) {
  EXPECT_EQ(readCond({"-p a", "AND"}), readCond({"-p a"}));
  EXPECT_EQ(readCond({"-p a", "OR"}), condText(disjunctionOf({{leaf("-p a")}, {}})));
}

TEST(SerializedMatches, NotIsAPrefixOfOneToken) {
  const auto negated = [](const char* text) { return condText(disjunctionOf({{!leaf(text)}})); };
  EXPECT_EQ(readCond({"NOT-p udp"}), negated("-p udp"));
  EXPECT_EQ(readCond({"NOT -p udp"}), negated("-p udp"));
  EXPECT_EQ(readCond({"NOT! -p udp"}), negated("! -p udp"));
  EXPECT_EQ(readCond({"NOT   -4 "}), negated("-4"));
  // Nothing after it: never holds.
  EXPECT_EQ(readCond({"NOT"}), negated(""));
  EXPECT_EQ(readCond({"NOT "}), negated(""));
}

TEST(SerializedMatches, KeywordsAreWholeTokensInCapitals) {
  for (const char* token : {"and", "And", "AND ", " OR", "or", "( ", "()", "not -4", " NOT-4", "NO",
                            "THEN", "IF", "FI", ")", "ELSE"}) {
    EXPECT_EQ(conditionError({"-4", "AND", token}), notMatches(299, token));
  }
  // An operand is not more special for beginning with three certain letters.
  EXPECT_EQ(conditionError({"NOTHING"}), notMatches(297, "HING"));
}

TEST(SerializedMatches, RefuseMisplacedOperatorsAndOperands) {
  const std::vector<IptTokens> lists = {
      {"AND"},
      {"OR", "-4"},
      {"-4", "AND", "AND", "-6"},
      {"-4", "AND", "OR", "-6"},
      {"-4", "OR", "AND", "-6"},
      {"-4", "OR", "OR", "bad"},
      {"-4", "-6", "bad"},
      {"-4", "NOT-6"},
      {"NOT", "-p tcp"},
      {"NOT", "(", "-p tcp", ")"},
      {"(", "-4", ")", "(", ")"},
      {"(", "OR", "-4", ")"},
      {"-4", "AND", "("},
      {"(", "(", "bad", ")"},
  };
  for (const IptTokens& tokens : lists) {
    EXPECT_EQ(conditionError(tokens), kInvalidMatches) << testing::PrintToString(tokens);
  }
}

// In reading order the first error counts: that of a text that cannot be read comes before that of
// the text's place, and that of a "(" without its ")" before that of what stands after it.
TEST(SerializedMatches, ReportTheFirstTextThatCannotBeRead) {
  const std::vector<std::pair<IptTokens, std::string>> cases = {
      {{"-4", "OR", ")"}, ")"},
      {{"(", "-4", ")", "AND", ")"}, ")"},
      {{"-4", "bad"}, "bad"},
      {{"-4", "(", "bad", ")"}, "bad"},
      {{"bad", "AND", "("}, "bad"},
      {{"bad", "OR", "OR"}, "bad"},
      {{"(", "-4", "OR", "bad", ")", "AND", "worse"}, "bad"},
  };
  for (const auto& [tokens, text] : cases) {
    EXPECT_EQ(conditionError(tokens), notMatches(299, text));
  }
}

TEST(SerializedMatches, BeginAtThePositionAndStopAtTheEnd) {
  const IptTokens tokens = {"bad", "-p a", "OR", "-s b", "bad"};
  auto position = tokens.begin() + 1;
  const auto end = tokens.end() - 1;
  EXPECT_EQ(condText(parseSerializedMatches(position, end)), readCond({"-p a", "OR", "-s b"}));
  EXPECT_EQ(position, end);
}

// ---- statements

using Tokens = std::vector<std::string>;

std::string readStatements(const Tokens& tokens) {
  return graphText(test_support::buildProgram(tokens).first);
}

std::string statementsError(const Tokens& tokens) {
  return readingError([&] { readStatements(tokens); });
}

std::string statementText(IptProg prog) {
  return graphText(sequence({makeEmptyProg(), prog}).first);
}

IptCond conditionOf(const char* text) {
  return disjunctionOf({{leaf(text)}});
}

// A body as the reader makes it: it begins with an empty program.
template <class... Targets>
IptProg bodyOf(Targets... texts) {
  IptProg body = makeEmptyProg();
  ((body = sequence({body, target(texts)})), ...);
  return body;
}

TEST(SerializedTargets, ReadAnIfBlockWithoutConditionOrBody) {
  EXPECT_EQ(readStatements({"IF", "THEN", "FI"}),
            statementText(IptProg(If(disjunctionOf({{}})).then({makeEmptyProg()}))));
  EXPECT_EQ(readStatements({"IF", "-4", "THEN", "ELSE", "FI"}),
            statementText(If(conditionOf("-4")).then({makeEmptyProg()}).orElse({makeEmptyProg()})));
}

TEST(SerializedTargets, ReadElseifAsAnIfInAnElseWithAClosingTokenOfItsOwn) {
  const auto inner = [] { return If(conditionOf("-6")).then({bodyOf("-j B")}); };
  const auto outer = [] { return If(conditionOf("-4")).then({bodyOf("-j A")}); };
  EXPECT_EQ(readStatements({"IF", "-4", "THEN", "-j A", "ELSEIF", "-6", "THEN", "-j B", "ELSE",
                            "-j C", "FI", "FI"}),
            statementText(outer().orElse({inner().orElse({bodyOf("-j C")})})));
  const auto third = [] { return If(conditionOf("-f")).then({bodyOf("-j C")}); };
  EXPECT_EQ(readStatements({"IF", "-4", "THEN", "-j A", "ELSEIF", "-6", "THEN", "-j B", "ELSEIF",
                            "-f", "THEN", "-j C", "FI", "FI", "FI"}),
            statementText(outer().orElse({inner().orElse({third()})})));
}

// The closing token of an ELSEIF is skipped, whatever it is.
TEST(SerializedTargets, SwallowTheTokenAfterAnElseifChain) {
  const Tokens withFi = {"IF",   "-4",   "THEN", "-j A", "ELSEIF", "-6",
                         "THEN", "-j B", "FI",   "FI",   "-j C"};
  for (const char* swallowed : {"-j LOST", "IF", "THEN", "ELSE", "ELSEIF", "rubbish", ""}) {
    Tokens tokens = withFi;
    tokens[9] = swallowed;
    EXPECT_EQ(readStatements(tokens), readStatements(withFi)) << swallowed;
  }
}

TEST(SerializedTargets, TakeTheConditionUpToTheFirstThen) {
  EXPECT_EQ(readStatements({"IF", "(", "-4", "OR", "-6", ")", "AND", "-f", "THEN", "FI"}),
            statementText(IptProg(
                If(disjunctionOf({{disjunctionOf({{leaf("-4")}, {leaf("-6")}}), leaf("-f")}}))
                    .then({makeEmptyProg()}))));
  // Parentheses do not protect it.
  EXPECT_EQ(statementsError({"IF", "(", "-4", "THEN", ")", "THEN", "FI"}), kInvalidMatches);
}

TEST(SerializedTargets, LeaveThePositionAfterTheStatement) {
  const IptTokens tokens = {"-j A", "IF", "-4", "THEN", "FI", "bad"};
  auto position = tokens.begin();
  parseSerializedTargets(position, tokens.end());
  EXPECT_EQ(position, tokens.begin() + 1);
  parseSerializedTargets(position, tokens.end(), false);
  EXPECT_EQ(position, tokens.begin() + 5);
}

TEST(SerializedTargets, BeginWithTheConditionInElseifMode) {
  const IptTokens tokens = {"-4", "THEN", "-j A", "FI"};
  auto position = tokens.begin();
  EXPECT_EQ(statementText(parseSerializedTargets(position, tokens.end(), true)),
            readStatements({"IF", "-4", "THEN", "-j A", "FI"}));
  EXPECT_EQ(position, tokens.end());
  const IptTokens withIf = {"IF", "-4", "THEN", "-j A", "FI"};
  position = withIf.begin();
  EXPECT_EQ(readingError([&] { parseSerializedTargets(position, withIf.end(), true); }),
            kInvalidTargets);
}

TEST(SerializedTargets, RefuseIncompleteBlocks) {
  const std::vector<Tokens> lists = {
      {"IF"},
      // Without a THEN there is no condition to be read.
      {"IF", "bad", "FI"},
      {"IF", "-4", "THEN"},
      {"IF", "-p tcp", "THEN", "-j REJECT"},
      {"IF", "-4", "THEN", "-j A", "ELSE"},
      {"IF", "-4", "THEN", "-j A", "ELSE", "-j B"},
      {"IF", "-4", "THEN", "-j A", "ELSEIF"},
      {"IF", "-4", "THEN", "-j A", "ELSEIF", "-6"},
      // One closing token for two conditions.
      {"IF", "-4", "THEN", "-j A", "ELSEIF", "-6", "THEN", "-j B", "FI"},
      {"IF", "-4", "THEN", "-j A", "ELSEIF", "-6", "THEN", "-j B", "ELSE", "-j C", "FI"},
      {"IF", "-4", "THEN", "-j A", "ELSEIF", "IF", "-6", "THEN", "-j B", "FI", "FI"},
      {"IF", "-4", "THEN", "IF", "-6", "THEN", "FI"},
  };
  for (const Tokens& tokens : lists) {
    EXPECT_EQ(statementsError(tokens), kInvalidTargets) << testing::PrintToString(tokens);
  }
}

TEST(SerializedTargets, ReadMisplacedKeywordsAsTargetTexts) {
  const std::vector<std::pair<Tokens, const char*>> cases = {
      {{"THEN"}, "THEN"},
      {{"ELSE"}, "ELSE"},
      {{"ELSEIF"}, "ELSEIF"},
      {{"FI"}, "FI"},
      {{"if"}, "if"},
      {{"IF", "-4", "THEN", "FI", "FI"}, "FI"},
      {{"IF", "-4", "THEN", "THEN", "FI"}, "THEN"},
      {{"IF", "-4", "THEN", "ELSE", "ELSE", "FI"}, "ELSE"},
      {{"IF", "-4", "THEN", "ELSE", "ELSEIF", "-6", "THEN", "FI"}, "ELSEIF"},
  };
  for (const auto& [tokens, text] : cases) EXPECT_EQ(statementsError(tokens), notATarget(text));
}

TEST(SerializedTargets, ReportTheFirstErrorInReadingOrder) {
  const std::vector<std::pair<Tokens, std::string>> cases = {
      {{"IF", "M1", "THEN", "T1"}, notMatches(299, "M1")},
      {{"IF", "-4", "THEN", "T1", "ELSE", "T2", "FI"}, notATarget("T1")},
      {{"IF", "-4", "THEN", "T1", "T2"}, notATarget("T1")},
      {{"IF", "-4", "THEN", "-j A", "ELSE", "-j B", "T2"}, notATarget("T2")},
      {{"IF", "-4", "THEN", "-j A", "ELSEIF", "M2", "THEN", "T1"}, notMatches(299, "M2")},
      {{"IF", "-4", "THEN", "IF", "M3", "THEN", "T1", "FI", "T2", "FI"}, notMatches(299, "M3")},
  };
  for (const auto& [tokens, message] : cases) EXPECT_EQ(statementsError(tokens), message);
}

// The configuration decides how deep it nests.
TEST(SerializedMatches, NestAHundredThousandParentheses) {
  constexpr std::size_t kDepth = 100'000;
  IptTokens tokens(kDepth, "(");
  tokens.emplace_back("-4");
  tokens.insert(tokens.end(), kDepth, ")");
  auto position = tokens.cbegin();
  const IptCond cond = parseSerializedMatches(position, tokens.end());
  EXPECT_EQ(position, tokens.end());
  EXPECT_NE(cond.trueExit, cond.falseExit);
  position = tokens.cbegin();
  EXPECT_EQ(readingError([&] { parseSerializedMatches(position, tokens.end() - 1); }),
            kInvalidMatches);
}

TEST(SerializedTargets, NestAHundredThousandBlocks) {
  constexpr int kDepth = 100'000;
  IptTokens tokens;
  for (int i = 0; i < kDepth; ++i) tokens.insert(tokens.end(), {"IF", "-4", "THEN"});
  tokens.emplace_back("-j A");
  tokens.insert(tokens.end(), kDepth, "FI");
  auto position = tokens.cbegin();
  const IptProg prog = parseSerializedTargets(position, tokens.end());
  EXPECT_EQ(position, tokens.end());
  EXPECT_EQ(prog.last->successor[1], nullptr);
  position = tokens.cbegin();
  EXPECT_EQ(readingError([&] { parseSerializedTargets(position, tokens.end() - 1); }),
            kInvalidTargets);
}

TEST(SerializedTargets, ChainAHundredThousandElseifs) {
  constexpr int kLength = 100'000;
  IptTokens tokens = {"IF", "-4", "THEN"};
  for (int i = 0; i < kLength; ++i) tokens.insert(tokens.end(), {"-j A", "ELSEIF", "-6", "THEN"});
  tokens.insert(tokens.end(), kLength + 1, "FI");
  auto position = tokens.cbegin();
  parseSerializedTargets(position, tokens.end());
  EXPECT_EQ(position, tokens.end());
}

}  // namespace
}  // namespace tavrix
