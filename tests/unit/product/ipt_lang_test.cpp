// The builders: which nodes they make, how they wire them, and what they refuse.
#include "ipt_compiler/export/ipt_lang.h"

#include <gtest/gtest.h>

#include <memory>
#include <stdexcept>
#include <string>

#include "ipt_compiler/ir_graph.h"
#include "ipt_compiler/rule_model.h"
#include "tests/support/graph_text.h"
#include "tests/unit/product/error_text.h"
#include "tests/unit/product/rule_texts.h"

namespace tavrix {
namespace {

using test_support::cond;
using test_support::errorText;
using test_support::graphText;
using test_support::target;
using test_support::wrongPredecessorCounts;

TEST(MakeTarget, IsOneRuleNode) {
  const IptProg prog = makeTarget("-j  A", "f", 12);
  EXPECT_EQ(prog.first, prog.last);
  EXPECT_EQ(graphText(prog.first), "0: \"-j A\" end\n");
  EXPECT_STREQ(prog.first->targets().front().file, "f");
  EXPECT_EQ(prog.first->targets().front().line, 12);
  EXPECT_EQ(prog.first->predecessorCount, 0U);
  EXPECT_EQ(graphText(makeTarget(std::string("-m a --b"), "f", 1).first), "0: \"-m a --b\" end\n");
}

TEST(MakeMatches, IsAConditionNodeWithTwoOpenExits) {
  const IptCond c = makeMatches("-m x  -p tcp", "f", 12);
  EXPECT_EQ(graphText(c.entry), "0: if \"-p tcp -m x\" then 1 else 2\n1: end\n2: end\n");
  EXPECT_EQ(c.entry->successor[1], c.trueExit);
  EXPECT_EQ(c.entry->successor[0], c.falseExit);
  EXPECT_STREQ(c.entry->matches().file, "f");
  EXPECT_EQ(c.entry->matches().line, 12);
  EXPECT_EQ(wrongPredecessorCounts(c.entry), "");
}

TEST(MakeConstCond, IsAConditionNodeWithoutMatches) {
  const IptCond always = makeConstCond(true);
  EXPECT_EQ(graphText(always.entry), "0: then 1 else 2\n1: end\n2: end\n");
  EXPECT_EQ(always.entry->successor[1], always.trueExit);
  EXPECT_EQ(always.entry->successor[0], always.falseExit);
  EXPECT_EQ(always.entry->matches().file, nullptr);
  EXPECT_EQ(always.entry->matches().line, 0);
  EXPECT_TRUE(always.entry->isUnconditional());

  const IptCond never = makeConstCond(false);
  EXPECT_EQ(graphText(never.entry), "0: then 1 else 2\n1: end\n2: end\n");
  EXPECT_EQ(never.entry->successor[1], never.falseExit);
  EXPECT_EQ(never.entry->successor[0], never.trueExit);
}

TEST(MakeEmptyProg, IsOneFreshNode) {
  const IptProg prog = makeEmptyProg();
  EXPECT_EQ(prog.first, prog.last);
  EXPECT_EQ(graphText(prog.first), "0: end\n");
  EXPECT_NE(makeEmptyProg().first, prog.first);
}

TEST(Not, SwapsTheExitsAndMakesNoNode) {
  const IptCond c = cond("-p tcp");
  const long owners = c.entry.use_count();
  const IptCond negated = !c;
  EXPECT_EQ(negated.trueExit, c.falseExit);
  EXPECT_EQ(negated.falseExit, c.trueExit);
  EXPECT_EQ(negated.entry, c.entry);
  EXPECT_EQ(c.entry.use_count(), owners + 1);
  const IptCond twice = !!c;
  EXPECT_EQ(twice.trueExit, c.trueExit);
  EXPECT_EQ(twice.falseExit, c.falseExit);
  EXPECT_EQ(twice.entry, c.entry);
}

TEST(And, TestsTheSecondWhereTheFirstHolds) {
  const IptCond a = cond("-p a");
  const IptCond b = cond("-p b");
  const IptCond both = a && b;
  EXPECT_EQ(both.entry, a.entry);
  EXPECT_EQ(both.trueExit, b.trueExit);
  EXPECT_EQ(both.falseExit, b.falseExit->successor[1]);
  EXPECT_EQ(graphText(both.entry),
            "0: if \"-p a\" then 1 else 6\n1: then 2\n2: if \"-p b\" then 3 else 4\n3: end\n"
            "4: then 5\n5: end\n6: then 5\n");
  EXPECT_EQ(wrongPredecessorCounts(both.entry), "");
}

TEST(Or, TestsTheSecondWhereTheFirstDoesNotHold) {
  const IptCond a = cond("-p a");
  const IptCond b = cond("-p b");
  const IptCond either = a || b;
  EXPECT_EQ(either.entry, a.entry);
  EXPECT_EQ(either.falseExit, b.falseExit);
  EXPECT_EQ(either.trueExit, b.trueExit->successor[1]);
  // The one node that is made.
  EXPECT_EQ(either.trueExit->predecessorCount, 2U);
  EXPECT_EQ(graphText(either.entry),
            "0: if \"-p a\" then 1 else 3\n1: then 2\n2: end\n3: then 4\n"
            "4: if \"-p b\" then 5 else 6\n5: then 2\n6: end\n");
  EXPECT_EQ(wrongPredecessorCounts(either.entry), "");
}

TEST(If, KeepsTheExitsAndAddsAJoin) {
  const IptCond c = cond("-p a");
  const IptIfBlock block = If(c);
  EXPECT_EQ(block.entry, c.entry);
  EXPECT_EQ(block.tail, c.trueExit);
  EXPECT_EQ(block.elseExit, c.falseExit);
  EXPECT_EQ(graphText(block.join), "0: end\n");
  EXPECT_EQ(block.join->predecessorCount, 0U);
}

TEST(If, OfABlockWithoutStatementsLinksBothExitsToTheJoin) {
  const IptIfBlock block = If(cond("-p a"));
  const IptProg prog = block;
  EXPECT_EQ(prog.first, block.entry);
  EXPECT_EQ(prog.last, block.join);
  EXPECT_EQ(block.join->predecessorCount, 2U);
  EXPECT_EQ(graphText(prog.first), "0: if \"-p a\" then 1 else 3\n1: then 2\n2: end\n3: then 2\n");
}

TEST(OrElse, LinksBothBranchesToTheJoin) {
  const IptIfBlock block = If(cond("-p a")).then({target("-j A")});
  const IptProg prog = block.orElse({target("-j B")});
  EXPECT_EQ(prog.first, block.entry);
  EXPECT_EQ(prog.last, block.join);
  EXPECT_EQ(graphText(prog.first),
            "0: if \"-p a\" then 1 else 4\n1: then 2\n2: \"-j A\" then 3\n3: end\n"
            "4: then 5\n5: \"-j B\" then 3\n");
  EXPECT_EQ(wrongPredecessorCounts(prog.first), "");
}

// A node that is linked already, so that the link of it throws.
void link(const std::shared_ptr<ProxyIrNode>& node) {
  node->setNext(makeProxy());
}

template <class Call>
void expectSetNextTwice(Call call) {
  EXPECT_EQ(errorText<std::logic_error>(call), "IPT compiler: Internal error. setNext() twice.");
}

// The order of links shows in what is linked when a later one throws.
TEST(OrElse, LinksInThisOrder) {
  const IptIfBlock linkedElse = If(cond("-p a"));
  link(linkedElse.elseExit);
  expectSetNextTwice([&] { linkedElse.orElse({target("-j B")}); });
  EXPECT_EQ(linkedElse.tail->successor[1], nullptr);

  const IptIfBlock linkedTail = If(cond("-p a"));
  link(linkedTail.tail);
  const IptProg body = target("-j B");
  expectSetNextTwice([&] { linkedTail.orElse({body}); });
  EXPECT_EQ(linkedTail.elseExit->successor[1], body.first);
  EXPECT_EQ(body.last->successor[1], nullptr);
}

TEST(If, ClosesTheTailBeforeTheElseExit) {
  const IptIfBlock linkedTail = If(cond("-p a"));
  link(linkedTail.tail);
  expectSetNextTwice([&] { static_cast<void>(IptProg(linkedTail)); });
  EXPECT_EQ(linkedTail.elseExit->successor[1], nullptr);

  const IptIfBlock linkedElse = If(cond("-p a"));
  link(linkedElse.elseExit);
  expectSetNextTwice([&] { static_cast<void>(IptProg(linkedElse)); });
  EXPECT_EQ(linkedElse.tail->successor[1], linkedElse.join);
}

TEST(And, LinksTheTrueExitThenTheFalseExitsFromLeftToRight) {
  const IptCond linkedTrue = cond("-p a");
  link(linkedTrue.trueExit);
  expectSetNextTwice([&] { linkedTrue&& cond("-p b"); });
  EXPECT_EQ(linkedTrue.falseExit->successor[1], nullptr);

  const IptCond linkedFalse = cond("-p a");
  const IptCond second = cond("-p b");
  link(linkedFalse.falseExit);
  expectSetNextTwice([&] { linkedFalse&& second; });
  EXPECT_EQ(linkedFalse.trueExit->successor[1], second.entry);
  EXPECT_EQ(second.falseExit->successor[1], nullptr);

  const IptCond first = cond("-p a");
  const IptCond linkedSecond = cond("-p b");
  link(linkedSecond.falseExit);
  expectSetNextTwice([&] { first&& linkedSecond; });
  EXPECT_NE(first.falseExit->successor[1], nullptr);
}

// Every IF block is closed before, also the one that stands after the place of the error.
TEST(Sequence, LinksFromLeftToRight) {
  const IptProg linked = target("-j A");
  const IptIfBlock before = If(cond("-p a"));
  const IptIfBlock after = If(cond("-p b"));
  link(linked.last);
  expectSetNextTwice([&] { sequence({before, linked, after}); });
  EXPECT_EQ(before.join->successor[1], linked.first);
  EXPECT_EQ(after.tail->successor[1], after.join);
  EXPECT_EQ(after.elseExit->successor[1], after.join);
}

TEST(Then, JoinsItsStatementsBeforeItLinksThem) {
  const IptIfBlock block = If(cond("-p a"));
  const IptProg linked = target("-j A");
  link(linked.last);
  expectSetNextTwice([&] { block.then({linked, target("-j B")}); });
  EXPECT_EQ(block.tail->successor[1], nullptr);
}

// The first wrong text in reading order is the one that is reported, whatever stands around it.
TEST(Builders, ParseTextsInReadingOrder) {
  const auto wrong = [](int line) { return makeMatches("wrong", "f", line); };
  const auto wrongTarget = [](int line) { return makeTarget("wrong", "f", line); };
  const auto firstOf = [](const auto& build) {
    const std::string error = errorText<IptCompileFailed>(build);
    return error.substr(0, error.find(' '));
  };
  EXPECT_EQ(firstOf([&] { wrong(1) && wrong(2); }), "f:1:");
  EXPECT_EQ(firstOf([&] { wrong(1) || wrong(2); }), "f:1:");
  EXPECT_EQ(firstOf([&] { (cond("-p a") || wrong(2)) && wrong(3); }), "f:2:");
  EXPECT_EQ(firstOf([&] { sequence({wrongTarget(1), wrongTarget(2)}); }), "f:1:");
  EXPECT_EQ(firstOf([&] {
              sequence({If(wrong(1)).then({wrongTarget(2)}), wrongTarget(3)});
            }),
            "f:1:");
  EXPECT_EQ(firstOf([&] { If(wrong(1)).then({wrongTarget(2)}); }), "f:1:");
  EXPECT_EQ(firstOf([&] { If(cond("-p a")).then({wrongTarget(2), wrongTarget(3)}); }), "f:2:");
  EXPECT_EQ(firstOf([&] { If(wrong(1)).then({target("-j A")}).orElse({wrongTarget(3)}); }), "f:1:");
  EXPECT_EQ(firstOf([&] {
              If(cond("-p a")).then({wrongTarget(2)}).orElse({wrongTarget(3), wrongTarget(4)});
            }),
            "f:2:");
}

TEST(Then, PutsStatementsAtTheEndOfTheThenBranch) {
  const IptIfBlock open = If(cond("-p a"));
  const IptProg a = target("-j A");
  const IptProg b = target("-j B");
  const IptIfBlock block = open.then({a}).then({b});
  EXPECT_EQ(block.entry, open.entry);
  EXPECT_EQ(block.elseExit, open.elseExit);
  EXPECT_EQ(block.join, open.join);
  EXPECT_EQ(block.tail, b.last);
  EXPECT_EQ(open.tail->successor[1], a.first);
  EXPECT_EQ(a.last->successor[1], b.first);
}

TEST(Then, TwiceToTheSameBlockThrows) {
  const IptIfBlock block = If(cond("-p a"));
  block.then({target("-j A")});
  expectSetNextTwice([&] { block.then({target("-j B")}); });
}

TEST(Builders, UsingAConditionTwiceThrows) {
  const IptCond shared = cond("-p a");
  shared&& cond("-p b");
  expectSetNextTwice([&] { shared&& cond("-p c"); });
  expectSetNextTwice([&] { shared || cond("-p c"); });
}

// Refused before anything is linked: the nodes of a cycle would never be released.
TEST(And, OfOneConditionTwiceLeavesNoNodeAlive) {
  std::weak_ptr<ProxyIrNode> entry;
  expectSetNextTwice([&] {
    const IptCond both = cond("-p a");
    entry = both.entry;
    both&& both;
  });
  EXPECT_TRUE(entry.expired());
}

}  // namespace
}  // namespace tavrix
