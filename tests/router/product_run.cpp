// What the tests of the product on real tables share.
#include "tests/router/product_run.h"

#include <algorithm>
#include <filesystem>

namespace product_test {
namespace {

const std::string kProgram = PRODUCT_PROGRAM;
const std::string kExample = EXAMPLE_CONFIG;

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
# Neighbours are known beforehand: rules that reject everything reject the search for them as well.
add_host() {
  mkfifo /run/$1.ready /run/$1.end
  unshare --net sh -c "echo > /run/$1.ready; exec cat /run/$1.end" &
  eval $1=$!
  cat /run/$1.ready > /dev/null
  ip link add to-$1 address 02:00:00:00:0$2:01 type veth \
    peer name eth0 address 02:00:00:00:0$2:02 netns $!
  ip address add 10.9.$2.1/24 dev to-$1
  ip address add fd00:9:$2::1/64 dev to-$1 nodad
  ip link set to-$1 up
  for host in 2 3; do
    at $1 ip address add 10.9.$2.$host/24 dev eth0
    at $1 ip address add fd00:9:$2::$host/64 dev eth0 nodad
  done
  at $1 ip link set eth0 up
  at $1 ip route add default via 10.9.$2.1
  at $1 ip route add default via fd00:9:$2::1
  at $1 ip neighbour add fd00:9:$2::1 lladdr 02:00:00:00:0$2:01 nud permanent dev eth0
  for host in 2 3; do
    ip neighbour add fd00:9:$2::$host lladdr 02:00:00:00:0$2:02 nud permanent dev to-$1
  done
  # Before the kernel has noticed the cable at both ends it may drop packets, and repeated ones would
  # be counted twice.
  until ip -br link show dev to-$1 | grep -q ' UP '; do :; done
  until at $1 ip -br link show dev eth0 | grep -q ' UP '; do :; done
}
at() {
  eval "namespace=\$$1"
  shift
  nsenter --target $namespace --net "$@"
}
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

void HouseholdTest::SetUp() {
  ProductTest::SetUp();
  if (IsSkipped()) return;
  const auto result = router_test::runScript(
      {"--no-bus", "--tables=" + GetParam(), "--config=" + kExample}, "true");
  // The kernel's tables are there, so the sets have to be.
  ASSERT_EQ(result.exitStatus, 0) << result.err;
}

std::string household(const std::string& name) {
  return test_support::readFile(GOLDEN_CASES "/" + name + ".config");
}

std::vector<std::string> households() {
  std::vector<std::string> configurations = {test_support::readFile(kExample)};
  for (const auto& entry : std::filesystem::directory_iterator(GOLDEN_CASES)) {
    const std::string name = entry.path().stem();
    if (entry.path().extension() != ".config" || name.starts_with("refused")) continue;
    configurations.push_back(household(name));
  }
  return configurations;
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
