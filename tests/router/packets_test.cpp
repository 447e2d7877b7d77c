// Real packets, between two network namespaces joined by a cable: which of them the generated rules
// take to a queue. Nobody listens on the queues, so the packets pass.
#include "tests/router/product_run.h"

namespace product_test {
namespace {

using RealPackets = ProductTest;
INSTANTIATE_TEST_SUITE_P(Kinds, RealPackets, testing::Values("legacy", "nft"),
                         [](const auto& kind) { return kind.param; });

// DNS and new TCP connections to two queues; SSH is exempted by a mark.
const std::string kSetup = R"(
config nfnlq 'nfnlq'
  option queue_first '0'
  option queue_last '1'
  list pre_targets 'IF'
  list pre_targets '-4 -d 127.0.0.0/8'
  list pre_targets 'OR'
  list pre_targets '-6 -d ::1/128'
  list pre_targets 'OR'
  list pre_targets '-p tcp -m tcp --dport 22'
  list pre_targets 'THEN'
  list pre_targets '-j MARK --set-xmark 0x10000/0x10000'
  list pre_targets 'FI'
  list matches 'NOT -m mark --mark 0x10000/0x10000'
  list matches 'AND'
  list matches '('
  list matches '-p udp -m udp --dport 53'
  list matches 'OR'
  list matches '-p tcp -m tcp --dport 53'
  list matches 'OR'
  list matches '-p tcp -m conntrack --ctstate NEW'
  list matches ')'
)";

const std::string kPeerScript = R"sh(
add_host peer 1

# Foreign rules that count what has arrived, in a hook after the one under test.
for family in iptables ip6tables; do
  $family -A INPUT -i to-peer -p udp
  $family -A INPUT -i to-peer -p tcp --syn
done
$program

# FROM ADDRESS PORT, where FROM is empty (the router itself) or 'at peer'. A refused connection is
# what a closed port answers with.
send_udp() { $1 bash -c "echo query > /dev/udp/$2/$3"; }
open_tcp() { ! $1 bash -c ": > /dev/tcp/$2/$3" 2> /dev/null; }
# FAMILY TABLE: each rule's number of packets and its text, without bytes.
counted() { $1-save -c -t $2 | sed -n 's/^\[\([0-9]*\):[0-9]*\]/\1/p'; }
# FAMILY UDP TCP: waits until that many have arrived.
arrived() {
  until [ "$(counted $1 filter | sed 's/ .*//' | xargs)" = "$2 $3" ]; do :; done
}
# FAMILY: the generated rules that packets have met, with the number of packets. Those of hook
# OUTPUT come first.
queued() { counted $1 mangle | sed -n -e 's/ -m comment --comment ipt_compiler//' -e '/^0 /d' \
  -e 's/ -A ipt_compiler_/ in chain /; /NFQUEUE\|MARK/p'; }
)sh";

const std::string kQueue = " -j NFQUEUE --queue-balance 0:1 --queue-bypass\n";

TEST_P(RealPackets, DnsAndNewConnectionsThatArriveAreQueued) {
  const std::string expected =
      "1 in chain 6 -p tcp -m conntrack --ctstate NEW" + kQueue + "3 in chain 7" + kQueue;
  expectOutput(kSetup, kPeerScript + R"sh(
for address in 10.9.1.1 fd00:9:1::1; do
  send_udp 'at peer' $address 53
  send_udp 'at peer' $address 53
  open_tcp 'at peer' $address 53
  open_tcp 'at peer' $address 80
done
for family in iptables ip6tables; do arrived $family 2 2; queued $family; done)sh",
               expected + expected);
}

TEST_P(RealPackets, DnsAndNewConnectionsOfTheRouterItselfAreQueued) {
  const std::string expected =
      "1 in chain 2 -p tcp -m conntrack --ctstate NEW" + kQueue + "1 in chain 3" + kQueue;
  expectOutput(kSetup, kPeerScript + R"sh(
for address in 10.9.1.2 fd00:9:1::2; do
  send_udp '' $address 53
  open_tcp '' $address 443
done
for family in iptables ip6tables; do queued $family; done)sh",
               expected + expected);
}

TEST_P(RealPackets, ExemptedAndOtherPacketsAreNotQueued) {
  const std::string expected =
      "1 in chain 4 -p tcp -m tcp --dport 22 -j MARK --set-xmark 0x10000/0x10000\n";
  expectOutput(kSetup, kPeerScript + R"sh(
for address in 10.9.1.1 fd00:9:1::1; do
  open_tcp 'at peer' $address 22
  send_udp 'at peer' $address 54
  send_udp 'at peer' $address 5353
done
for family in iptables ip6tables; do arrived $family 2 1; queued $family; done)sh",
               expected + expected);
}

}  // namespace
}  // namespace product_test
