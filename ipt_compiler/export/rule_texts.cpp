// The builders that take rule text. They have a file of their own so that a program can link others
// in their place which note the texts as well.
#include "ipt_compiler/export/nodes.h"
#include "ipt_compiler/rule_parser.h"

namespace tavrix {

IptCond makeMatches(std::string_view text, const char* file, int line) {
  return makeCondition(parseMatches(text, file, line));
}

IptProg makeTarget(std::string_view text, const char* file, int line) {
  return makeRule(parseTarget(text, file, line));
}

}  // namespace tavrix
