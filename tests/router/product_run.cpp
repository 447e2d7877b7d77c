// What the tests of the product on real tables share.
#include "tests/router/product_run.h"

#include <algorithm>

namespace product_test {
namespace {

const std::string kProgram = PRODUCT_PROGRAM;

const std::string kFunctions = R"sh(
show() { $1-save -t $2 | sed -e '/^#/d' -e 's/\[[0-9]*:[0-9]*\]$/[0:0]/'; }
for_all() {
  for family in iptables ip6tables; do
    for table in mangle nat filter; do $1 $family $table; done
  done
}
restore_one() { $1-restore < $foreign/$1.$2; }
show_all() { for_all show; }
restore_foreign() { for_all restore_one; }
)sh";

// The mangle table of both families: the rules stand at the end of their hooks, after the
// foreign ones.
const std::string kSmallMangle = R"(*mangle
:PREROUTING ACCEPT [0:0]
:INPUT ACCEPT [0:0]
:FORWARD ACCEPT [0:0]
:OUTPUT ACCEPT [0:0]
:POSTROUTING ACCEPT [0:0]
:ipt_compiler_0 - [0:0]
:ipt_compiler_1 - [0:0]
-A PREROUTING -i br-guest -m comment --comment "guest network" -j MARK --set-xmark 0x1/0xff
-A PREROUTING -p udp -m udp --dport 53 -m comment --comment ipt_compiler -j ipt_compiler_1
-A FORWARD -o eth1 -p tcp -m tcp --tcp-flags SYN,RST SYN -m comment --comment "zone wan MTU fixing" -j TCPMSS --clamp-mss-to-pmtu
-A OUTPUT -p udp -m udp --dport 53 -m comment --comment ipt_compiler -j ipt_compiler_0
-A ipt_compiler_0 -m mark --mark 0x1/0x1 -m comment --comment ipt_compiler -j RETURN
-A ipt_compiler_0 -m comment --comment ipt_compiler -j NFQUEUE --queue-num 2 --queue-bypass
-A ipt_compiler_1 -m mark --mark 0x1/0x1 -m comment --comment ipt_compiler -j RETURN
-A ipt_compiler_1 -m comment --comment ipt_compiler -j NFQUEUE --queue-num 2 --queue-bypass
COMMIT
)";

}  // namespace

const std::string kForeignRules = FOREIGN_RULES;
const std::string kExample = EXAMPLE_CONFIG;
const std::string kSmallConfig =
    "config nfnlq 'nfnlq'\n"
    "  option queue_first '2'\n"
    "  option queue_last '2'\n"
    "  list matches '-p udp -m udp --dport 53'\n"
    "  list matches 'AND'\n"
    "  list matches 'NOT -m mark --mark 0x1/0x1'\n";

test_support::ProcessResult ProductTest::run(const std::string& config, const std::string& script) {
  const test_support::TempDir directory;
  test_support::writeFile(directory / "config", config);
  test_support::ProcessResult result = router_test::runScript(
      {"--tables=" + GetParam(), "--config=" + (directory / "config")},
      "program='" + kProgram + "'; foreign='" + kForeignRules + "'" + kFunctions + script);
  result.err.erase(0, std::min(result.err.find('\n'), result.err.size() - 1) + 1);
  return result;
}

std::string foreignTable(const std::string& family, const std::string& table) {
  return test_support::readFile(kForeignRules + "/" + family + "." + table);
}

std::string foreignTables() {
  std::string text;
  for (const char* family : {"iptables", "ip6tables"}) {
    for (const char* table : {"mangle", "nat", "filter"}) text += foreignTable(family, table);
  }
  return text;
}

std::string tablesOfSmallConfig() {
  std::string text;
  for (const char* family : {"iptables", "ip6tables"}) {
    text += kSmallMangle + foreignTable(family, "nat") + foreignTable(family, "filter");
  }
  return text;
}

}  // namespace product_test
