// Real TCP connections through the router and to it, under access control: redirected to the local
// service, reset, or let through. On a machine without the platform's modules their matches always
// hold: every connection is one of every listed user, and has the mark bit. The sets are real.
#include "tests/router/product_run.h"

namespace product_test {
namespace {

// Two hosts beside the router. Port 80 answers on server and router, port 8099 on the router.
const std::string kNetwork = R"sh(
# PORT GREETING [COMMAND...]: has a listener started by COMMAND. It greets every connection with a
# line and answers each line with itself.
listen() {
  port=$1
  greeting=$2
  shift 2
  "$@" env GREETING="$greeting" \
    socat TCP6-LISTEN:$port,ipv6only=0,fork 'SYSTEM:echo $GREETING; exec cat' &
  until "$@" ss -Hltn "sport = :$port" | grep -q .; do :; done
}
# ADDRESS PORT: what the client hears there: the greeting, then the answers to the lines of standard
# input, or its failure. Of a refusal socat also says that there was no more to learn about it.
converse() {
  case $1 in
    *:*) peer=TCP6:[$1]:$2 ;;
    *) peer=TCP4:$1:$2 ;;
  esac
  at client socat -d -t 60 - $peer 2>&1 | sed -u -e '/ W recvmsg/d' -e 's/.* socat\[.*: //'
}
# PORT ADDRESS...: the greetings.
ask() {
  port=$1
  shift
  for address; do converse $address $port < /dev/null; done
}
# FAMILY TABLE: the generated rules that are no jumps, and whether packets have met them. Hosts send
# some packets by themselves, but none of TCP.
met() {
  $1-save -c -t $2 | sed -n -e '/ipt_compiler/!d' -e '/-[jg] ipt_compiler/d' \
    -e 's/ -m comment --comment ipt_compiler//' \
    -e 's/^\[0:0\] -A [^ ]*/not met:/p; s/^\[[^]]*\] -A [^ ]*/met:/p'
}
configure() { cp /tmp/household $TESTBED_CONFIG_DIR/firewall_cpp; $program; }
configure_nothing() { : > $TESTBED_CONFIG_DIR/firewall_cpp; $program; }

cp $TESTBED_CONFIG_DIR/firewall_cpp /tmp/household
echo 1 > /proc/sys/net/ipv4/ip_forward
echo 1 > /proc/sys/net/ipv6/conf/all/forwarding
add_host client 1
add_host server 2
listen 80 "router's page"
listen 8099 "blocked, says the router"
listen 80 "server's page" at server
router='10.9.1.1 fd00:9:1::1'
server='10.9.2.2 fd00:9:2::2'
other_server='10.9.2.3 fd00:9:2::3'
)sh";

class Connections : public ProductTest {
 protected:
  static void expectTalk(const std::string& userOptions, const std::string& script,
                         const std::string& expected) {
    expectOutput("config kovsel 'kovsel'\n" + userOptions, kNetwork + script, expected);
  }
};
INSTANTIATE_TEST_SUITE_P(Kinds, Connections, testing::Values("legacy", "nft"),
                         [](const auto& kind) { return kind.param; });

// One line for each family.
std::string twice(const std::string& line) {
  return line + "\n" + line + "\n";
}

const std::string kRejectedUser =
    "  list user_list '7'\n  option label_user7 '7'\n  option reject_user7 '1'\n";

TEST_P(Connections, OfARejectedUserAreAnsweredByTheLocalService) {
  const std::string open = twice("router's page") + twice("server's page");
  const std::string blocked = twice("blocked, says the router");
  expectTalk(kRejectedUser, R"sh(
ask 80 $router $server
configure
echo rejected:
ask 80 $router $server
ask 8099 $router
met iptables nat
met ip6tables nat
sed -i /user_list/d /tmp/household
configure
echo not listed:
ask 80 $router $server)sh",
             open + "rejected:\n" + blocked + blocked + blocked +
                 twice("met: -p tcp -m tavrix-connlabel --label 7 -j REDIRECT --to-ports 8099") +
                 "not listed:\n" + open);
}

