// Every target with each of its options: good, negated, with bad arguments, and out of place.
#include <gtest/gtest.h>

#include "tests/unit/file_tables/option_rows.h"

namespace file_tables {
namespace {

TEST(TargetOptions, OfMarksAreChecked) {
  expectOutcomes(
      Family::Ipv4, "filter", "INPUT", "-j MARK",
      {{"--set-mark 0x20/0x20", kAccepted},
       {"--set-xmark 1/1", kAccepted},
       {"--and-mark 1", kAccepted},
       {"--or-mark 1", kAccepted},
       {"--xor-mark 1", kAccepted},
       {"--set-mark x", "MARK: bad value for option \"--set-mark\": `x'"},
       {"! --set-mark 1", "MARK: option \"--set-mark\" cannot be inverted."},
       {"--set-mark 1 --or-mark 1",
        R"(MARK: option "--or-mark" cannot be used together with "--set-mark".)"},
       {"--and-mark 1/1", "MARK: bad value for option \"--and-mark\": `1/1'"},
       {"", "MARK: One of the --set-xmark, --{and,or,xor,set}-mark options is required"}});
  expectOutcomes(
      Family::Ipv4, "filter", "INPUT", "-j CONNMARK",
      {{"--save-mark", kAccepted},
       {"--restore-mark --mask 0xff", kAccepted},
       {"--set-mark 1/1", kAccepted},
       {"--set-xmark 1", kAccepted},
       {"--and-mark 1", kAccepted},
       {"--or-mark 1", kAccepted},
       {"--xor-mark 1", kAccepted},
       {"--save-mark --nfmask 1 --ctmask 2", kAccepted},
       {"--save-mark --mask 1 --nfmask 1",
        R"(CONNMARK: option "--nfmask" cannot be used together with "--mask".)"},
       {"--save-mark --mask 1 --ctmask 1",
        R"(CONNMARK: option "--ctmask" cannot be used together with "--mask".)"},
       {"--save-mark --restore-mark",
        R"(CONNMARK: option "--restore-mark" cannot be used together with "--save-mark".)"},
       {"--mask 1", "CONNMARK target: No operation specified"},
       {"--set-mark x", "CONNMARK: bad value for option \"--set-mark\": `x'"},
       {"", "CONNMARK target: No operation specified"}});
}

TEST(TargetOptions, OfQueuesAreChecked) {
  expectOutcomes(
      Family::Ipv4, "filter", "INPUT", "-j NFQUEUE",
      {{"", kAccepted},
       {"--queue-num 65535", kAccepted},
       {"--queue-bypass --queue-num 2", kAccepted},
       {"--queue-bypass --queue-balance 0:3", kAccepted},
       {"--queue-balance 0:3 --queue-cpu-fanout", kAccepted},
       {"--queue-num 65536", "NFQUEUE: bad value for option \"--queue-num\": `65536'"},
       {"--queue-num x", "NFQUEUE: bad value for option \"--queue-num\": `x'"},
       {"--queue-num \"\"", "NFQUEUE: bad value for option \"--queue-num\": `'"},
       {"--queue-balance 3:3", "NFQUEUE: bad value for option \"--queue-balance\": `3:3'"},
       {"--queue-balance 5:05", "NFQUEUE: bad value for option \"--queue-balance\": `5:05'"},
       {"--queue-balance 3:2", "NFQUEUE: bad value for option \"--queue-balance\": `3:2'"},
       {"--queue-balance 3", "NFQUEUE: bad value for option \"--queue-balance\": `3'"},
       {"--queue-balance 0:65535", kKernelRefuses},
       {"--queue-balance 0:65534", kAccepted},
       {"--queue-num 2 --queue-balance 0:3",
        R"(NFQUEUE: option "--queue-balance" cannot be used together with "--queue-num".)"},
       {"--queue-cpu-fanout",
        R"(NFQUEUE: option "--queue-cpu-fanout" also requires "--queue-balance".)"},
       {"! --queue-num 2", "NFQUEUE: option \"--queue-num\" cannot be inverted."}});
}

TEST(TargetOptions, OfSetsAreChecked) {
  expectOutcomes(
      Family::Ipv4, "nat", "PREROUTING", "-j SET",
      {{"--add-set guests dst --exist", kAccepted},
       {"--add-set guests src --timeout 60", kAccepted},
       {"--del-set guests src,dst", kAccepted},
       {"--add-set guests", "option \"--add-set\" requires an argument"},
       {"--add-set guests to", "SET: bad value for option \"--add-set\": `to'"},
       {"--del-set guests src --exist", "Flag `--exist' can be used with `--add-set' only"},
       {"--del-set guests src --timeout 60",
        "Option `--timeout' can be used with `--add-set' only"},
       {"--exist", "You must specify either `--add-set' or `--del-set'"},
       {"--timeout x --add-set guests src", "SET: bad value for option \"--timeout\": `x'"},
       {"", "You must specify either `--add-set' or `--del-set'"}});
}

TEST(TargetOptions, OfRejectAreCheckedAndOnlyTheFilterTableHasIt) {
  expectOutcomes(
      Family::Ipv4, "filter", "FORWARD", "-j REJECT",
      {{"", kAccepted},
       {"--reject-with icmp-port-unreachable", kAccepted},
       {"--reject-with tcp-reset", kKernelRefuses},
       {"--reject-with icmp6-port-unreachable",
        "REJECT: bad value for option \"--reject-with\": `icmp6-port-unreachable'"},
       {"! --reject-with tcp-reset", "REJECT: option \"--reject-with\" cannot be inverted."},
       {"--reject-with", "option \"--reject-with\" requires an argument"}});
  expectOutcomes(Family::Ipv4, "filter", "INPUT", "-p tcp -j REJECT",
                 {{"--reject-with tcp-reset", kAccepted}});
  expectOutcomes(Family::Ipv4, "mangle", "INPUT", "-j REJECT", {{"", kKernelRefuses}});
  expectOutcomes(Family::Ipv6, "filter", "INPUT", "-j REJECT",
                 {{"--reject-with icmp6-port-unreachable", kAccepted},
                  {"--reject-with icmp-port-unreachable",
                   "REJECT: bad value for option \"--reject-with\": `icmp-port-unreachable'"}});
}

TEST(TargetOptions, OfAddressTranslationAreCheckedAndStayInTheirHooks) {
  expectOutcomes(Family::Ipv4, "nat", "PREROUTING", "-p tcp -j REDIRECT",
                 {{"--to-ports 8099", kAccepted},
                  {"--to-ports 1-2 --random", kAccepted},
                  {"--to-ports 2-1", "REDIRECT: bad value for option \"--to-ports\": `2-1'"},
                  {"--to-ports x", "REDIRECT: bad value for option \"--to-ports\": `x'"},
                  {"", kAccepted}});
  expectOutcomes(Family::Ipv4, "nat", "OUTPUT", "-j REDIRECT",
                 {{"", kAccepted},
                  {"--to-ports 8099", "Need TCP, UDP, SCTP or DCCP to give a port"},
                  {"--to-ports 8099 -p tcp", "Need TCP, UDP, SCTP or DCCP to give a port"}});
  expectOutcomes(Family::Ipv4, "nat", "POSTROUTING", "-j REDIRECT", {{"", kKernelRefuses}});
  expectOutcomes(Family::Ipv4, "nat", "INPUT", "-j REDIRECT", {{"", kKernelRefuses}});
  expectOutcomes(Family::Ipv4, "filter", "INPUT", "-j REDIRECT", {{"", kKernelRefuses}});
  expectOutcomes(Family::Ipv4, "nat", "PREROUTING", "-p tcp -j DNAT",
                 {{"--to-destination 10.0.0.1:80", kAccepted},
                  {"--to-destination 10.0.0.1-10.0.0.2:80-90 --random --persistent", kAccepted},
                  {"--to-destination x", "DNAT: bad value for option \"--to-destination\": `x'"},
                  {"", "DNAT: option \"--to-destination\" must be specified"}});
  expectOutcomes(Family::Ipv4, "nat", "PREROUTING", "-j DNAT",
                 {{"--to-destination 10.0.0.1:80", "Need TCP, UDP, SCTP or DCCP to give a port"},
                  {"--to-destination 10.0.0.1", kAccepted}});
  expectOutcomes(Family::Ipv4, "nat", "POSTROUTING", "-j DNAT",
                 {{"--to-destination 10.0.0.1", kKernelRefuses}});
  expectOutcomes(
      Family::Ipv6, "nat", "PREROUTING", "-p tcp -j DNAT",
      {{"--to-destination [fd00::1]:80", kAccepted}, {"--to-destination fd00::1", kAccepted}});
  expectOutcomes(Family::Ipv4, "nat", "POSTROUTING", "-j SNAT",
                 {{"--to-source 10.0.0.1 --random --random-fully --persistent", kAccepted},
                  {"--to-source 10.0.0.1:80", "Need TCP, UDP, SCTP or DCCP to give a port"},
                  {"--to-source x", "SNAT: bad value for option \"--to-source\": `x'"},
                  {"", "SNAT: option \"--to-source\" must be specified"}});
  expectOutcomes(Family::Ipv4, "nat", "OUTPUT", "-j SNAT",
                 {{"--to-source 10.0.0.1", kKernelRefuses}});
  expectOutcomes(Family::Ipv4, "nat", "POSTROUTING", "",
                 {{"-j MASQUERADE --random --random-fully", kAccepted},
                  {"-p udp -j MASQUERADE --to-ports 1-2", kAccepted},
                  {"-j MASQUERADE --to-ports 1", "Need TCP, UDP, SCTP or DCCP to give a port"}});
  expectOutcomes(Family::Ipv4, "nat", "PREROUTING", "-j MASQUERADE", {{"", kKernelRefuses}});
}

TEST(TargetOptions, OfPacketChangesAreChecked) {
  expectOutcomes(Family::Ipv4, "mangle", "FORWARD", "-p tcp --syn -j TCPMSS",
                 {{"--set-mss 1400", kAccepted},
                  {"--clamp-mss-to-pmtu", kAccepted},
                  {"--set-mss 65516", "TCPMSS: bad value for option \"--set-mss\": `65516'"},
                  {"", "TCPMSS target: At least one parameter is required"}});
  expectOutcomes(Family::Ipv4, "mangle", "PREROUTING", "-p tcp --syn -j TCPMSS",
                 {{"--clamp-mss-to-pmtu", kKernelRefuses}});
  expectOutcomes(Family::Ipv4, "mangle", "FORWARD", "",
                 {{"-p tcp -j TCPMSS --set-mss 1400", kKernelRefuses},
                  {"-p tcp --tcp-flags SYN,RST SYN -j TCPMSS --set-mss 1400", kAccepted},
                  {"-p tcp ! --syn -j TCPMSS --set-mss 1400", kKernelRefuses},
                  {"-j TCPMSS --set-mss 1400", kKernelRefuses}});
  expectOutcomes(Family::Ipv4, "mangle", "PREROUTING", "-p udp -j TPROXY",
                 {{"--on-port 1 --on-ip 10.0.0.1 --tproxy-mark 1/1", kAccepted},
                  {"", "TPROXY: option \"--on-port\" must be specified"}});
  expectOutcomes(Family::Ipv4, "mangle", "PREROUTING", "-j TPROXY",
                 {{"--on-port 1", kKernelRefuses}});
  expectOutcomes(Family::Ipv4, "mangle", "OUTPUT", "-p udp -j TPROXY",
                 {{"--on-port 1", kKernelRefuses}});
  expectOutcomes(Family::Ipv4, "mangle", "FORWARD", "-j DSCP",
                 {{"--set-dscp 10", kAccepted},
                  {"--set-dscp-class EF", kAccepted},
                  {"--set-dscp 64", "DSCP: bad value for option \"--set-dscp\": `64'"},
                  {"--set-dscp-class X", "DSCP: bad value for option \"--set-dscp-class\": `X'"},
                  {"--set-dscp 1 --set-dscp-class EF",
                   R"(DSCP: option "--set-dscp-class" cannot be used together with "--set-dscp".)"},
                  {"", "DSCP target: Parameter --set-dscp is required"}});
  expectOutcomes(Family::Ipv4, "filter", "INPUT", "-j DSCP", {{"--set-dscp 10", kKernelRefuses}});
  expectOutcomes(Family::Ipv4, "mangle", "FORWARD", "-j TTL",
                 {{"--ttl-set 64", kAccepted},
                  {"--ttl-inc 1", kAccepted},
                  {"--ttl-dec 1", kAccepted},
                  {"--ttl-inc 0", "TTL: bad value for option \"--ttl-inc\": `0'"},
                  {"--ttl-set 1 --ttl-inc 1",
                   R"(TTL: option "--ttl-inc" cannot be used together with "--ttl-set".)"},
                  {"", "TTL: You must specify an action"}});
  expectOutcomes(Family::Ipv4, "filter", "INPUT", "-j TTL", {{"--ttl-set 64", kKernelRefuses}});
  expectOutcomes(Family::Ipv6, "mangle", "FORWARD", "-j TTL",
                 {{"--ttl-set 64", "unknown option \"--ttl-set\""}});
  expectOutcomes(Family::Ipv6, "mangle", "FORWARD", "-j HL",
                 {{"--hl-set 64", kAccepted},
                  {"--hl-inc 1", kAccepted},
                  {"--hl-dec 1", kAccepted},
                  {"--hl-dec 0", "HL: bad value for option \"--hl-dec\": `0'"},
                  {"--hl-set 1 --hl-inc 1",
                   R"(HL: option "--hl-inc" cannot be used together with "--hl-set".)"},
                  {"", "HL: You must specify an action"}});
  expectOutcomes(Family::Ipv4, "mangle", "FORWARD", "-j HL",
                 {{"--hl-set 64", "unknown option \"--hl-set\""}});
}

TEST(TargetOptions, OfLogsAndTrackingAreChecked) {
  expectOutcomes(
      Family::Ipv4, "filter", "INPUT", "-j LOG",
      {{"", kAccepted},
       {"--log-prefix \"drop: \" --log-level warning", kAccepted},
       {"--log-level 8", "LOG: bad value for option \"--log-level\": `8'"},
       {"--log-level err", "LOG: bad value for option \"--log-level\": `err'"},
       {"--log-prefix \"\"", "LOG: bad value for option \"--log-prefix\": `'"},
       {"--log-tcp-sequence --log-tcp-options --log-ip-options --log-uid --log-macdecode",
        kAccepted}});
  expectOutcomes(
      Family::Ipv4, "filter", "INPUT", "-j NFLOG",
      {{"--nflog-group 1 --nflog-prefix x --nflog-range 5 --nflog-size 6 --nflog-threshold 7",
        kAccepted},
       {"--nflog-group 65536", "NFLOG: bad value for option \"--nflog-group\": `65536'"}});
  expectOutcomes(Family::Ipv4, "raw", "PREROUTING", "-j CT",
                 {{"--notrack", kAccepted},
                  {"--zone 1", kAccepted},
                  {"--zone 65536", "CT: bad value for option \"--zone\": `65536'"}});
  expectOutcomes(
      Family::Ipv4, "raw", "OUTPUT", "",
      {{"-j CT --helper ftp", kKernelRefuses}, {"-p tcp -j CT --helper ftp", kAccepted}});
  expectOutcomes(Family::Ipv4, "filter", "INPUT", "-j CT", {{"--notrack", kKernelRefuses}});
  expectOutcomes(Family::Ipv4, "raw", "OUTPUT", "",
                 {{"-j NOTRACK", kAccepted}, {"-j TRACE", kAccepted}});
  expectOutcomes(Family::Ipv4, "filter", "INPUT", "",
                 {{"-j NOTRACK", kKernelRefuses}, {"-j TRACE", kKernelRefuses}});
}

}  // namespace
}  // namespace file_tables
