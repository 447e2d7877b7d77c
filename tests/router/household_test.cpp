// Access control on real tables: the example household and those of the golden tables. What the
// rules mean is compared in echo_test.cpp.
#include "tests/router/product_run.h"

namespace product_test {
namespace {

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
    expectOutput(configuration, R"sh(
for_all() {
  for family in iptables ip6tables; do
    for table in mangle nat filter; do $1 $family $table; done
  done
}
restore() { $1-restore < $foreign/$1.$2; }
show() { $1-save -t $2 | sed -e '/^#/d' -e 's/\[[0-9]*:[0-9]*\]$/[0:0]/'; }
for_all restore
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

}  // namespace
}  // namespace product_test
