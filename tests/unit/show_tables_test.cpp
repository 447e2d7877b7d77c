// How a saved table is shown.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "tests/support/process.h"

namespace {

std::string showTable(const std::string& saved, const std::string& colours) {
  const auto result = test_support::runProcess(
      {"awk", "-v", "title=IPv4 mangle", "-v", "colours=" + colours, "-f", SHOW_TABLES},
      {.input = saved, .variables = {}});
  EXPECT_EQ(result.err, "");
  return result.out;
}

TEST(ShowTables, GeneratedRulesAreMarkedAndChainsStandUnderTheirFirstJump) {
  const std::string saved =
      "# comment\n"
      "*mangle\n"
      ":PREROUTING ACCEPT [1:2]\n"
      ":INPUT DROP\n"
      ":FORWARD ACCEPT\n"
      ":OUTPUT ACCEPT\n"
      ":zone - [0:0]\n"
      ":spare - [0:0]\n"
      ":ipt_compiler_0 -\n"
      ":ipt_compiler_1 -\n"
      "-A PREROUTING -p tcp -j zone\n"
      "-A PREROUTING -m comment --comment ipt_compiler -j ipt_compiler_0\n"
      "-A OUTPUT -m comment --comment ipt_compiler -j ACCEPT\n"
      "-A ipt_compiler_0 -p udp -m comment --comment ipt_compiler -g ipt_compiler_1\n"
      "-A ipt_compiler_0 -p tcp -m comment --comment ipt_compiler -g ipt_compiler_1\n"
      "-A ipt_compiler_1 -m comment --comment ipt_compiler -j NFQUEUE --queue-num 1\n"
      "-A spare -j DROP\n"
      "-A zone -m comment --comment \"a -j zone\" -j RETURN\n"
      "COMMIT\n";
  const auto shown = [](const std::string& green, const std::string& plain) {
    return "IPv4 mangle\n"
           "  PREROUTING (policy ACCEPT)\n"
           "     -p tcp -j zone\n"
           "        -m comment --comment \"a -j zone\" -j RETURN\n" +
           green + "  +  -j ipt_compiler_0" + plain + "\n" + green +
           "  +     -p udp -g ipt_compiler_1" + plain + "\n" + green +
           "  +        -j NFQUEUE --queue-num 1" + plain + "\n" + green +
           "  +     -p tcp -g ipt_compiler_1  (shown above)" + plain +
           "\n"
           "  OUTPUT (policy ACCEPT)\n" +
           green + "  +  -j ACCEPT" + plain +
           "\n"
           "  spare (no rule leads here)\n"
           "     -j DROP\n"
           "  without rules: INPUT (policy DROP), FORWARD (policy ACCEPT)\n";
  };
  EXPECT_EQ(showTable(saved, ""), shown("", ""));
  EXPECT_EQ(showTable(saved, "1"), shown("\033[32m", "\033[0m"));
}

TEST(ShowTables, AChainOfChainsIsFollowedHoweverLong) {
  constexpr int kLength = 20000;
  std::string saved = ":INPUT ACCEPT\n";
  std::string rules = "-A INPUT -j c0\n";
  for (int index = 0; index < kLength; ++index) {
    const std::string name = "c" + std::to_string(index);
    saved += ":" + name + " -\n";
    rules += "-A " + name + " -j c" + std::to_string(index + 1) + "\n";
  }
  const std::string shown = showTable(saved + rules, "");
  EXPECT_TRUE(shown.ends_with(" -j c" + std::to_string(kLength) + "\n"));
  EXPECT_EQ(std::count(shown.begin(), shown.end(), '\n'), kLength + 3);
}

}  // namespace
