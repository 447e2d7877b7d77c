// Access control on real tables: the example household and those of the golden tables. What the
// rules mean is compared in echo_test.cpp.
#include <gmock/gmock.h>

#include "tests/router/product_run.h"

namespace product_test {
namespace {

// The tables of other programs are there from the start.
const std::string kFunctions = R"sh(
for_all() {
  for family in iptables ip6tables; do
    for table in mangle nat filter; do $1 $family $table; done
  done
}
restore() { $1-restore < $foreign/$1.$2; }
show() { $1-save -t $2 | sed -e '/^#/d' -e 's/\[[0-9]*:[0-9]*\]$/[0:0]/'; }
for_all restore
)sh";

using Household = ProductTest;
INSTANTIATE_TEST_SUITE_P(Kinds, Household, testing::Values("legacy", "nft"),
                         [](const auto& kind) { return kind.param; });

TEST_P(Household, LoadsIsKeptByASecondRunAndGoesWithItsConfiguration) {
  std::string foreign;
  for (const char* family : {"iptables", "ip6tables"}) {
    for (const char* table : {"mangle", "nat", "filter"}) foreign += foreignTable(family, table);
  }
  for (const std::string& configuration : households()) {
    SCOPED_TRACE(configuration);
    expectOutput(configuration, kFunctions + R"sh(
$program
for_all show > /tmp/first
$program
for_all show > /tmp/second
cmp /tmp/first /tmp/second
grep -v ipt_compiler /tmp/first
: > $TESTBED_CONFIG_DIR/firewall_cpp
$program
for_all show)sh",
                 foreign + foreign);
  }
}

TEST_P(Household, WhoseSetIsMissingInALaterPassKeepsTheTablesOfEarlierOnes) {
  // The rules for IPv6 in nat are the only ones that name this set.
  const test_support::ProcessResult result =
      run(test_support::readFile(GOLDEN_CASES "/blacklists.config"), kFunctions + R"sh(
mkdir /tmp/foreign /tmp/whole /tmp/now
keep() { show $1 $2 > $state/$1.$2; }
state=/tmp/foreign
for_all keep
$program
state=/tmp/whole
for_all keep
for_all restore
ipset destroy blocked_v6
$program || echo $?
state=/tmp/now
for_all keep
for state in whole foreign; do
  for table in /tmp/now/*; do
    if cmp -s $table /tmp/$state/${table##*/}; then echo $state ${table##*/}; fi
  done
done)sh");
  EXPECT_EQ(result.exitStatus, 0);
  EXPECT_EQ(result.out,
            "134\n"
            "whole ip6tables.mangle\n"
            "whole iptables.filter\n"
            "whole iptables.mangle\n"
            "whole iptables.nat\n"
            "foreign ip6tables.filter\n"
            "foreign ip6tables.nat\n");
  EXPECT_THAT(result.err, testing::HasSubstr("blocked_v6"));
  EXPECT_THAT(result.err, testing::HasSubstr("  what():  failed to commit\n"));
}

}  // namespace
}  // namespace product_test
