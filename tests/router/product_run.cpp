// What the tests of the product on real tables share.
#include "tests/router/product_run.h"

#include <algorithm>
#include <filesystem>

namespace product_test {
namespace {

const std::string kForeignRules = FOREIGN_RULES;

const std::string kFunctions = R"sh(
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

}  // namespace

test_support::ProcessResult ProductTest::run(const std::string& config, const std::string& script) {
  const test_support::TempDir directory;
  test_support::writeFile(directory / "config", config);
  test_support::ProcessResult result = router_test::runScript(
      {"--tables=" + GetParam(), "--config=" + (directory / "config")},
      "program='" PRODUCT_PROGRAM "'; foreign='" + kForeignRules + "'" + kFunctions + script);
  result.err.erase(0, std::min(result.err.find('\n'), result.err.size() - 1) + 1);
  return result;
}

void ProductTest::expectOutput(const std::string& config, const std::string& script,
                               const std::string& expected) {
  const test_support::ProcessResult result = run(config, script);
  EXPECT_EQ(result.out, expected);
  EXPECT_EQ(result.exitStatus, 0);
  EXPECT_EQ(result.err, "");
}

std::vector<std::string> households() {
  std::vector<std::string> configurations = {test_support::readFile(EXAMPLE_CONFIG)};
  for (const auto& entry : std::filesystem::directory_iterator(GOLDEN_CASES)) {
    const std::string name = entry.path().filename();
    if (!name.ends_with(".config") || name.starts_with("refused")) continue;
    configurations.push_back(test_support::readFile(entry.path()));
  }
  return configurations;
}

std::string foreignTable(const std::string& family, const std::string& table) {
  return test_support::readFile(kForeignRules + "/" + family + "." + table);
}

}  // namespace product_test
