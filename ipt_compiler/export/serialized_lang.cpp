// The readers of the language as a list of tokens. Nesting is kept on explicit stacks: how deep it
// goes is up to the configuration.
#include <algorithm>
#include <cstddef>
#include <stdexcept>
#include <string_view>
#include <utility>
#include <vector>

#include "ipt_compiler/export/ipt_lang.h"

namespace tavrix {
namespace {

// The file and line that errors name. A text from the configuration has neither, so the line tells
// what it was read as: a negated match text, a match text or a target text.
constexpr const char* kFile = "./ipt_compiler/export/ipt_lang";
constexpr int kNegatedMatchesLine = 297;
constexpr int kMatchesLine = 299;
constexpr int kTargetLine = 349;

std::invalid_argument invalidMatches() {
  return std::invalid_argument("Invalid serialized matches!");
}

std::invalid_argument invalidTargets() {
  return std::invalid_argument("Invalid serialized targets!");
}

// For each "(" of the tokens, in order, the ")" that closes it; `end` for one that is never closed.
std::vector<IptTokenPosition> closingParentheses(IptTokenPosition position, IptTokenPosition end) {
  std::vector<IptTokenPosition> closing;
  std::vector<std::size_t> open;
  for (; position != end; ++position) {
    if (*position == "(") {
      open.push_back(closing.size());
      closing.push_back(end);
    } else if (*position == ")" && !open.empty()) {
      closing[open.back()] = position;
      open.pop_back();
    }
  }
  return closing;
}

// A disjunction of conjunctions, as far as it was read.
struct Disjunction {
  explicit Disjunction(IptTokenPosition endOfTokens) : end(endOfTokens) {}

  void addOperand(IptCond operand) {
    if (afterOperand) throw invalidMatches();
    conjunction = std::move(conjunction) && std::move(operand);
    afterOperand = true;
  }

  void startConjunction() {
    if (!afterOperand) throw invalidMatches();
    disjunction = std::move(disjunction) || std::move(conjunction);
    conjunction = makeConstCond(true);
    afterOperand = false;
  }

  void continueConjunction() {
    if (!afterOperand) throw invalidMatches();
    afterOperand = false;
  }

  // What stands after the last "OR" counts even if it is nothing: an empty conjunction holds.
  IptCond finish() { return std::move(disjunction) || std::move(conjunction); }

  IptTokenPosition end;
  IptCond disjunction = makeConstCond(false);
  IptCond conjunction = makeConstCond(true);
  bool afterOperand = false;
};

// An IF block whose closing token has not been read yet.
struct OpenBlock {
  enum class Branch { kThen, kElse, kElseif };

  explicit OpenBlock(IptCond condition) : block(If(std::move(condition))) {}

  void addStatement(IptProg statement) {
    if (branch == Branch::kElseif) {
      otherwise = std::move(statement);
      return;
    }
    IptProg& list = branch == Branch::kThen ? body : otherwise;
    list = sequence({list, std::move(statement)});
  }

  // Reads the keyword, if there is one, after a statement or after the head of the block. Returns
  // whether it closed the block. If not, a statement is due, or a condition after "ELSEIF".
  bool readKeyword(IptTokenPosition& position, IptTokenPosition end) {
    if (position == end) throw invalidTargets();
    if (branch == Branch::kElseif) {
      // Configurations have a "FI" here. Any token is taken for it, on purpose.
      ++position;
      return true;
    }
    if (branch == Branch::kThen && (*position == "ELSE" || *position == "ELSEIF")) {
      branch = *position == "ELSE" ? Branch::kElse : Branch::kElseif;
      if (++position == end) throw invalidTargets();
      if (branch == Branch::kElseif) return false;
    }
    if (*position != "FI") return false;
    ++position;
    return true;
  }

  IptProg close() {
    const IptIfBlock whole = block.then({body});
    return branch == Branch::kThen ? whole : whole.orElse({otherwise});
  }

  IptIfBlock block;
  IptProg body = makeEmptyProg();
  IptProg otherwise = makeEmptyProg();
  Branch branch = Branch::kThen;
};

// Reads [IF] condition THEN; without the "IF" after an "ELSEIF".
OpenBlock readBlockHead(IptTokenPosition& position, IptTokenPosition end, bool elseifMode) {
  if (*position == "IF") {
    if (elseifMode) throw invalidTargets();
    ++position;
  }
  const auto then = std::find(position, end, "THEN");
  if (then == end) throw invalidTargets();
  IptCond condition = parseSerializedMatches(position, then);
  position = then + 1;
  return OpenBlock(std::move(condition));
}

}  // namespace

IptCond parseSerializedMatches(IptTokenPosition& position, IptTokenPosition end) {
  const std::vector<IptTokenPosition> closing = closingParentheses(position, end);
  auto nextClosing = closing.begin();
  std::vector<Disjunction> nested;  // the innermost last
  nested.emplace_back(end);
  for (;;) {
    if (position == nested.back().end) {
      IptCond whole = nested.back().finish();
      nested.pop_back();
      if (nested.empty()) return whole;
      ++position;
      nested.back().addOperand(std::move(whole));
      continue;
    }
    const std::string_view token = *position++;
    if (token == "AND") {
      nested.back().continueConjunction();
    } else if (token == "OR") {
      nested.back().startConjunction();
    } else if (token.starts_with("NOT")) {
      // Whatever follows the three letters is the match text, on purpose.
      nested.back().addOperand(!makeMatches(token.substr(3), kFile, kNegatedMatchesLine));
    } else if (token == "(") {
      const auto close = *nextClosing++;
      if (close == end) throw invalidMatches();
      nested.emplace_back(close);
    } else {
      nested.back().addOperand(makeMatches(token, kFile, kMatchesLine));
    }
  }
}

IptProg parseSerializedTargets(IptTokenPosition& position, IptTokenPosition end, bool elseifMode) {
  std::vector<OpenBlock> open;  // the innermost last
  for (;;) {
    IptProg statement;
    bool complete = !elseifMode && *position != "IF";
    if (complete) {
      statement = makeTarget(*position++, kFile, kTargetLine);
    } else {
      open.push_back(readBlockHead(position, end, elseifMode));
    }
    // A complete statement goes into the innermost block, which may be complete with it in turn.
    for (;;) {
      if (complete) {
        if (open.empty()) return statement;
        open.back().addStatement(std::move(statement));
      }
      complete = open.back().readKeyword(position, end);
      if (!complete) break;
      statement = open.back().close();
      open.pop_back();
    }
    elseifMode = open.back().branch == OpenBlock::Branch::kElseif;
  }
}

}  // namespace tavrix
