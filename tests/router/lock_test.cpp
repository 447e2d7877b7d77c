// The tables' lock: a run waits for whoever holds it, and two runs take turns.
#include "tests/router/product_run.h"

namespace product_test {
namespace {

using test_support::ProcessResult;

using RealLock = ProductTest;
INSTANTIATE_TEST_SUITE_P(Kinds, RealLock, testing::Values("legacy", "nft"),
                         [](const auto& kind) { return kind.param; });

// The lock is held from the start of a script; see held_lock.sh.
const std::string kHeldLock = ". " HELD_LOCK_SCRIPT
                              "; hold_lock"
                              R"sh(
restore_foreign() { for_all restore_unlocked; }
restore_unlocked() {
  LD_PRELOAD=/usr/lib/libxtlock_intercept.so $1-restore < $foreign/$1.$2
}
)sh";

TEST_P(RealLock, ARunWaitsForTheLockAndThenSucceeds) {
  const ProcessResult result = run(kSmallConfig, kHeldLock + R"sh(
restore_foreign
$program &
run=$!
await_waiting $run
show_all
release
wait $run
show_all)sh");
  EXPECT_EQ(result.exitStatus, 0);
  EXPECT_EQ(result.out, foreignTables() + tablesOfSmallConfig());
  EXPECT_EQ(result.err, "");
}

TEST_P(RealLock, TheLockIsFreeAfterARun) {
  const ProcessResult result =
      run(kSmallConfig, "$program; flock --nonblock /run/xtables.lock echo free");
  EXPECT_EQ(result.out, "free\n");
}

TEST_P(RealLock, TwoRunsAtOnceTakeTurns) {
  // Tools before the real ones in PATH note which run calls them.
  const ProcessResult result = run(kSmallConfig, kHeldLock + R"sh(
restore_foreign
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
