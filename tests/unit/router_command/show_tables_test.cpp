// How a saved table is shown.
#include "testbed/router/show_tables.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

namespace testbed::router {
namespace {

TEST(ShowTables, ATableWithoutRulesIsOneLine) {
  EXPECT_EQ(showTable("*filter\n:INPUT ACCEPT [0:0]\n:OUTPUT DROP [0:0]\nCOMMIT\n", {"T", false}),
            "T\n  without rules: INPUT (policy ACCEPT), OUTPUT (policy DROP)\n");
}

TEST(ShowTables, GeneratedRulesAreMarkedAndChainsStandUnderTheirFirstJump) {
  EXPECT_EQ(
      showTable("# comment\n"
                "*mangle\n"
                ":PREROUTING ACCEPT [1:2]\n"
                ":OUTPUT ACCEPT\n"
                ":zone - [0:0]\n"
                ":ipt_compiler_0 -\n"
                ":ipt_compiler_1 -\n"
                "-A PREROUTING -p tcp -j zone\n"
                "-A PREROUTING -m comment --comment ipt_compiler -j ipt_compiler_0\n"
                "-A OUTPUT -m comment --comment ipt_compiler -j ACCEPT\n"
                "-A ipt_compiler_0 -p udp -m comment --comment ipt_compiler -g ipt_compiler_1\n"
                "-A ipt_compiler_0 -p tcp -m comment --comment ipt_compiler -g ipt_compiler_1\n"
                "-A ipt_compiler_1 -m comment --comment ipt_compiler -j NFQUEUE --queue-num 1\n"
                "-A zone -m comment --comment \"a -j zone\" -j RETURN\n"
                "COMMIT\n",
                {"IPv4 mangle", false}),
      "IPv4 mangle\n"
      "  PREROUTING (policy ACCEPT)\n"
      "     -p tcp -j zone\n"
      "        -m comment --comment \"a -j zone\" -j RETURN\n"
      "  +  -j ipt_compiler_0\n"
      "  +     -p udp -g ipt_compiler_1\n"
      "  +        -j NFQUEUE --queue-num 1\n"
      "  +     -p tcp -g ipt_compiler_1  (shown above)\n"
      "  OUTPUT (policy ACCEPT)\n"
      "  +  -j ACCEPT\n");
}

TEST(ShowTables, AChainWithoutAJumpIsShownAtTheEnd) {
  EXPECT_EQ(showTable(":INPUT ACCEPT [0:0]\n:spare - [0:0]\n-A spare -j DROP\n", {"T", false}),
            "T\n"
            "  spare (no rule leads here)\n"
            "     -j DROP\n"
            "  without rules: INPUT (policy ACCEPT)\n");
}

TEST(ShowTables, OnlyGeneratedRulesAreColoured) {
  EXPECT_EQ(showTable(":INPUT ACCEPT\n"
                      "-A INPUT -j DROP\n"
                      "-A INPUT -p tcp -m comment --comment ipt_compiler -j DROP\n",
                      {"T", true}),
            "T\n"
            "  INPUT (policy ACCEPT)\n"
            "     -j DROP\n"
            "\033[32m  +  -p tcp -j DROP\033[0m\n");
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
  const std::string shown = showTable(saved + rules, {"T", false});
  EXPECT_TRUE(shown.ends_with(" -j c" + std::to_string(kLength) + "\n"));
  EXPECT_EQ(std::count(shown.begin(), shown.end(), '\n'), kLength + 3);
}

}  // namespace
}  // namespace testbed::router
