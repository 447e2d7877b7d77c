// Access control on real tables: the example household and those of the golden tables.
#include <gmock/gmock.h>

#include "tests/router/product_run.h"

namespace product_test {
namespace {

using test_support::ProcessResult;
using testing::HasSubstr;

using Household = HouseholdTest;
INSTANTIATE_TEST_SUITE_P(Kinds, Household, testing::Values("legacy", "nft"),
                         [](const auto& kind) { return kind.param; });

// What the rules mean is compared in echo_test.cpp.
TEST_P(Household, LoadsIsKeptByASecondRunAndGoesWithItsConfiguration) {
  for (const std::string& configuration : households()) {
    const ProcessResult result = run(configuration, R"sh(
restore_foreign
$program
show_all > /tmp/first
$program
show_all > /tmp/second
cmp /tmp/first /tmp/second
grep -v ipt_compiler /tmp/first
: > $TESTBED_CONFIG_DIR/firewall_cpp
$program
show_all)sh");
    EXPECT_EQ(result.exitStatus, 0) << configuration;
    EXPECT_EQ(result.err, "") << configuration;
    EXPECT_EQ(result.out, foreignTables() + foreignTables()) << configuration;
  }
}

// The nft tools of an ordinary user cannot hand the kernel so much at once.
class BigHousehold : public Household {};
INSTANTIATE_TEST_SUITE_P(Kinds, BigHousehold, testing::Values("legacy"),
                         [](const auto& kind) { return kind.param; });

TEST_P(BigHousehold, OfThreeHundredUsersLoadsAndASecondRunChangesNothing) {
  std::string config = "config kovsel 'kovsel'\n";
  for (int user = 1; user <= 300; ++user) {
    const std::string number = std::to_string(user);
    config += "\tlist user_list '" + number + "'\n";
    for (const char* words : {"mac_set_user", "label_user", "blacklist_v4_user",
                              "blacklist_v6_user", "keywords_user", "host_counter_user"}) {
      // The option's own name will do for its value.
      const std::string option = words + number;
      config.append("\toption ").append(option).append(" ").append(option).append("\n");
    }
  }
  const ProcessResult result = run(config, R"sh(
restore_foreign
$program
show_all > /tmp/first
for_all show | grep -c -e '-A PREROUTING .*ipt_compiler'
$program
show_all > /tmp/second
cmp /tmp/first /tmp/second)sh");
  EXPECT_EQ(result.exitStatus, 0) << result.err;
  // For each user and family one rule in mangle and one in nat.
  EXPECT_EQ(result.out, "1200\n");
  EXPECT_EQ(result.err, "");
}

TEST_P(Household, WhoseSetIsMissingInALaterPassKeepsTheTablesOfEarlierOnes) {
  // The rules for IPv6 in nat are the only ones that name this set.
  const ProcessResult result = run(household("blacklists"), R"sh(
mkdir /tmp/foreign /tmp/whole /tmp/now
keep() { show $2 $3 > $1/$2.$3; }
cp $TESTBED_CONFIG_DIR/firewall_cpp /tmp/household
restore_foreign
for_all "keep /tmp/foreign"
$program
for_all "keep /tmp/whole"
: > $TESTBED_CONFIG_DIR/firewall_cpp
$program
ipset destroy blocked_v6
cp /tmp/household $TESTBED_CONFIG_DIR/firewall_cpp
$program || echo $?
for_all "keep /tmp/now"
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
  EXPECT_THAT(result.err, HasSubstr("blocked_v6"));
  EXPECT_THAT(result.err, HasSubstr("  what():  failed to commit\n"));
}

}  // namespace
}  // namespace product_test
