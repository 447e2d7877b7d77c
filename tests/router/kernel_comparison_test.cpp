// Holds the tables in files against the kernel's: the same texts must end with the same messages
// and exit statuses, and leave the same tables.
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include "tests/support/process.h"
#include "tests/support/temp_dir.h"

namespace {

// Both kinds of tables get every text, one after the other.
constexpr const char* kScript = R"(
directory=$1; family=$2; file_tools=$3
mount -t tmpfs none /run && eval "$4" || exit 77
export TESTBED_TABLES=/run/tables
mkdir /run/kernel
for action in save restore; do
  ln -s /usr/sbin/$family-legacy-$action /run/kernel/$family-$action
done
for table in raw mangle nat filter; do
  /run/kernel/$family-save -t $table >/dev/null || exit 77
done
for tools in /run/kernel "$file_tools"; do
  for text in "$directory"/text*; do
    read -r table <"$text"
    printf '\f'
    cat "$text"
    "$tools/$family-restore" -c <"$text" 2>&1
    echo "status $?"
    "$tools/$family-save" -c -t "${table#?}"
  done | grep -v '^#' >"$directory/${tools##*/}"
done
diff -U 20 "$directory/kernel" "$directory/file_tables" 2>&1 || true)";

class BesideTheKernel : public testing::TestWithParam<std::string> {
 protected:
  // Shell text `preparation` comes first; the test is skipped when that fails or the system
  // refuses.
  static void expectSameOutcomes(const std::vector<std::string>& texts,
                                 const std::string& preparation = "true") {
    const test_support::TempDir directory;
    for (std::size_t i = 0; i < texts.size(); ++i) {
      test_support::writeFile(directory / ("text" + std::to_string(i)), texts[i]);
    }
    const test_support::ProcessResult run = test_support::runProcess(
        {"unshare", geteuid() == 0 ? "-mn" : "-rmn", "sh", "-c", kScript, "sh",
         directory.path().string(), GetParam(), FILE_TOOLS, preparation});
    const bool isRefused = run.exitStatus == 77 || run.err.starts_with("unshare: ");
    if (isRefused) GTEST_SKIP() << "no kernel tables here: " << run.err;
    ASSERT_EQ(run.exitStatus, 0) << run.err;
    const std::string kernel = test_support::readFile(directory / "kernel");
    EXPECT_EQ(std::ranges::count(kernel, '\f'), texts.size());
    EXPECT_EQ(run.out, "");
  }
};
INSTANTIATE_TEST_SUITE_P(, BesideTheKernel, testing::Values("iptables", "ip6tables"),
                         [](const auto& family) { return family.param; });

struct Table {
  std::string name;
  std::vector<std::string> hooks;
};
const std::vector<Table> kTables = {
    {"raw", {"PREROUTING", "OUTPUT"}},
    {"mangle", {"PREROUTING", "INPUT", "FORWARD", "OUTPUT", "POSTROUTING"}},
    {"nat", {"PREROUTING", "INPUT", "OUTPUT", "POSTROUTING"}},
    {"filter", {"INPUT", "FORWARD", "OUTPUT"}}};

// Uses of every match and target, good and bad. Some are of one family only: the other must refuse
// them alike.
const std::vector<std::string> kMatches = {
    "-m comment --comment \"two words\"",
    "-m connbytes --connbytes 0:2 --connbytes-dir both --connbytes-mode packets",
    "-m connmark --mark 0x1/0x3",
    "-m conntrack --ctstate NEW,ESTABLISHED",
    "-m dscp ! --dscp 10",
    "-m helper --helper ftp",
    "-m hl --hl-gt 3",
    "-p icmp -m icmp --icmp-type 8",
    "-m icmp --icmp-type 8",
    "-p ipv6-icmp -m icmp6 --icmpv6-type 128",
    "-m length --length 100:200",
    "-m limit --limit 25/second --limit-burst 50",
    "-m limit --limit 1/day --limit-burst 5",
    "-m mac --mac-source 00:11:22:33:44:55",
    "-m mark ! --mark 0x1",
    "-p udp -m multiport --ports 1,2:3",
    "! -p tcp -m multiport --ports 1",
    "-m multiport --ports 1",
    "-m pkttype --pkt-type broadcast",
    "-m state --state NEW",
    "-m statistic --mode nth --every 3 --packet 0",
    "-p tcp -m tcp --dport 80",
    "! -p tcp -m tcp --dport 80",
    "-m tcp --syn",
    "-m tos --tos 0x10",
    "-m ttl --ttl-gt 3",
    "-p udp -m udp ! --sport 1:2",
    "-p tcp -m udp --sport 1",
    "-p 256",
    "-m nosuch",
};
const std::vector<std::string> kTargets = {
    "-j CONNMARK --restore-mark",
    "-p tcp -j DNAT --to-destination :8099",
    "-j DSCP --set-dscp 1",
    "-j HL --hl-set 3",
    "-j LOG --log-prefix \"a b\"",
    "-j MARK --set-xmark 0x1/0x3",
    "-j MASQUERADE",
    "-j NFLOG --nflog-group 3",
    "-j NFQUEUE --queue-num 65535 --queue-bypass",
    "-j NFQUEUE --queue-balance 0:65535",
    "-p tcp -j REDIRECT --to-ports 8099",
    "-j REJECT",
    "-p tcp -j REJECT --reject-with tcp-reset",
    "! -p tcp -j REJECT --reject-with tcp-reset",
    "-j SNAT --to-source 10.0.0.1",
    "-p tcp -m tcp --tcp-flags SYN,RST SYN -j TCPMSS --clamp-mss-to-pmtu",
    "-p tcp -m tcp --dport 1 -j TCPMSS --set-mss 1000",
    "-j TRACE",
    "-j TTL --ttl-dec 1",
};

