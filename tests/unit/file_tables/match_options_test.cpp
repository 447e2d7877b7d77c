// Every match with each of its options: good, negated, and with bad arguments.
#include <gtest/gtest.h>

#include "tests/unit/file_tables/option_rows.h"

namespace file_tables {
namespace {

TEST(MatchOptions, OfPortsAndMessageTypesAreChecked) {
  expectOutcomes(
      Family::Ipv4, "filter", "INPUT", "-p tcp -m tcp",
      {{"--sport 53", kAccepted},
       {"--source-port 1:2", kAccepted},
       {"! --dport 53", kAccepted},
       {"--destination-port :80", kAccepted},
       {"--dport 65536", "tcp: bad value for option \"--destination-port\": `65536'"},
       {"--dport 2:1", "tcp: bad value for option \"--destination-port\": `2:1'"},
       {"--dport", "option \"--dport\" requires an argument"},
       {"--dport 1 --dport 2", "tcp: option \"--destination-port\" can only be used once."},
       {"--dport 1 --destination-port 2",
        "tcp: option \"--destination-port\" can only be used once."},
       {"! --tcp-flags SYN,ACK SYN", kAccepted},
       {"--tcp-flags SYN", "option \"--tcp-flags\" requires an argument"},
       {"--tcp-flags SIN SYN", "tcp: bad value for option \"--tcp-flags\": `SIN'"},
       {"--syn", kAccepted},
       {"! --syn", kAccepted},
       {"--syn --tcp-flags SYN SYN",
        R"(tcp: option "--syn" cannot be used together with "--tcp-flags".)"},
       {"--tcp-option 2", kAccepted},
       {"! --tcp-option 2", kAccepted},
       {"--tcp-option 0", "tcp: bad value for option \"--tcp-option\": `0'"}});
  expectOutcomes(Family::Ipv4, "filter", "INPUT", "",
                 {{"-m tcp --dport 1", kKernelRefuses},
                  {"-p udp -m tcp --dport 1", kKernelRefuses},
                  {"! -p tcp -m tcp --dport 1", kKernelRefuses}});
  expectOutcomes(Family::Ipv4, "filter", "INPUT", "-p udp -m udp",
                 {{"--sport 53", kAccepted},
                  {"! --dport 53", kAccepted},
                  {"--dport x", "udp: bad value for option \"--destination-port\": `x'"},
                  {"--syn", "unknown option \"--syn\""}});
  expectOutcomes(Family::Ipv4, "filter", "INPUT", "",
                 {{"-m udp --dport 1", kKernelRefuses},
                  {"-p sctp -m sctp --dport 1", kAccepted},
                  {"-m sctp --dport 1", kKernelRefuses},
                  {"-p dccp -m dccp ! --sport 1", kAccepted},
                  {"-p tcp -m dccp --dport 1", kKernelRefuses}});
  expectOutcomes(Family::Ipv4, "filter", "INPUT", "-p icmp -m icmp",
                 {{"--icmp-type echo-request", kAccepted},
                  {"! --icmp-type 8/0", kAccepted},
                  {"--icmp-type 256", "icmp: bad value for option \"--icmp-type\": `256'"},
                  {"--icmp-type echo", "icmp: bad value for option \"--icmp-type\": `echo'"},
                  {"", "icmp: option \"--icmp-type\" must be specified"}});
  expectOutcomes(Family::Ipv4, "filter", "INPUT", "", {{"-m icmp --icmp-type 8", kKernelRefuses}});
  expectOutcomes(Family::Ipv4, "filter", "INPUT", "-p icmpv6 -m icmp6",
                 {{"--icmpv6-type 128", "Couldn't load match `icmp6':No such file or directory"}});
  expectOutcomes(Family::Ipv6, "filter", "INPUT", "-p icmp -m icmp",
                 {{"--icmp-type 8", "Couldn't load match `icmp':No such file or directory"}});
  expectOutcomes(Family::Ipv6, "filter", "INPUT", "-p icmpv6 -m icmp6",
                 {{"--icmpv6-type echo-request", kAccepted},
                  {"! --icmpv6-type 135", kAccepted},
                  {"--icmpv6-type 1/256", "icmp6: bad value for option \"--icmpv6-type\": `1/256'"},
                  {"", "icmp6: option \"--icmpv6-type\" must be specified"}});
  expectOutcomes(Family::Ipv6, "filter", "INPUT", "",
                 {{"-m icmp6 --icmpv6-type 8", kKernelRefuses}});
  expectOutcomes(
      Family::Ipv4, "filter", "INPUT", "-p tcp -m multiport",
      {{"--ports 1024:65535", kAccepted},
       {"! --ports 1024:65535", kAccepted},
       {"--sports 1,2:3", kAccepted},
       {"! --sports 1", kAccepted},
       {"--dports http,443", kAccepted},
       {"! --destination-ports 80", kAccepted},
       {"--dports 1,2,3,4,5,6,7,8,9,10,11,12,13,14,15,16",
        "multiport: bad value for option \"--destination-ports\": "
        "`1,2,3,4,5,6,7,8,9,10,11,12,13,14,15,16'"},
       {"--dports 2:1", "multiport: bad value for option \"--destination-ports\": `2:1'"},
       {"--dports 1 --sports 2",
        "multiport: option \"--destination-ports\" cannot be used together with "
        "\"--source-ports\"."},
       {"", "multiport expects an option"}});
  expectOutcomes(Family::Ipv4, "filter", "INPUT", "",
                 {{"-m multiport --ports 1",
                   "multiport needs `-p tcp', `-p udp', `-p udplite', `-p sctp' or `-p dccp'"},
                  {"! -p tcp -m multiport --ports 1",
                   "multiport needs `-p tcp', `-p udp', `-p udplite', `-p sctp' or `-p dccp'"}});
}

TEST(MatchOptions, OfSetsAreChecked) {
  expectOutcomes(
      Family::Ipv4, "filter", "INPUT", "-m set",
      {{"--match-set guests src", kAccepted},
       {"! --match-set guests src,dst", kAccepted},
       {"--set guests src", kAccepted},
       {"--match-set guests", "option \"--match-set\" requires an argument"},
       {"--match-set guests to", "set: bad value for option \"--match-set\": `to'"},
       {"--match-set aaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaa src",
        "set: bad value for option \"--match-set\": `aaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaa'"},
       {"--match-set a src --return-nomatch", kAccepted},
       {"--match-set a src ! --return-nomatch",
        "set: option \"--return-nomatch\" cannot be inverted."},
       {"--match-set a src ! --update-counters", kAccepted},
       {"--match-set a src ! --update-subcounters", kAccepted},
       {"--match-set a src ! --packets-eq 3", kAccepted},
       {"--match-set a src --packets-lt 3", kAccepted},
       {"--match-set a src --packets-lt x", "set: bad value for option \"--packets-lt\": `x'"},
       {"--match-set a src --packets-gt 3 --packets-lt 4",
        R"(set: option "--packets-gt" cannot be used together with "--packets-lt".)"},
       {"--match-set a src ! --bytes-eq 3", kAccepted},
       {"--match-set a src --bytes-lt 3", kAccepted},
       {"--match-set a src --bytes-gt -3", "set: bad value for option \"--bytes-gt\": `-3'"},
       {"", "set: option \"--match-set\" must be specified"}});
}

TEST(MatchOptions, OfConnectionsAreChecked) {
  expectOutcomes(Family::Ipv4, "filter", "INPUT", "-m connmark",
                 {{"--mark 0x1/0x1", kAccepted},
                  {"! --mark 5", kAccepted},
                  {"--mark x", "connmark: bad value for option \"--mark\": `x'"},
                  {"", "connmark: option \"--mark\" must be specified"}});
  expectOutcomes(Family::Ipv4, "filter", "INPUT", "-m connbytes",
                 {{"--connbytes 3 --connbytes-dir both --connbytes-mode packets", kAccepted},
                  {"! --connbytes 3: --connbytes-dir original --connbytes-mode bytes", kAccepted},
                  {"--connbytes :3 --connbytes-dir reply --connbytes-mode avgpkt", kAccepted},
                  {"--connbytes 5:3 --connbytes-dir both --connbytes-mode packets",
                   "connbytes: bad value for option \"--connbytes\": `5:3'"},
                  {"--connbytes 3 --connbytes-dir all --connbytes-mode packets",
                   "connbytes: bad value for option \"--connbytes-dir\": `all'"},
                  {"--connbytes 3 --connbytes-dir both --connbytes-mode frames",
                   "connbytes: bad value for option \"--connbytes-mode\": `frames'"},
                  {"--connbytes 3 ! --connbytes-dir both --connbytes-mode packets",
                   "connbytes: option \"--connbytes-dir\" cannot be inverted."},
                  {"--connbytes 3 --connbytes-dir both ! --connbytes-mode packets",
                   "connbytes: option \"--connbytes-mode\" cannot be inverted."},
                  {"--connbytes-dir both --connbytes-mode packets",
                   "connbytes: option \"--connbytes\" must be specified"},
                  {"--connbytes 3 --connbytes-mode packets",
                   "connbytes: option \"--connbytes-dir\" must be specified"},
                  {"--connbytes 3 --connbytes-dir both",
                   "connbytes: option \"--connbytes-mode\" must be specified"}});
  expectOutcomes(
      Family::Ipv4, "filter", "INPUT", "-m conntrack",
      {{"--ctstate RELATED,ESTABLISHED", kAccepted},
       {"! --ctstate INVALID", kAccepted},
       {"--ctstate OLD", "conntrack: bad value for option \"--ctstate\": `OLD'"},
       {"--ctproto tcp", kAccepted},
       {"! --ctproto 17", kAccepted},
       {"--ctproto x", "conntrack: bad value for option \"--ctproto\": `x'"},
       {"--ctorigsrc 10.0.0.0/8", kAccepted},
       {"! --ctorigdst 10.0.0.1", kAccepted},
       {"--ctreplsrc fd00::1", "conntrack: bad value for option \"--ctreplsrc\": `fd00::1'"},
       {"! --ctrepldst 10.0.0.1", kAccepted},
       {"--ctorigsrcport 1:2", kAccepted},
       {"! --ctorigdstport 1", kAccepted},
       {"--ctreplsrcport x", "conntrack: bad value for option \"--ctreplsrcport\": `x'"},
       {"! --ctrepldstport 1", kAccepted},
       {"--ctstatus ASSURED", kAccepted},
       {"! --ctstatus NONE", kAccepted},
       {"--ctstatus BAD", "conntrack: bad value for option \"--ctstatus\": `BAD'"},
       {"--ctexpire 10:20", kAccepted},
       {"! --ctexpire 1", kAccepted},
       {"--ctexpire x", "conntrack: bad value for option \"--ctexpire\": `x'"},
       {"--ctdir ORIGINAL", kAccepted},
       {"! --ctdir REPLY", "conntrack: option \"--ctdir\" cannot be inverted."},
       {"--ctdir BOTH", "conntrack: bad value for option \"--ctdir\": `BOTH'"},
       {"", "conntrack: At least one option is required"}});
  expectOutcomes(Family::Ipv4, "filter", "INPUT", "-m state",
                 {{"--state NEW", kAccepted},
                  {"! --state NEW,RELATED", kAccepted},
                  {"--state OLD", "state: bad value for option \"--state\": `OLD'"},
                  {"", "state: option \"--state\" must be specified"}});
  expectOutcomes(Family::Ipv4, "filter", "INPUT", "-m helper",
                 {{"--helper ftp", kAccepted},
                  {"! --helper ftp", kAccepted},
                  {"", "helper: option \"--helper\" must be specified"}});
}

TEST(MatchOptions, OfThePlatformsOwnMatchesAreChecked) {
  expectOutcomes(
      Family::Ipv4, "filter", "INPUT", "-m tavrix-connlabel",
      {{"--label 7", kAccepted},
       {"! --label 7", kAccepted},
       {"--set --label 7", kAccepted},
       {"--set --mark 0x1 --label 7", kAccepted},
       {"--mark 0x1 --label 7", kAccepted},
       {"--mark x --label 7", "tavrix-connlabel: bad value for option \"--mark\": `x'"},
       {"--label 7 ! --mark 1", "tavrix-connlabel: option \"--mark\" cannot be inverted."},
       {"! --set --label 7", "tavrix-connlabel: option \"--set\" cannot be inverted."},
       {"--set ! --label 7",
        R"(tavrix-connlabel: option "--set" cannot be used together with "! --label".)"},
       {"--set", "tavrix-connlabel: option \"--label\" must be specified"},
       {"--label \"\"", "tavrix-connlabel: bad value for option \"--label\": `'"},
       {"--label 7 --stat-node 1", "unknown option \"--stat-node\""},
       {"--label 7 --label 8", "tavrix-connlabel: option \"--label\" can only be used once."},
       {"", "tavrix-connlabel: option \"--label\" must be specified"}});
  expectOutcomes(
      Family::Ipv4, "filter", "INPUT", "-m tavrix-connstat",
      {{"--set --stat-node 7", kAccepted},
       {"--stat-node 7", "tavrix-connstat: option \"--set\" must be specified"},
       {"--set", "tavrix-connstat: option \"--stat-node\" must be specified"},
       {"! --set --stat-node 7", "tavrix-connstat: option \"--set\" cannot be inverted."},
       {"--set ! --stat-node 7", "tavrix-connstat: option \"--stat-node\" cannot be inverted."},
       {"--set --stat-node", "option \"--stat-node\" requires an argument"},
       {"", "tavrix-connstat: option \"--set\" must be specified"}});
  expectOutcomes(
      Family::Ipv4, "filter", "INPUT", "-m tavrix-conndurvan",
      {{"--mark", kAccepted},
       {"--class 7", kAccepted},
       {"--invert --subclass 7", kAccepted},
       {"--subclass 7 --invert", kAccepted},
       {"--subclass 7", kAccepted},
       {"--class 7 --invert", kAccepted},
       {"! --class 7", "tavrix-conndurvan: option \"--class\" cannot be inverted."},
       {"! --subclass 7", "tavrix-conndurvan: option \"--subclass\" cannot be inverted."},
       {"! --mark", "tavrix-conndurvan: option \"--mark\" cannot be inverted."},
       {"! --invert --class 7", "tavrix-conndurvan: option \"--invert\" cannot be inverted."},
       {"--class 7 --subclass 8",
        R"(tavrix-conndurvan: option "--subclass" cannot be used together with "--class".)"},
       {"--mark --invert",
        R"(tavrix-conndurvan: option "--invert" cannot be used together with "--mark".)"},
       {"--invert", "tavrix-conndurvan: one of --mark, --class or --subclass is required"},
       {"--class", "option \"--class\" requires an argument"},
       {"", "tavrix-conndurvan: one of --mark, --class or --subclass is required"}});
  expectOutcomes(Family::Ipv4, "filter", "INPUT", "-m tavrix-xtcounter",
                 {{"--inc 7", kAccepted},
                  {"! --inc 7", "tavrix-xtcounter: option \"--inc\" cannot be inverted."},
                  {"--inc", "option \"--inc\" requires an argument"},
                  {"--inc 7 --inc 8", "tavrix-xtcounter: option \"--inc\" can only be used once."},
                  {"", "tavrix-xtcounter: option \"--inc\" must be specified"}});
  expectOutcomes(
      Family::Ipv4, "filter", "INPUT", "-m tavrix-xthostset",
      {{"--set-name ads", kAccepted},
       {"! --set-name ads", "tavrix-xthostset: option \"--set-name\" cannot be inverted."},
       {"--set-name", "option \"--set-name\" requires an argument"},
       {"--set-name a --set ads", "unknown option \"--set\""},
       {"", "tavrix-xthostset: option \"--set-name\" must be specified"}});
}

TEST(MatchOptions, OfPacketsAndAddressesAreChecked) {
  expectOutcomes(Family::Ipv4, "filter", "INPUT", "-m mark",
                 {{"--mark 0x1/0x1", kAccepted},
                  {"! --mark 5", kAccepted},
                  {"--mark 0x100000000", "mark: bad value for option \"--mark\": `0x100000000'"},
                  {"--mark 1/", "mark: bad value for option \"--mark\": `1/'"},
                  {"", "mark: option \"--mark\" must be specified"}});
  expectOutcomes(
      Family::Ipv4, "filter", "INPUT", "-m comment",
      {{"--comment ipt_compiler", kAccepted},
       {"--comment \"two words\"", kAccepted},
       {"--comment \"\"", kAccepted},
       {"! --comment x", "comment: option \"--comment\" cannot be inverted."},
       {"--comment x --comment y", "comment: option \"--comment\" can only be used once."},
       {"", "comment: option \"--comment\" must be specified"}});
  expectOutcomes(Family::Ipv4, "filter", "INPUT", "-m mac",
                 {{"--mac-source 00:11:22:aa:BB:cc", kAccepted},
                  {"! --mac-source 0:1:2:3:4:5", kAccepted},
                  {"--mac-source 00:11:22:33:44",
                   "mac: bad value for option \"--mac-source\": `00:11:22:33:44'"},
                  {"--mac-source 00:11:22:33:44:5g",
                   "mac: bad value for option \"--mac-source\": `00:11:22:33:44:5g'"},
                  {"", "mac: option \"--mac-source\" must be specified"}});
  expectOutcomes(Family::Ipv4, "mangle", "PREROUTING", "-m mac",
                 {{"--mac-source 0:1:2:3:4:5", kAccepted}});
  expectOutcomes(Family::Ipv4, "mangle", "OUTPUT", "-m mac",
                 {{"--mac-source 0:1:2:3:4:5", kKernelRefuses}});
  expectOutcomes(Family::Ipv4, "filter", "INPUT", "-m addrtype",
                 {{"--dst-type LOCAL", kAccepted},
                  {"! --src-type UNICAST,BROADCAST", kAccepted},
                  {"--dst-type HERE", "addrtype: bad value for option \"--dst-type\": `HERE'"},
                  {"--dst-type LOCAL --limit-iface-in", kAccepted},
                  {"--dst-type LOCAL --limit-iface-in --limit-iface-out",
                   "addrtype: option \"--limit-iface-out\" cannot be used together with "
                   "\"--limit-iface-in\"."},
                  {"--limit-iface-in", "addrtype: you must specify --src-type or --dst-type"},
                  {"--dst-type LOCAL --limit-iface-out", kKernelRefuses}});
  expectOutcomes(Family::Ipv4, "filter", "INPUT", "-m iprange",
                 {{"--src-range 10.0.0.1-10.0.0.9", kAccepted},
                  {"! --dst-range 10.0.0.1-10.0.0.9", kAccepted},
                  {"--src-range x-y", "iprange: bad value for option \"--src-range\": `x-y'"},
                  {"", "iprange match: You must specify `--src-range' or `--dst-range'"}});
  expectOutcomes(Family::Ipv4, "filter", "INPUT", "-m physdev",
                 {{"--physdev-in eth0", kAccepted},
                  {"! --physdev-in eth0", kAccepted},
                  {"--physdev-out eth0", kAccepted},
                  {"! --physdev-out eth0", kAccepted},
                  {"--physdev-in aaaaaaaaaaaaaaaa",
                   "physdev: bad value for option \"--physdev-in\": `aaaaaaaaaaaaaaaa'"},
                  {"! --physdev-is-in", kAccepted},
                  {"! --physdev-is-out", kAccepted},
                  {"! --physdev-is-bridged", kAccepted},
                  {"", "PHYSDEV: no physdev option specified"}});
  expectOutcomes(Family::Ipv4, "filter", "INPUT", "-m pkttype",
                 {{"--pkt-type broadcast", kAccepted},
                  {"! --pkt-type unicast", kAccepted},
                  {"--pkt-type other", "pkttype: bad value for option \"--pkt-type\": `other'"},
                  {"", "pkttype: option \"--pkt-type\" must be specified"}});
  expectOutcomes(
      Family::Ipv4, "filter", "INPUT", "-m limit",
      {{"--limit 3/second", kAccepted},
       {"--limit 20/minute --limit-burst 10", kAccepted},
       {"! --limit 3/second", "limit: option \"--limit\" cannot be inverted."},
       {"--limit 10001/second", "limit: bad value for option \"--limit\": `10001/second'"},
       {"--limit 3/week", "limit: bad value for option \"--limit\": `3/week'"},
       {"--limit-burst 10001", "limit: bad value for option \"--limit-burst\": `10001'"},
       {"--limit-burst 0", kKernelRefuses},
       {"--limit 1/day", kKernelRefuses},
       {"", kAccepted}});
  expectOutcomes(Family::Ipv4, "filter", "INPUT", "-m length",
                 {{"--length 100:200", kAccepted},
                  {"! --length 100", kAccepted},
                  {"--length 65536", "length: bad value for option \"--length\": `65536'"},
                  {"", "length: option \"--length\" must be specified"}});
  expectOutcomes(Family::Ipv4, "filter", "INPUT", "-m dscp",
                 {{"--dscp 10", kAccepted},
                  {"! --dscp 10", kAccepted},
                  {"--dscp 64", "dscp: bad value for option \"--dscp\": `64'"},
                  {"--dscp-class EF", kAccepted},
                  {"! --dscp-class EF", kAccepted},
                  {"--dscp-class XX", "dscp: bad value for option \"--dscp-class\": `XX'"},
                  {"--dscp 1 --dscp-class EF",
                   R"(dscp: option "--dscp-class" cannot be used together with "--dscp".)"},
                  {"", "DSCP match: Parameter --dscp is required"}});
  expectOutcomes(
      Family::Ipv4, "filter", "OUTPUT", "-m owner",
      {{"--uid-owner 0", kAccepted},
       {"! --gid-owner 0-5", kAccepted},
       {"--uid-owner x", "owner: bad value for option \"--uid-owner\": `x'"},
       {"! --socket-exists", kAccepted},
       {"", "owner: At least one of --uid-owner, --gid-owner or --socket-exists is required"}});
  expectOutcomes(Family::Ipv4, "filter", "INPUT", "-m owner", {{"--uid-owner 0", kKernelRefuses}});
  expectOutcomes(
      Family::Ipv4, "filter", "INPUT", "-m statistic",
      {{"--mode random --probability 0.5", kAccepted},
       {"--mode random ! --probability 0.5", kAccepted},
       {"--mode random --probability 2", "statistic: bad value for option \"--probability\": `2'"},
       {"--mode random", "--probability must be specified when using random mode"},
       {"--mode nth --every 3 --packet 2", kAccepted},
       {"--mode nth ! --every 3 --packet 0", kAccepted},
       {"--mode nth --every 3 --packet 3", "the --packet p must be 0 <= p <= n-1"},
       {"--mode nth --every 0 --packet 0", "statistic: bad value for option \"--every\": `0'"},
       {"--mode nth --every 3", "--every and --packet must be specified when using nth mode"},
       {"--mode each", "statistic: bad value for option \"--mode\": `each'"},
       {"", "statistic: option \"--mode\" must be specified"}});
}

}  // namespace
}  // namespace file_tables
