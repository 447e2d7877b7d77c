// Duplicate family selectors leave element counts that differ from the lists. What the compiler
// makes of such conditions is fixed here.
#include <gtest/gtest.h>

#include <sstream>
#include <string>

#include "ipt_compiler/export/ipt_lang.h"
#include "ipt_compiler/ipt_compiler.h"

namespace tavrix {
namespace {

std::string chainsOf(const IptTokens& tokens) {
  IptProg program = makeEmptyProg();
  for (auto position = tokens.begin(); position != tokens.end();) {
    IptProg statement = parseSerializedTargets(position, tokens.end());
    program = sequence(std::move(program), std::move(statement));
  }
  std::ostringstream out;
  std::uint32_t counter = 0;
  IptCompiler::compileHook(counter, out, program, "FORWARD", false);
  return out.str();
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

}  // namespace
}  // namespace tavrix
