// The text of a hook: what is kept in few bytes is written in full.
#include "ipt_compiler/hook_text.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>

namespace tavrix {
namespace {

using namespace std::string_literals;

const std::string kMark = " -m comment --comment ipt_compiler\n";

std::string written(const HookText& hook, std::uint32_t& counter) {
  std::ostringstream out;
  hook.write(counter, out);
  return out.str();
}

TEST(HookText, NumbersItsChainsFromTheCounterOn) {
  HookText hook;
  const std::string first = hook.makeChainName();
  const std::string second = hook.makeChainName();
  hook.declareChain(first);
  hook.addRule("INPUT", "-p tcp", " -j ", first);
  hook.declareChain(second);
  hook.addRule(first, {}, "-g ", second);
  hook.addRule(second, "-j A");

  std::uint32_t counter = 9;
  EXPECT_EQ(written(hook, counter),
            ":ipt_compiler_9 - [0:0]\n"
            "-A INPUT -p tcp -j ipt_compiler_9" +
                kMark +
                ":ipt_compiler_10 - [0:0]\n"
                "-A ipt_compiler_9 -g ipt_compiler_10" +
                kMark + "-A ipt_compiler_10 -j A" + kMark);
  EXPECT_EQ(counter, 11U);
  EXPECT_EQ(written(hook, counter).substr(0, 17), ":ipt_compiler_11 ");
  EXPECT_EQ(counter, 13U);
}

TEST(HookText, KeepsEveryByteOfARulesText) {
  for (const std::string& text : {"\0"s, "\0\0"s, "a\0001"s, "a\0"s, "a\n"s, "\0\n\0"s, "\0 7"s}) {
    HookText hook;
    hook.addRule("INPUT", text);
    hook.addRule("INPUT", text, " -j ", "RETURN");
    std::uint32_t counter = 0;
    EXPECT_EQ(written(hook, counter),
              "-A INPUT " + text + kMark + "-A INPUT " + text + " -j RETURN" + kMark);
  }
}

// In several blocks.
TEST(HookText, MayBeLong) {
  HookText hook;
  std::string expected;
  const std::string text = "-m match --value " + std::string(1000, 'x');
  for (int i = 0; i < 100; ++i) {
    const std::string chain = hook.makeChainName();
    hook.addRule(chain, text);
    expected += "-A ipt_compiler_" + std::to_string(i) + " " + text + kMark;
  }
  std::uint32_t counter = 0;
  EXPECT_EQ(written(hook, counter), expected);
}

}  // namespace
}  // namespace tavrix