// A rule in a chain that the hook leads to.
std::string reachedRule(const Table& table, const std::string& hook, const std::string& rule) {
  return "*" + table.name + "\n:c - [0:0]\n:unreached - [0:0]\n-A " + hook + " -j c\n[1:2] -A c " +
         rule + "\nCOMMIT\n";
}

TEST_P(BesideTheKernel, EveryMatchIsAllowedInTheSameHooks) {
  const Table& mangle = kTables[1];
  std::vector<std::string> texts;
  for (const std::string& match : kMatches) {
    for (const std::string& hook : mangle.hooks) texts.push_back(reachedRule(mangle, hook, match));
  }
  expectSameOutcomes(texts);
}

TEST_P(BesideTheKernel, EveryTargetIsAllowedInTheSameTablesAndHooks) {
  std::vector<std::string> texts;
  for (const std::string& target : kTargets) {
    for (const Table& table : kTables) {
      for (const std::string& hook : table.hooks) {
        texts.push_back(reachedRule(table, hook, target));
      }
      texts.push_back("*" + table.name + "\n:c - [3:4]\n-A c " + target + "\nCOMMIT\n");
    }
  }
  expectSameOutcomes(texts);
}

TEST_P(BesideTheKernel, IpSetsAreUsedAlike) {
  expectSameOutcomes({"*filter\n-A INPUT -m set --match-set guests src,dst\nCOMMIT\n",
                      "*mangle\n-A FORWARD -m set ! --match-set guests src -j SET --add-set other "
                      "dst --exist --timeout 10\nCOMMIT\n",
                      "*nat\n-A OUTPUT -j SET --del-set other src\nCOMMIT\n",
                      "*raw\n-A OUTPUT -j SET --add-set other foo\nCOMMIT\n"},
                     "ipset create guests list:set && ipset create other list:set");
}

// Chains that jump and go to each other at random, some of them in a loop, with rules of any kind.
std::string randomText(std::mt19937& random) {
  const auto below = [&](std::size_t limit) { return random() % limit; };
  const Table& table = kTables[below(kTables.size())];
  std::vector<std::string> chains = table.hooks;
  std::string text = "*" + table.name + "\n:" + table.hooks[0] + " DROP [5:6]\n";
  for (std::size_t i = 0; i < 4; ++i) {
    chains.push_back("chain" + std::to_string(i));
    text += ":" + chains.back() + " - [0:0]\n";
  }
  for (std::size_t i = 2 + below(8); i > 0; --i) {
    const std::vector<std::string> conditions = {
        "", "", "", "-p tcp ", "! -i lo ", "-p all ", "-m mac --mac-source 00:11:22:33:44:55 "};
    const std::string chain = "chain" + std::to_string(below(4));
    const std::vector<std::string> ends = {"-j " + chain, "-g " + chain,
                                           "-j RETURN",   "-j ACCEPT",
                                           "-j QUEUE",    kTargets[below(kTargets.size())]};
    text += "-A " + chains[below(chains.size())] + " " + conditions[below(conditions.size())] +
            ends[below(ends.size())] + "\n";
  }
  return text + "COMMIT\n";
}

TEST_P(BesideTheKernel, RandomTablesEndAlike) {
  for (const unsigned seed : {1U, std::random_device{}()}) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    std::vector<std::string> texts;
    for (int i = 0; i < 150; ++i) texts.push_back(randomText(random));
    expectSameOutcomes(texts);
  }
}

}  // namespace
