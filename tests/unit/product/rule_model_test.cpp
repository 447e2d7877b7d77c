// Rule fragments as values: kinds, order, equality, text forms and errors. The merge of two lists
// has a file of its own.
#include "ipt_compiler/rule_model.h"

#include <gtest/gtest.h>

#include <functional>
#include <sstream>
#include <type_traits>
#include <vector>

#include "ipt_compiler/ir_graph.h"
#include "ipt_compiler/rule_parser.h"
#include "tests/support/graph_text.h"
#include "tests/unit/product/error_text.h"

namespace tavrix {
namespace {

constexpr const char* kFile = "rules";

template <class Kind>
IptMatch match(std::string_view text) {
  return Kind(text, kFile, 5);
}

// One match of each kind, the one of kind code k at index k - 1.
std::vector<IptMatch> oneOfEachKind(std::string_view text) {
  using namespace _IptMatches;
  return {match<Ipv4>(text),          match<Ipv6>(text),        match<Protocol>(text),
          match<Source>(text),        match<Destination>(text), match<In_interface>(text),
          match<Out_interface>(text), match<Fragment>(text),    match<Set_counters>(text),
          match<Match>(text)};
}

TEST(RuleModel, KindsAreDistinctTypesWithTheSameFields) {
  static_assert(!std::is_same_v<_IptMatches::Ipv4, _IptMatches::Ipv6>);
  static_assert(std::variant_size_v<IptMatch> == 10);
  const _IptMatches::Source source("  -s   10.0.0.1 ", kFile, 17);
  EXPECT_EQ(source.text, "-s 10.0.0.1");
  EXPECT_EQ(source.file, kFile);
  EXPECT_EQ(source.line, 17);
}

// Whatever their texts. The library's algorithms look for the operators from their own namespace.
TEST(RuleModel, KindsAreOrderedAndOnlyTwoFamilySelectorsOfOneFamilyAreEqual) {
  const std::vector<IptMatch> first = oneOfEachKind("-4");
  for (const char* text : {"-4", "! -4"}) {
    const std::vector<IptMatch> second = oneOfEachKind(text);
    for (std::size_t a = 0; a < first.size(); ++a) {
      EXPECT_EQ(matchKind(first[a]), static_cast<int>(a) + 1);
      for (std::size_t b = 0; b < second.size(); ++b) {
        const bool areEqual = a == b && a < 2;
        EXPECT_EQ(std::equal_to<>()(first[a], second[b]), areEqual) << a << ' ' << b;
        EXPECT_EQ(std::not_equal_to<>()(first[a], second[b]), !areEqual) << a << ' ' << b;
        EXPECT_EQ(sortsBefore(first[a], second[b]), a < b) << a << ' ' << b;
      }
    }
  }
}

TEST(RuleModel, MatchesTextJoinsItemsInListOrder) {
  using namespace _IptMatches;
  EXPECT_EQ(matchesText({}), "");
  EXPECT_EQ(matchesText({{match<Protocol>("-p tcp")}, kFile, 1}), "-p tcp");
  EXPECT_EQ(matchesText({{match<Protocol>("-p tcp"), match<Match>("-m mark --mark 1")}, kFile, 1}),
            "-p tcp -m mark --mark 1");
}

TEST(RuleModel, CompileErrorNamesThePlaceBeforeTheMessage) {
  static_assert(std::is_base_of_v<std::exception, IptCompileFailed>);
  EXPECT_STREQ(IptCompileFailed("m", "f", 7).what(), "f:7: m");
  EXPECT_STREQ(IptCompileFailed("", "", 0).what(), ":0: ");
  EXPECT_STREQ(IptCompileFailed("m", "f", -12).what(), "f:-12: m");
  EXPECT_STREQ(IptCompileFailed("m", "f", 2147483647).what(), "f:2147483647: m");
  EXPECT_STREQ(IptCompileFailed("m", "f", -2147483647 - 1).what(), "f:-2147483648: m");
}

std::string address(const ProxyIrNode::Pointer& node) {
  std::ostringstream text;
  text << node.get();
  return text.str();
}

TEST(NodeDebugText, ListsTargetsMatchesAndSuccessorsInThisOrder) {
  const auto node = makeProxy();
  const auto next = makeProxy();
  const auto noMatch = makeProxy();
  node->makeContent().targets.push_back(parseTarget("-j A", kFile, 1));
  node->makeContent().targets.push_back(parseTarget("-m b --c", kFile, 1));
  node->makeContent().matches = parseMatches("-m x -p tcp", kFile, 1);
  node->setSuccessor(_IptIrNode::kNext, next);
  node->setSuccessor(_IptIrNode::kNoMatch, noMatch);
  EXPECT_EQ(debugText(*node), "{id: " + address(node) +
                                  ", tgt: -j A, tgt: -m b --c, matches: -p tcp -m x, alwaysTure: "
                                  "0, true: " +
                                  address(next) + ", false: " + address(noMatch) + "}");
}

// The flag is about control flow: two empty successors are equal.
TEST(NodeDebugText, LeavesOutEmptySuccessors) {
  const auto node = makeProxy();
  const auto noMatch = makeProxy();
  const std::string id = "{id: " + address(node);
  EXPECT_EQ(debugText(*node), id + ", matches: , alwaysTure: 1}");
  node->makeContent().matches = parseMatches("-4", kFile, 1);
  EXPECT_EQ(debugText(*node), id + ", matches: -4, alwaysTure: 1}");
  node->setSuccessor(_IptIrNode::kNoMatch, noMatch);
  EXPECT_EQ(debugText(*node),
            id + ", matches: -4, alwaysTure: 0, false: " + address(noMatch) + "}");
}

}  // namespace
}  // namespace tavrix
