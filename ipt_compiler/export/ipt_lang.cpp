// The builders: which nodes they make and in which order they link them.
#include "ipt_compiler/export/ipt_lang.h"

#include <utility>

#include "ipt_compiler/export/nodes.h"
#include "ipt_compiler/ir_graph.h"

namespace tavrix {

IptCond makeCondition(IptMatchList matches) {
  IptCond cond{makeProxy(), makeProxy(), makeProxy()};
  if (matches.file != nullptr) cond.entry->makeContent().matches = std::move(matches);
  cond.entry->setBranch(_IptIrNode::kNext, cond.trueExit);
  cond.entry->setBranch(_IptIrNode::kNoMatch, cond.falseExit);
  return cond;
}

IptProg makeRule(IptTarget target) {
  const auto node = makeProxy();
  node->makeContent().targets.push_back(std::move(target));
  return {node, node};
}

IptCond makeConstCond(bool value) {
  IptCond cond = makeCondition({});
  return value ? cond : !std::move(cond);
}

IptCond operator!(IptCond cond) {
  std::swap(cond.trueExit, cond.falseExit);
  return cond;
}

IptCond operator&&(IptCond a, IptCond b) {
  // A condition linked to itself would be a cycle, whose nodes are never released.
  if (a.entry == b.entry) failSetNextTwice();
  a.trueExit->setNext(b.entry);
  const auto falseExit = makeProxy();
  a.falseExit->setNext(falseExit);
  b.falseExit->setNext(falseExit);
  return {std::move(b.trueExit), falseExit, std::move(a.entry)};
}

IptCond operator||(IptCond a, IptCond b) {
  return !(!std::move(a) && !std::move(b));
}

IptProg makeEmptyProg() {
  const auto node = makeProxy();
  return {node, node};
}

IptIfBlock If(IptCond condition) {
  return {std::move(condition.entry), std::move(condition.trueExit), std::move(condition.falseExit),
          makeProxy()};
}

IptIfBlock IptIfBlock::then(std::initializer_list<IptProg> statements) const {
  const IptProg body = sequence(statements);
  tail->setNext(body.first);
  return {entry, body.last, elseExit, join};
}

IptProg IptIfBlock::orElse(std::initializer_list<IptProg> statements) const {
  const IptProg otherwise = sequence(statements);
  elseExit->setNext(otherwise.first);
  tail->setNext(join);
  otherwise.last->setNext(join);
  return {entry, join};
}

IptIfBlock::operator IptProg() const {
  tail->setNext(join);
  elseExit->setNext(join);
  return {entry, join};
}

}  // namespace tavrix
