// What is searched as "every program" is what the readers take, seen from the other side: of all
// sequences of tokens, those that are read without an error.
#include <gtest/gtest.h>

#include <cstddef>
#include <exception>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "tests/equivalence/every_program.h"
#include "tests/support/rule_source.h"

namespace test_support {
namespace {

// Those of the sequences of `size` tokens that are programs, with `before` and `after` around
// them.
std::set<Tokens> readable(std::size_t size, const Tokens& alphabet, const Tokens& before,
                          const Tokens& after) {
  std::vector<Tokens> sequences = {{}};
  for (std::size_t i = 0; i < size; ++i) {
    std::vector<Tokens> longer;
    for (const Tokens& sequence : sequences) {
      for (const std::string& token : alphabet) {
        longer.push_back(sequence);
        longer.back().push_back(token);
      }
    }
    sequences = std::move(longer);
  }
  std::set<Tokens> taken;
  for (const Tokens& sequence : sequences) {
    Tokens whole = before;
    whole.insert(whole.end(), sequence.begin(), sequence.end());
    whole.insert(whole.end(), after.begin(), after.end());
    try {
      buildProgram(whole);
      taken.insert(sequence);
    } catch (const std::exception&) {
      // No program.
    }
  }
  return taken;
}

TEST(EveryCondition, IsWhatTheReadersTake) {
  for (std::size_t size = 0; size <= 5; ++size) {
    std::set<Tokens> made;
    eachCondition(size, {"-4"}, [&](const Tokens& tokens) {
      EXPECT_TRUE(made.insert(tokens).second) << "twice: " << testing::PrintToString(tokens);
    });
    EXPECT_EQ(made,
              readable(size, {"AND", "OR", "(", ")", "-4", "NOT-4", "NOT"}, {"IF"}, {"THEN", "FI"}))
        << size << " tokens";
  }
}

TEST(EveryProgram, IsWhatTheReadersTake) {
  for (std::size_t size = 0; size <= 6; ++size) {
    std::set<Tokens> made;
    eachProgram(size, {}, [&](const Tokens& tokens) {
      // The readers get one target: which one stands where is not up to them.
      Tokens sameTargets = tokens;
      for (std::string& token : sameTargets) {
        if (token.starts_with("-j")) token = "-j T";
        // Conditions are the matter of the other test.
        if (token == "NOT" || token == "(" || token == ")") return;
      }
      EXPECT_TRUE(made.insert(sameTargets).second) << "twice: " << testing::PrintToString(tokens);
    });
    std::set<Tokens> expected =
        readable(size, {"IF", "THEN", "ELSEIF", "ELSE", "FI", "-j T"}, {}, {});
    std::erase_if(expected, [](const Tokens& tokens) {
      // Closed by another token than "FI": the shortest block after "ELSEIF", with nothing after
      // it.
      return tokens.size() == 6 && tokens[2] == "ELSEIF" && tokens.back() != "FI";
    });
    EXPECT_EQ(made, expected) << size << " tokens";
  }
}

}  // namespace
}  // namespace test_support
