// Duplicate family selectors leave element counts that differ from the lists: a condition that
// counts nothing is taken for one that always holds, whatever it tests. What the compiler makes of
// such programs is fixed here, and where they begin.
//
// "! -4" is not tried beside "-4": the compiler takes it for the same, and so do the restore tools,
// which ignore the "!".
#include <gtest/gtest.h>

#include <cstdint>
#include <iostream>
#include <string>
#include <unordered_set>
#include <vector>

#include "tests/equivalence/every_program.h"
#include "tests/support/rule_source.h"

namespace test_support {
namespace {

using tavrix::ProxyIrNode;
using Nodes = std::unordered_set<const ProxyIrNode*>;

std::string chainsOf(const Tokens& tokens) {
  return compiledText(buildProgram(tokens), "FORWARD");
}

// A node whose count fell to 0 takes over the no-match edge of its next node; here that leads to a
// junction, which is bypassed, taken over, bypassed, without end if that counted as a change.
TEST(DroppedDuplicates, DoNotKeepTheSimplificationGoing) {
  EXPECT_EQ(chainsOf({"IF",   "THEN",   "IF",   "! -4",   "THEN", "ELSEIF", "NOT-p icmp -m a",
                      "THEN", "ELSEIF", "THEN", "IF",     "THEN", "-j A",   "IF",
                      "(",    "-6",     "AND",  "-6",     "OR",   "-4",     ")",
                      "AND",  "-m b",   "AND",  "-p tcp", "THEN", "FI",     "FI",
                      "FI",   "FI",     "FI",   "FI"}),
            ":ipt_compiler_0 - [0:0]\n"
            "-A FORWARD -j ipt_compiler_0 -m comment --comment ipt_compiler\n"
            "-A ipt_compiler_0 ! -4 -j RETURN -m comment --comment ipt_compiler\n"
            "-A ipt_compiler_0 -p icmp -m a -j A -m comment --comment ipt_compiler\n");
}

// The second "-4" is dropped when it joins the first, and the first no longer counts.
TEST(ATestOfAFamilyThatIsKnownToHold, MakesAConditionHoldAlways) {
  const Tokens tokens = {"IF", "-p tcp", "AND", "-4", "AND", "-4", "THEN", "-j T1", "FI"};
  std::uint64_t packets = 0;
  const auto difference = findDifference(tokens, packets);
  ASSERT_TRUE(difference.has_value());
  EXPECT_EQ(describe(*difference),
            "for a packet for which there holds \"-p tcp\"\n"
            "  the program meets nothing\n"
            "  the chains meet -j T1\n"
            ":ipt_compiler_0 - [0:0]\n"
            "-A PREROUTING -p tcp -j ipt_compiler_0 -m comment --comment ipt_compiler\n"
            "-A ipt_compiler_0  -j T1 -m comment --comment ipt_compiler\n");
}

// A block in a block, and two blocks one after the other: the packet comes to the second of them
// whatever the first found.
TEST(ATestOfAFamily, IsKnownToHoldInsideABlockButNotAfterIt) {
  const Tokens inside = {"-j T1", "-j T2", "IF",    "-4", "THEN", "IF",
                         "-4",    "THEN",  "-j T3", "FI", "FI"};
  const Tokens after = {"-j T1", "-j T2", "IF", "-4",   "THEN",  "-j T3",
                        "FI",    "IF",    "-4", "THEN", "-j T4", "FI"};
  std::uint64_t packets = 0;
  EXPECT_TRUE(findDifference(inside, packets).has_value());
  EXPECT_FALSE(findDifference(after, packets).has_value());
}

// Whether a program has a target, and one of the families twice: no other option is ever dropped,
// and the other programs need no search here.
bool mayDiffer(const Tokens& tokens) {
  int targets = 0;
  int v4 = 0;
  int v6 = 0;
  for (const std::string& token : tokens) {
    for (std::size_t at = token.find('-'); at != std::string::npos; at = token.find('-', at + 1)) {
      if (token.compare(at, 2, "-j") == 0) ++targets;
      if (token.compare(at, 2, "-4") == 0) ++v4;
      if (token.compare(at, 2, "-6") == 0) ++v6;
    }
  }
  return targets > 0 && (v4 > 1 || v6 > 1);
}

TEST(ProgramsThatDiffer, AreNotShorterThanNineTokens) {
  const std::vector<std::string> texts = {"-4",        "-6",         "-p tcp",    "-m x",
                                          "-4 -p tcp", "-4 -m x",    "-6 -p tcp", "-6 -m x",
                                          "-4 -6",     "-p tcp -m x"};
  std::uint64_t packets = 0;
  for (std::size_t size = 0; size <= 8; ++size) {
    eachProgram(size, texts, [&](const Tokens& tokens) {
      if (mayDiffer(tokens)) {
        EXPECT_FALSE(findDifference(tokens, packets)) << configurationOf(tokens);
      }
    });
  }
  std::cout << "up to 8 tokens: " << packets << " packets\n";
}

// The nodes that control may come to without passing `closed` on the way on which its condition
// holds.
Nodes reachable(const tavrix::IptProg& program, const ProxyIrNode* closed) {
  Nodes seen;
  std::vector<const ProxyIrNode*> toVisit = {program.first.get()};
  while (!toVisit.empty()) {
    const ProxyIrNode* const node = toVisit.back();
    toVisit.pop_back();
    if (node == nullptr || !seen.insert(node).second) continue;
    if (node != closed) toVisit.push_back(node->successor[tavrix::_IptIrNode::kNext].get());
    if (!node->matches().items.empty()) {
      toVisit.push_back(node->successor[tavrix::_IptIrNode::kNoMatch].get());
    }
  }
  return seen;
}

// Whether "-4" is tested where control comes only if another test of it held.
bool testsV4WhereItIsKnownToHold(const Tokens& tokens) {
  const tavrix::IptProg program = buildProgram(tokens);
  Nodes v4;
  for (const ProxyIrNode* node : reachable(program, nullptr)) {
    if (matchesText(node->matches()).starts_with("-4")) v4.insert(node);
  }
  for (const ProxyIrNode* test : v4) {
    const Nodes others = reachable(program, test);
    for (const ProxyIrNode* again : v4) {
      if (!others.contains(again)) return true;
    }
  }
  return false;
}

// So it is enough to leave such a test out. All programs over one family and one option beside it.
TEST(ProgramsThatDiffer, AllTestAFamilyThatIsKnownToHold) {
  std::uint64_t packets = 0;
  std::uint64_t differing = 0;
  std::string ofNineTokens;
  for (const std::size_t size : {9U, 10U}) {
    eachProgram(size, {"-4", "-p tcp"}, [&](const Tokens& tokens) {
      if (!mayDiffer(tokens) || !findDifference(tokens, packets)) return;
      ++differing;
      EXPECT_TRUE(testsV4WhereItIsKnownToHold(tokens)) << configurationOf(tokens);
      if (size > 9) return;
      for (const std::string& token : tokens) {
        ofNineTokens += token + (&token == &tokens.back() ? "\n" : " ");
      }
    });
  }
  std::cout << "9 and 10 tokens: " << packets << " packets\n";
  EXPECT_EQ(differing, 77U);
  EXPECT_EQ(ofNineTokens,
            "-j T1 -j T2 IF -4 AND -4 THEN -j T3 FI\n"
            "-j T1 -j T2 IF NOT-4 OR NOT-4 THEN -j T3 FI\n"
            "IF NOT-4 AND -4 AND -4 THEN -j T1 FI\n"
            "IF -p tcp AND -4 AND -4 THEN -j T1 FI\n"
            "IF NOT-p tcp AND -4 AND -4 THEN -j T1 FI\n"
            "IF -4 OR -4 AND -4 THEN -j T1 FI\n"
            "IF -4 OR NOT-4 OR NOT-4 THEN -j T1 FI\n"
            "IF -p tcp OR -4 AND -4 THEN -j T1 FI\n"
            "IF -p tcp OR NOT-4 OR NOT-4 THEN -j T1 FI\n"
            "IF NOT-p tcp OR -4 AND -4 THEN -j T1 FI\n"
            "IF NOT-p tcp OR NOT-4 OR NOT-4 THEN -j T1 FI\n");
}

}  // namespace
}  // namespace test_support