// They have passed the nat table already, so the filter table must end them.
TEST_P(Connections, OfARejectedUserThatAreUnderWayAreReset) {
  const std::string reset = "met: -p tcp -j REJECT --reject-with tcp-reset";
  expectTalk(kRejectedUser, R"sh(
for family in iptables ip6tables; do
  # A connection counts as under way when the kernel has followed it from its start.
  $family -A INPUT -m conntrack --ctstate ESTABLISHED
  $family -A FORWARD -m conntrack --ctstate ESTABLISHED
done
mkfifo /run/say /run/hear
# FAMILY ADDRESS PORT: greeted without the rules; then, with the rules, the answer to one more line.
talk() {
  configure_nothing
  converse $2 $3 < /run/say > /run/hear &
  exec 3> /run/say 4< /run/hear
  read greeting <&4
  configure
  echo "and more" >&3
  read answer <&4
  exec 3>&- 4<&-
  echo "$greeting; $answer"
  met $1 filter | grep -e '^met: -p tcp'
}
talk iptables 10.9.1.1 80
talk ip6tables fd00:9:1::1 80
talk iptables 10.9.2.2 80
talk ip6tables fd00:9:2::2 80
talk iptables 10.9.1.1 8099
talk ip6tables fd00:9:1::1 8099)sh",
             twice("router's page; Connection reset by peer\n" + reset) +
                 twice("server's page; Connection reset by peer\n" + reset) +
                 twice("blocked, says the router; and more\n"
                       "met: -p tcp -m tcp --dport 8099 -j RETURN"));
}

// No redirection here: new connections reach the filter table, which rejects those with the mark
// bit.
TEST_P(Connections, WithTheMarkBitAreReset) {
  const std::string reject = "met: -p tcp -j REJECT --reject-with tcp-reset";
  expectTalk("  list user_list '1'\n  option label_user1 '1'\n", R"sh(
configure
ask 80 $router $server
ask 8099 $router
for family in iptables ip6tables; do met $family filter | grep -e ': -p tcp'; done)sh",
             twice("Connection refused") + twice("Connection refused") +
                 twice("blocked, says the router") +
                 // The rules of INPUT, then the one of FORWARD.
                 twice("met: -p tcp -m tcp --dport 8099 -j RETURN\n" + reject + "\n" + reject));
}

TEST_P(Connections, ToBlacklistedDestinationsAreAnsweredByTheLocalService) {
  const auto refreshed = [](const std::string& set) {
    return "met: -m conntrack --ctdir ORIGINAL -j SET --add-set " + set + " dst --exist\n" +
           "met: -p tcp -j REDIRECT --to-ports 8099\n";
  };
  expectTalk(
      "  list user_list '1'\n  option label_user1 '1'\n"
      "  option blacklist_v4_user1 'four'\n  option blacklist_v6_user1 'six'\n",
      R"sh(
ipset add four 10.9.2.2
ipset add six fd00:9:2::2
configure
ask 80 $server $other_server
for family in iptables ip6tables; do met $family nat | grep ^met; done)sh",
      twice("blocked, says the router") + twice("Connection refused") + refreshed("four") +
          refreshed("six"));
}

TEST_P(Connections, WithABlockedWordPutTheirDestinationOnTheBlacklist) {
  // Only what is not TCP gets past the redirection.
  expectTalk(
      "  list user_list '1'\n  option label_user1 '1'\n  option keywords_user1 'words'\n"
      "  option blacklist_v4_user1 'four'\n  option blacklist_v6_user1 'six'\n",
      R"sh(
configure
for address in $server; do at client bash -c "echo question > /dev/udp/$address/5000"; done
until ipset test four 10.9.2.2 2> /dev/null && ipset test six fd00:9:2::2 2> /dev/null; do :; done
ipset save | grep ^add
ask 80 $server)sh",
      "add four 10.9.2.2\nadd six fd00:9:2::2\n" + twice("blocked, says the router"));
}

TEST_P(Connections, AreLabelledForTheUserOfTheirSource) {
  std::string expected = twice("blocked, says the router");
  // Without the mark bit at first, and with it from the third packet on: no label is remembered.
  for (int family = 0; family < 2; ++family) {
    expected +=
        "met: -m tavrix-connlabel --set --mark 0x1 --label 1\n"
        "met: -m tavrix-connlabel --set --label 1\n"
        "not met: -m tavrix-connlabel --set --mark 0x1 --label 2\n"
        "not met: -m tavrix-connlabel --set --label 2\n";
  }
  expectTalk(
      "  list user_list '1'\n  option label_user1 '1'\n  option mac_set_user1 'client_macs'\n"
      "  list user_list '2'\n  option label_user2 '2'\n  option mac_set_user2 'other_macs'\n"
      "  option reject_user1 '1'\n",
      R"sh(
# NAME MAC NUMBER: a host becomes a member, by its network where the kernel knows no MAC sets.
add_member() {
  if ipset add $1 $2 2> /dev/null; then return; fi
  ipset create $1-4 hash:net
  ipset add $1-4 10.9.$3.0/24
  ipset add $1 $1-4
  ipset create $1-6 hash:net family inet6
  ipset add $1-6 fd00:9:$3::/64
  ipset add $1 $1-6
}
add_member client_macs 02:00:00:00:01:02 1
add_member other_macs 02:00:00:00:09:02 9
configure
ask 80 $router
for family in iptables ip6tables; do met $family mangle; done)sh",
      expected);
}

}  // namespace
}  // namespace product_test
