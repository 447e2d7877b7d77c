// Access control on real tables: the example household and those in households/, each a
// configuration NAME.config with the generated rules NAME.tables, as a person reads them.
#include <gmock/gmock.h>

#include "tests/router/household_run.h"

namespace product_test {
namespace {

using test_support::ProcessResult;
using testing::HasSubstr;

// show_generated prints the generated rules of the six tables, without those of other programs.
const std::string kFunctions = R"sh(
show_one() {
  show $1 $2 | awk -v title="$1 $2" -f ")sh" SHOW_TABLES
                               R"sh(" | grep -v -e '^     ' -e '^  without rules' -e '^$'
}
show_generated() { for_all show_one; }
)sh";

class Household : public HouseholdTest {
 protected:
  static ProcessResult run(const std::string& config, const std::string& script) {
    return ProductTest::run(config, kFunctions + script);
  }

  // The rules are as written down, a second run leaves them as they are, and without the
  // configuration only the rules of other programs are left.
  static void expectHousehold(const std::string& config, const std::string& tablesFile) {
    const ProcessResult result = run(config, R"sh(
restore_foreign
$program
show_generated
show_all > /tmp/first
grep -v ipt_compiler /tmp/first > /tmp/foreign
$program
show_all > /tmp/second
cmp /tmp/first /tmp/second
: > $TESTBED_CONFIG_DIR/firewall_cpp
$program
show_all > /tmp/emptied
cmp /tmp/foreign /tmp/emptied
echo
cat /tmp/emptied)sh");
    EXPECT_EQ(result.exitStatus, 0);
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(result.out, household(tablesFile) + "\n" + foreignTables());
  }
  static void expectHousehold(const std::string& name) {
    expectHousehold(household(name + ".config"), name + ".tables");
  }
};
INSTANTIATE_TEST_SUITE_P(Kinds, Household, testing::Values("legacy", "nft"),
                         [](const auto& kind) { return kind.param; });

TEST_P(Household, OfTheExampleLoads) {
  expectHousehold(test_support::readFile(kExample), "example.tables");
}
TEST_P(Household, WithABlockedUserLoads) {
  expectHousehold("blocked");
}
TEST_P(Household, WithBlockedDestinationsLoads) {
  expectHousehold("blacklists");
}
TEST_P(Household, WithBlockedWordsLoads) {
  expectHousehold("keywords");
}
TEST_P(Household, WithBlockedClassesLoads) {
  expectHousehold("classes");
}
TEST_P(Household, WithCountedDevicesLoads) {
  expectHousehold("devices");
}
TEST_P(Household, WithUnusualUserNumbersLoads) {
  expectHousehold("numbers");
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

TEST_P(Household, WhoseSetIsMissingLeavesEveryTableAsItWas) {
  const ProcessResult result = run(household("blacklists.config"), R"sh(
restore_foreign
ipset destroy macs
$program || echo $?
show_all)sh");
  EXPECT_EQ(result.exitStatus, 0);
  EXPECT_EQ(result.out, "134\n" + foreignTables());
  EXPECT_THAT(result.err, HasSubstr("macs"));
  EXPECT_THAT(result.err, HasSubstr("  what():  failed to commit\n"));
}

TEST_P(Household, WhoseSetIsMissingInALaterPassKeepsTheTablesOfEarlierOnes) {
  // The rules for IPv6 in nat are the only ones that name this set.
  const ProcessResult result = run(household("blacklists.config"), R"sh(
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
