// The language in which rule sets are written; the one header that a rule set includes. Builders
// make rule programs out of target texts, match texts, AND, OR, NOT and IF/THEN/ELSE/FI; the
// readers at the end take the same language as a list of text tokens.
//
// Operands are consumed: a fragment goes into one builder call. Linking it a second time throws
// std::logic_error. When several texts could be wrong, the one whose builder runs first is
// reported; so build operands in statements of their own, in reading order, and not inside one
// call's argument list.
#pragma once

#include <concepts>
#include <string_view>
#include <utility>
#include <vector>

#include "ipt_compiler/ir_graph.h"
#include "ipt_compiler/rule_parser.h"

namespace tavrix {

// A condition. Control enters at entry and reaches trueExit where the condition holds, else
// falseExit.
struct IptCond {
  ProxyIrNode::Pointer trueExit;
  ProxyIrNode::Pointer falseExit;
  ProxyIrNode::Pointer entry;
};

// IF condition THEN ..., not closed yet.
struct IptIfBlock {
  ProxyIrNode::Pointer entry;
  ProxyIrNode::Pointer tail;      // open end of the THEN branch
  ProxyIrNode::Pointer elseExit;  // where control goes when the condition does not hold
  ProxyIrNode::Pointer join;      // where the branches meet after FI
};

// A rule. file and line say where the text stands; file must be a static string. Throws
// IptCompileFailed when the text is no target.
inline IptProg makeTarget(std::string_view text, const char* file, int line) {
  const auto node = makeProxy();
  node->targets.push_back(parseTarget(text, file, line));
  return {node, node};
}

// A condition node and its two exits; the builders of conditions are below.
inline IptCond makeCondition(IptMatchList matches) {
  IptCond cond{makeProxy(), makeProxy(), makeProxy()};
  cond.entry->matches = std::move(matches);
  cond.entry->setBranch(_IptIrNode::kNext, cond.trueExit);
  cond.entry->setBranch(_IptIrNode::kNoMatch, cond.falseExit);
  return cond;
}

// Holds when all matches of the text hold; always, for a text without any. file and line as for
// makeTarget. Throws IptCompileFailed when the text is no list of matches.
inline IptCond makeMatches(std::string_view text, const char* file, int line) {
  return makeCondition(parseMatches(text, file, line));
}

// NOT.
inline IptCond condNot(IptCond cond) {
  std::swap(cond.trueExit, cond.falseExit);
  return cond;
}

// A condition that always or never holds. It becomes a node like any other; the compiler removes
// it with the branch that it closes.
inline IptCond makeConstCond(bool value) {
  IptCond cond = makeCondition({});
  return value ? cond : condNot(std::move(cond));
}

// A program that does nothing.
inline IptProg makeEmptyProg() {
  const auto node = makeProxy();
  return {node, node};
}

// AND: b is tested only where a holds.
inline IptCond condAnd(IptCond a, IptCond b) {
  if (a.entry == b.entry) failSetNextTwice();
  a.trueExit->setNext(b.entry);
  const auto falseExit = makeProxy();
  a.falseExit->setNext(falseExit);
  b.falseExit->setNext(falseExit);
  return {std::move(b.trueExit), falseExit, std::move(a.entry)};
}

// OR: b is tested only where a does not hold.
inline IptCond condOr(IptCond a, IptCond b) {
  return condNot(condAnd(condNot(std::move(a)), condNot(std::move(b))));
}

// IF cond THEN.
inline IptIfBlock openIf(IptCond cond) {
  return {std::move(cond.entry), std::move(cond.trueExit), std::move(cond.falseExit), makeProxy()};
}

// FI.
inline IptProg closeFi(IptIfBlock block) {
  block.tail->setNext(block.join);
  block.elseExit->setNext(block.join);
  return {std::move(block.entry), std::move(block.join)};
}

// ELSE otherwise FI. ELSEIF is an `otherwise` that is itself a closed IF.
// NOLINTNEXTLINE(performance-unnecessary-value-param): consumed, as every operand is
inline IptProg closeElse(IptIfBlock block, IptProg otherwise) {
  block.elseExit->setNext(otherwise.first);
  block.tail->setNext(block.join);
  otherwise.last->setNext(block.join);
  return {std::move(block.entry), std::move(block.join)};
}

// What a sequence is made of: a program, or an IF block, which is closed with FI first.
template <class T>
concept IptItem = std::same_as<T, IptProg> || std::same_as<T, IptIfBlock>;

inline IptProg closeItem(IptProg prog) {
  return prog;
}
inline IptProg closeItem(IptIfBlock block) {
  return closeFi(std::move(block));
}

// One item after another.
template <IptItem First, IptItem... Rest>
IptProg sequence(First first, Rest... rest) {
  IptProg all = closeItem(std::move(first));
  ((all = sequence(std::move(all), closeItem(std::move(rest)))), ...);
  return all;
}

// Statements at the end of the THEN branch.
template <IptItem... Items>
requires(sizeof...(Items) > 0) IptIfBlock appendThen(IptIfBlock block, Items... items) {
  IptProg body = sequence(std::move(items)...);
  block.tail->setNext(body.first);
  block.tail = std::move(body.last);
  return block;
}

// A list of tokens: each is a whole match text, a whole target text, or a keyword.
using IptTokens = std::vector<std::string_view>;
using IptTokenPosition = IptTokens::const_iterator;

// Reads a condition: match texts with "AND", "OR", "(", ")" and "NOT" as a prefix of a match text.
// "AND" binds tighter than "OR". An empty list always holds, as does an empty pair of parentheses
// and a list that ends in "OR"; an "AND" at the end is ignored. Takes all tokens up to `end`.
// Throws std::invalid_argument "Invalid serialized matches!" and IptCompileFailed.
IptCond parseSerializedMatches(IptTokenPosition& position, IptTokenPosition end);

// Reads one statement, a target text or an IF block, and leaves the position behind it; there must
// be one. A block is IF condition THEN statements [ELSE statements] FI, or IF condition THEN
// statements ELSEIF condition THEN ... with a closing token of its own for each ELSEIF: that one
// is skipped without a look. elseifMode: begin inside a block whose keyword was ELSEIF.
// Throws std::invalid_argument "Invalid serialized targets!" and what parseSerializedMatches
// throws.
IptProg parseSerializedTargets(IptTokenPosition& position, IptTokenPosition end,
                               bool elseifMode = false);

}  // namespace tavrix
