// The language in which rule sets are written; the one header that a rule set includes. A program
// is made of target texts (what to do), match texts (when), conditions with &&, || and !, and IF
// blocks:
//
//     return If(makeMatches("-p udp", kFile, 1) || makeMatches("-p tcp", kFile, 2))
//         .then({makeTarget("-j MARK --set-mark 1", kFile, 3),
//                If(isGuest).then({makeTarget("-j DROP", kFile, 4)})})
//         .orElse({makeTarget("-j ACCEPT", kFile, 5)});
//
// Texts are parsed in the order in which they stand, so the first wrong text is the one that is
// reported. C++ has this order for the operands of && and ||, for the calls of a chain such as
// If(a).then({p}), and for the elements of a braced list. It has none for the arguments of an
// ordinary call, so calls take several programs as one list.
//
// Operands are consumed: a condition, a block or a program goes into one place of one program.
// Using it a second time throws std::logic_error.
//
// docs/rule-sets.md builds a whole rule set.
#pragma once

#include <initializer_list>
#include <memory>
#include <string_view>
#include <vector>

#include "ipt_compiler/rule_program.h"

namespace tavrix {

// A condition. Control enters at entry and leaves at trueExit if the condition holds, else at
// falseExit.
struct IptCond {
  std::shared_ptr<ProxyIrNode> trueExit;
  std::shared_ptr<ProxyIrNode> falseExit;
  std::shared_ptr<ProxyIrNode> entry;
};

// Holds if all matches of the text hold. An empty text always holds. Errors name the text by file
// and line; file must be a static string. Throws IptCompileFailed if the text is no list of
// matches.
IptCond makeMatches(std::string_view text, const char* file, int line);

// Holds always or never. It is a node like any other; the compiler removes it, and the branch that
// is never taken.
IptCond makeConstCond(bool value);

IptCond operator!(IptCond cond);
// b is tested only if a holds.
IptCond operator&&(IptCond a, IptCond b);
// b is tested only if a does not hold.
IptCond operator||(IptCond a, IptCond b);

// A rule. file and line as for makeMatches. Throws IptCompileFailed if the text is no target.
IptProg makeTarget(std::string_view text, const char* file, int line);

// A program that does nothing.
IptProg makeEmptyProg();

// An IF block that is still open: IF, its condition, THEN and the statements so far. Where a
// program is expected it closes itself, without an ELSE branch.
struct IptIfBlock {
  // Adds statements at the end of the THEN branch.
  IptIfBlock then(std::initializer_list<IptProg> statements) const;
  // Closes the block with an ELSE branch. ELSEIF is an ELSE branch that holds an If.
  IptProg orElse(std::initializer_list<IptProg> statements) const;
  // Closes the block.
  operator IptProg() const;  // NOLINT(google-explicit-constructor): FI is not written

  std::shared_ptr<ProxyIrNode> entry;
  std::shared_ptr<ProxyIrNode> tail;      // open end of the THEN branch
  std::shared_ptr<ProxyIrNode> elseExit;  // where control goes if the condition does not hold
  std::shared_ptr<ProxyIrNode> join;      // where the branches meet after FI
};

// IF condition.
IptIfBlock If(IptCond condition);

// The same language as a list of words: each is a whole match text, a whole target text, or a
// keyword.
using IptTokens = std::vector<std::string_view>;
using IptTokenPosition = IptTokens::const_iterator;

// Reads a condition: match texts with "AND", "OR", "(", ")" and "NOT" as a prefix of a match text.
// "AND" binds tighter than "OR". An empty list always holds, as does an empty pair of parentheses
// and a list that ends in "OR"; an "AND" at the end is ignored. Takes all tokens up to `end`.
// Throws std::invalid_argument "Invalid serialized matches!" and IptCompileFailed.
IptCond parseSerializedMatches(IptTokenPosition& position, IptTokenPosition end);

// Reads one statement, a target text or an IF block, and leaves the position after it; there must
// be one. A block is IF condition THEN statements [ELSE statements] FI, or IF condition THEN
// statements ELSEIF condition THEN ... with a closing token of its own for each ELSEIF. That token
// is skipped, whatever it is.
// elseifMode: the tokens begin with the condition after an "ELSEIF"; for the reader's own use.
// Throws std::invalid_argument "Invalid serialized targets!" and what parseSerializedMatches
// throws.
IptProg parseSerializedTargets(IptTokenPosition& position, IptTokenPosition end,
                               bool elseifMode = false);

}  // namespace tavrix
