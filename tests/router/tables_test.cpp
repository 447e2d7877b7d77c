// What runs of the product leave in the kernel's tables.
#include <gmock/gmock.h>

#include "tests/router/product_run.h"

namespace product_test {
namespace {

using test_support::ProcessResult;
using testing::HasSubstr;

using RealTables = ProductTest;
INSTANTIATE_TEST_SUITE_P(Kinds, RealTables, testing::Values("legacy", "nft"),
                         [](const auto& kind) { return kind.param; });

TEST_P(RealTables, TheRulesAreInTheKernelAndForeignRulesWhereTheyWere) {
  const ProcessResult result = run(kSmallConfig, "restore_foreign; $program; show_all");
  EXPECT_EQ(result.exitStatus, 0);
  EXPECT_EQ(result.out, tablesOfSmallConfig());
  EXPECT_EQ(result.err, "");
}

TEST_P(RealTables, ASecondRunChangesNothing) {
  const ProcessResult result = run(kSmallConfig, "restore_foreign; $program; $program; show_all");
  EXPECT_EQ(result.exitStatus, 0);
  EXPECT_EQ(result.out, tablesOfSmallConfig());
}

TEST_P(RealTables, AnEmptiedConfigurationRemovesEverything) {
  const ProcessResult result = run(kSmallConfig,
                                   "restore_foreign; $program;"
                                   ": > $TESTBED_CONFIG_DIR/firewall_cpp; $program; show_all");
  EXPECT_EQ(result.exitStatus, 0);
  EXPECT_EQ(result.out, foreignTables());
}

TEST_P(RealTables, AChangedConfigurationReplacesTheRules) {
  const ProcessResult result =
      run(kSmallConfig,
          "restore_foreign; $program;"
          "sed -i \"s/'2'/'7'/\" $TESTBED_CONFIG_DIR/firewall_cpp; $program;"
          "show_all | sed 's/--queue-num 7 /--queue-num 2 /'; show_all | grep -c queue-num.7");
  EXPECT_EQ(result.out, tablesOfSmallConfig() + "4\n");
}

TEST_P(RealTables, TheExampleLoadsAndASecondRunChangesNothing) {
  const ProcessResult result =
      run(test_support::readFile(kExample),
          "restore_foreign; $program; show_all > /tmp/first; $program; show_all > /tmp/second;"
          "cmp /tmp/first /tmp/second; grep -c NFQUEUE /tmp/first;"
          "grep -v ipt_compiler /tmp/first");
  EXPECT_EQ(result.exitStatus, 0);
  EXPECT_EQ(result.out, "8\n" + foreignTables());
}

TEST_P(RealTables, ATableThatTheToolRejectsLeavesTheKernelAsItWas) {
  std::string config = kSmallConfig;
  config.replace(config.find("queue_last '2'"), 14, "queue_last 'x'");
  const ProcessResult result = run(config, "restore_foreign; $program || echo $?; show_all");
  EXPECT_EQ(result.out, "134\n" + foreignTables());
  EXPECT_THAT(result.err, HasSubstr("  what():  failed to commit\n"));
}

TEST_P(RealTables, EarlierPassesStayCommittedWhenALaterOneIsRejected) {
  // The IPv6 tools know no such address; the three IPv4 passes come before them.
  std::string config = kSmallConfig;
  config.replace(config.find("-p udp -m udp --dport 53"), 24, "-s 192.0.2.0/24 -p udp");
  const ProcessResult result =
      run(config,
          "restore_foreign; $program || echo $?; show iptables mangle | grep -e '-A OUTPUT';"
          "show iptables nat; show iptables filter; for table in mangle nat filter; do"
          " show ip6tables $table; done");
  std::string expected =
      "134\n-A OUTPUT -s 192.0.2.0/24 -p udp -m comment --comment ipt_compiler"
      " -j ipt_compiler_0\n";
  expected += foreignTable("iptables", "nat") + foreignTable("iptables", "filter");
  for (const char* table : {"mangle", "nat", "filter"}) {
    expected += foreignTable("ip6tables", table);
  }
  EXPECT_EQ(result.out, expected);
  EXPECT_THAT(result.err, HasSubstr("  what():  failed to commit\n"));
}

}  // namespace
}  // namespace product_test
