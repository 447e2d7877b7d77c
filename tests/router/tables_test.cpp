// What runs of the product leave in the kernel's tables, one after the other and two at once.
// Faults and households have the rest.
#include "tests/router/product_run.h"

namespace product_test {
namespace {

using test_support::ProcessResult;

using RealTables = ProductTest;
INSTANTIATE_TEST_SUITE_P(Kinds, RealTables, testing::Values("legacy", "nft"),
                         [](const auto& kind) { return kind.param; });

TEST_P(RealTables, HaveTheRulesOfTheLastRunAndForeignOnesWhereTheyWere) {
  const ProcessResult result =
      run(kSmallConfig,
          "restore_foreign; $program; show_all;"
          "sed -i \"s/'2'/'7'/\" $TESTBED_CONFIG_DIR/firewall_cpp; $program;"
          "show_all | sed 's/--queue-num 7 /--queue-num 2 /'; show_all | grep -c queue-num.7");
  EXPECT_EQ(result.exitStatus, 0);
  EXPECT_EQ(result.out, tablesOfSmallConfig() + tablesOfSmallConfig() + "4\n");
  EXPECT_EQ(result.err, "");
}

using RealLock = ProductTest;
INSTANTIATE_TEST_SUITE_P(Kinds, RealLock, testing::Values("legacy", "nft"),
                         [](const auto& kind) { return kind.param; });

// The lock is held from the start; see held_lock.sh.
TEST_P(RealLock, TwoRunsAtOnceTakeTurns) {
  // Tools before the real ones in PATH note which run calls them.
  const ProcessResult result = run(kSmallConfig, ". " HELD_LOCK_SCRIPT R"sh(
restore_foreign
hold_lock
mkdir /run/noting
for tool in iptables-save iptables-restore ip6tables-save ip6tables-restore; do
  printf '#!/bin/sh\necho $RUN >> /run/order\nexec %s "$@"\n' "$(command -v $tool)" \
    > /run/noting/$tool
  chmod +x /run/noting/$tool
done
RUN=one PATH=/run/noting:$PATH $program &
one=$!
RUN=two PATH=/run/noting:$PATH $program &
two=$!
await_waiting $one $two
release
wait $one
wait $two
uniq -c /run/order | sort | sed 's/^ *//'
show_all)sh");
  EXPECT_EQ(result.exitStatus, 0);
  EXPECT_EQ(result.out, "12 one\n12 two\n" + tablesOfSmallConfig());
  EXPECT_EQ(result.err, "");
}

}  // namespace
}  // namespace product_test
