// Rules with matches and targets: each option with good values, negated, and with bad values, and
// the tables and hooks where the kernel allows the extension.
#include "tests/unit/file_tables/option_group.h"
#include "tests/unit/file_tables/restore_cases.h"

namespace file_tables {
namespace {

const std::vector<OptionGroup> kMatchGroups{
    {"filter", "INPUT", "-p tcp -m tcp",
     "--dport 0 | --dport 65535 | --dport 65536 | --dport -1 | --dport 1: | --dport :1 | "
     "--dport : | --dport 1:2:3 | --dport 2:1 | --dport 0x50 | --dport 010 | --dport '' | "
     "--dport \"\" | ! --dport 80 | --dport domain | --sport 1 --dport 2 | --sport 1 "
     "--source-port 2 | --dport 1 --dport 2 | --syn | ! --syn | --syn --tcp-flags SYN SYN "
     "| --tcp-flags SYN,ACK SYN | --tcp-flags SYN | --tcp-flags FOO SYN | --tcp-flags ALL "
     "NONE | --tcp-flags syn,ack syn | ! --tcp-flags ALL SYN | --tcp-option 2 | "
     "--tcp-option 0 | --tcp-option 256 | ! --tcp-option 2 | --tcp-flags SYN, SYN | "
     "--dpor 80 | --d 80 | --source-p 1 | --dport 1,2 | --tcp-flags ,SYN SYN | "
     "--tcp-flags SYN NONE | --tcp-flags SY SYN"},
    {"filter", "INPUT", "-p udp -m udp", "--dport 53 | ! --sport 53 | --dport 1:2 | --syn | "},
    {"filter", "INPUT", "-p udp", "--dport 53 | --syn | --dport 53 --sport 1"},
    {"filter", "INPUT", "",
     "-p icmp -m icmp | -p icmp -m icmp --icmp-type echo-request | -p icmp -m icmp "
     "--icmp-type 8/0 | -p icmp -m icmp --icmp-type 256 | -p icmp -m icmp ! --icmp-type "
     "any | -p icmp -m icmp --icmp-type foo | -p icmpv6 -m icmp6 --icmpv6-type 128 | -p "
     "icmpv6 -m icmp6 --icmpv6-type echo-request | -p icmpv6 -m icmp6 | -m icmp "
     "--icmp-type 8 | -p icmp -m icmp --icmp-type 8/256 | -p icmp -m icmp --icmp-type 8/ "
     "| -p icmp -m icmp --icmp-type Echo-Request | -p icmp -m icmp --icmp-type echo-req | "
     "-m multiport --ports 1 | -p icmp -m multiport --ports 1 | -p 17 -m multiport "
     "--ports 1 | -p udplite -m multiport --ports 1 | -p sctp -m multiport --ports 1 | -p "
     "33 -m multiport --ports 1 | -m multiport --ports 1 -p tcp | -m owner --uid-owner 0 "
     "| -m multiport -p tcp --ports 1"},
    {"filter", "INPUT", "-p tcp -m multiport",
     "--ports 1024:65535 | ! --ports 1024:65535 | --dports 1,2,3 | --sports 1,2:3 | "
     "--dports 1,2,3,4,5,6,7,8,9,10,11,12,13,14,15 | --dports "
     "1,2,3,4,5,6,7,8,9,10,11,12,13,14,15,16 | --dports "
     "1:2,3:4,5:6,7:8,9:10,11:12,13:14,15 | --dports "
     "1:2,3:4,5:6,7:8,9:10,11:12,13:14,15:16 | --dports 2:1 | --dports 1:1 | --dports 1, "
     "| --dports ,1 | --dports '' | --dports \"\" | --dports 1,,2 | --dports 65536 | "
     "--dports foo | --dports http,https | --dports 1 --sports 2 | --dports 1 --dports 2 "
     "| --ports 1: |  | --dports 1:2:3 | --destination-ports 1 | --source-ports 1 | "
     "--port 1"},
    {"filter", "INPUT", "-m mark",
     "--mark 1 | --mark 0x1/0x1 | --mark 0xffffffff | --mark 0x100000000 | ! --mark 1/2 | "
     "--mark x | --mark 1/ | --mark /1 | --mark 1/x | --mark -1 |  | --mark 1 --mark 2 | "
     "--mark 1/2/3 | --mark \"\""},
    {"filter", "INPUT", "-m connmark", "--mark 1 | ! --mark 1/1 |  | --mark z"},
    {"filter", "INPUT", "-m comment",
     "--comment x | --comment \"\" |  | --comment %L255% | --comment %L256% | --comment "
     "-j | ! --comment x | --comment %L257% | --comment %L300%"},
    {"filter", "INPUT", "-m mac",
     "--mac-source 00:11:22:33:44:55 | ! --mac-source 00:11:22:33:44:55 | --mac-source "
     "0:1:2:3:4:5 | --mac-source 00:11:22:33:44 | --mac-source 00:11:22:33:44:55:66 | "
     "--mac-source 00:11:22:33:44:5g | --mac-source 00-11-22-33-44-55 | --mac-source "
     "001122334455 |  | --mac-source 00:11:22:33:44:100 | --mac-source :::::: | "
     "--mac-source AA:bb:CC:dd:EE:ff"},
    {"mangle", "PREROUTING", "", "-m mac --mac-source 00:11:22:33:44:55"},
    {"mangle", "FORWARD", "", "-m mac --mac-source 00:11:22:33:44:55"},
    {"mangle", "POSTROUTING", "", "-m mac --mac-source 00:11:22:33:44:55"},
    {"mangle", "OUTPUT", "", "-m mac --mac-source 00:11:22:33:44:55"},
    {"raw", "PREROUTING", "", "-m mac --mac-source 00:11:22:33:44:55"},
    {"raw", "OUTPUT", "", "-m mac --mac-source 00:11:22:33:44:55"},
    {"filter", "INPUT", "-m connbytes",
     "--connbytes 3 --connbytes-dir both --connbytes-mode packets | ! --connbytes 3 "
     "--connbytes-dir original --connbytes-mode packets | --connbytes 3:5 --connbytes-dir "
     "reply --connbytes-mode bytes | --connbytes 5:3 --connbytes-dir reply "
     "--connbytes-mode avgpkt | --connbytes 3: --connbytes-dir reply --connbytes-mode "
     "avgpkt | --connbytes :3 --connbytes-dir reply --connbytes-mode avgpkt | --connbytes "
     "3 | --connbytes 3 --connbytes-dir both | --connbytes 3 --connbytes-mode packets | "
     "--connbytes-dir both --connbytes-mode packets | --connbytes x --connbytes-dir both "
     "--connbytes-mode packets | --connbytes 3 --connbytes-dir foo --connbytes-mode "
     "packets | --connbytes 3 --connbytes-dir both --connbytes-mode foo | --connbytes 3 ! "
     "--connbytes-dir both --connbytes-mode packets | --connbytes 18446744073709551615 "
     "--connbytes-dir both --connbytes-mode packets | --connbytes 18446744073709551616 "
     "--connbytes-dir both --connbytes-mode packets | --connbytes 3:3 --connbytes-dir "
     "both --connbytes-mode packets | --connbytes 3:4:5 --connbytes-dir both "
     "--connbytes-mode packets | --connbytes 0 --connbytes-dir both --connbytes-mode "
     "packets | --connbytes -3 --connbytes-dir both --connbytes-mode packets | "
     "--connbytes 3 --connbytes-dir BOTH --connbytes-mode packets | --connbytes 3 "
     "--connbytes-dir bo --connbytes-mode packets | --connbytes 3 --connbytes-dir both "
     "--connbytes-mode PACKETS | --connbytes 3 --connbytes-dir both --connbytes-mode pack"},
    {"filter", "INPUT", "-m conntrack",
     "--ctstate NEW | --ctstate NEW,ESTABLISHED | ! --ctstate INVALID | --ctstate new | "
     "--ctstate FOO | --ctstate NEW, | --ctstate ,NEW | --ctstate \"\" | --ctstate "
     "SNAT,DNAT,UNTRACKED | --ctdir ORIGINAL | --ctdir REPLY | --ctdir original | --ctdir "
     "FOO | ! --ctdir REPLY |  | --ctstatus ASSURED | --ctstatus NONE | ! --ctstatus "
     "SEEN_REPLY,CONFIRMED | --ctstatus X | --ctproto tcp | --ctproto 6 | --ctproto foo | "
     "! --ctproto udp | --ctorigsrc 10.0.0.0/8 | --ctorigdst 10.0.0.1 | --ctorigsrc "
     "fe80::/10 | --ctorigsrc foo | --ctorigsrcport 1:2 | --ctorigdstport 80 | ! "
     "--ctrepldstport 80 | --ctreplsrcport x | --ctorigdstport 2:1 | --ctexpire 10 | "
     "--ctexpire 10:20 | --ctexpire 20:10 | --ctexpire x | --ctstate NEW --ctdir ORIGINAL "
     "| --ctstate NEW --ctstate NEW | --ctstate EST | --ctstate e | --ctstate "
     "ESTABLISHEDX | --ctstate Related,n | --ctdir ORIG | --ctdir o | --ctdir r | "
     "--ctstatus seen | --ctstatus ASS,CONF | --ctorigdstport : | --ctorigdstport http"},
    {"filter", "INPUT", "-m state",
     "--state NEW | --state NEW,RELATED | ! --state NEW | --state new | --state FOO |  | "
     "--state SNAT | --state UNTRACKED | --state NEW, | --state \"\" | --state EST | "
     "--state n | --state x"},
    {"filter", "INPUT", "-m helper",
     "--helper ftp | ! --helper ftp |  | --helper \"\" | --helper %L29% | --helper %L30% "
     "| --helper %L31% | --helper %L40%"},
    {"filter", "INPUT", "-m addrtype --dst-type",
     "UNSPEC | UNICAST | LOCAL | BROADCAST | ANYCAST | MULTICAST | BLACKHOLE | UNREACHABLE | "
     "PROHIBIT | THROW | NAT | XRESOLVE | b | LOCAL,b | LOCAL,UNICAST | un,unr | p"},
    {"filter", "INPUT", "-m addrtype",
     "--dst-type LOCAL | --src-type LOCAL | ! --dst-type LOCAL | --dst-type UNICAST,LOCAL "
     "| --dst-type local | --dst-type FOO |  | --dst-type LOCAL --limit-iface-in | "
     "--limit-iface-in | --dst-type LOCAL --limit-iface-in --limit-iface-out | --dst-type "
     "LOCAL --limit-iface-out | --dst-type \"\" | --dst-type LOCAL, | --dst-type LO | "
     "--dst-type lo,un | --dst-type U"},
    {"filter", "INPUT", "-m iprange",
     "--src-range %A-%B | --src-range %A | ! --dst-range %A-%B | --src-range %B-%A | "
     "--src-range x |  | --src-range %A- | --src-range fe80::1-fe80::2 | --src-range ::1"},
    {"filter", "OUTPUT", "-m physdev",
     "--physdev-out eth0 | ! --physdev-out eth0 | --physdev-is-out | --physdev-is-bridged | "
     "--physdev-out eth0 --physdev-is-bridged | --physdev-out eth0 ! --physdev-is-bridged | "
     "--physdev-in eth0 | --physdev-is-in"},
    {"mangle", "POSTROUTING", "-m physdev", "--physdev-out eth0"},
    {"filter", "INPUT", "-m physdev",
     "--physdev-in eth0 | ! --physdev-in eth0 | --physdev-is-bridged | --physdev-is-in |  "
     "| --physdev-in %L16% | --physdev-in \"\" | --physdev-out eth0 | --physdev-out eth0 "
     "--physdev-is-bridged | ! --physdev-is-in"},
    {"filter", "INPUT", "-m pkttype",
     "--pkt-type broadcast | --pkt-type multicast | --pkt-type unicast | --pkt-type host "
     "| ! --pkt-type host | --pkt-type foo |  | --pkt-type BROADCAST | --pkt-type broad | "
     "--pkt-type b | --pkt-type B"},
    {"filter", "INPUT", "-m limit",
     "--limit 3/second | --limit 3/s | --limit 3/minute | --limit 3 | --limit 3/day "
     "--limit-burst 5 | --limit-burst 5 |  | --limit 0/second | --limit 10000/second | "
     "--limit 10001/second | --limit x | --limit 3/foo | --limit 3/ | ! --limit 3/s | "
     "--limit-burst 0 | --limit-burst 10000 | --limit-burst 10001 | --limit 3/sec | "
     "--limit 3/seconds | --limit 600000/minute | --limit 20000/minute | --limit 3/h | "
     "--limit 3/Second | --limit 3/SEC | --limit 86400/day | --limit 1/day | --limit "
     "1/day --limit-burst 1 | --limit 1/day --limit-burst 2 | --limit 1/hour "
     "--limit-burst 24 | --limit 1/hour --limit-burst 36 | --limit 864000000/day | "
     "--limit 864000001/day | --limit 600001/minute | --limit 36000000/hour | --limit "
     "1/se | --limit 01/second"},
    {"filter", "INPUT", "-m length",
     "--length 100 | --length 100:200 | ! --length 100 | --length 200:100 | --length "
     "65535 | --length 65536 |  | --length :100 | --length 100: | --length x"},
    {"filter", "INPUT", "-m dscp",
     "--dscp 10 | --dscp 63 | --dscp 64 | --dscp-class EF | --dscp-class AF11 | "
     "--dscp-class CS0 | --dscp-class BE | --dscp-class foo | ! --dscp 1 |  | --dscp 1 "
     "--dscp-class EF | --dscp 0x0a | --dscp-class ef"},
    {"mangle", "OUTPUT", "-m owner", "--uid-owner 0"},
    // Only the number 0 is known in a user namespace, others the kernel refuses there.
    {"filter", "OUTPUT", "-m owner",
     "--uid-owner 0 | --uid-owner 0-0 | --uid-owner 0:0 | --uid-owner 0- | --uid-owner nosuchuser "
     "| ! --uid-owner 0 | --gid-owner 0 | ! --gid-owner 0-0 | --socket-exists |  | "
     "--uid-owner 4294967295 | --uid-owner -5 | --uid-owner 0 --uid-owner 0"},
    {"filter", "INPUT", "-m statistic",
     "--mode random --probability 0.5 | --mode random --probability 1.5 | --mode nth "
     "--every 3 | --mode nth --every 3 --packet 0 | --mode nth --every 3 --packet 3 | "
     "--mode nth --every 0 | --mode random | --mode nth | --mode foo |  | --probability "
     "0.5 | --mode random --every 3 | --mode nth --probability 0.5 | --mode random ! "
     "--probability 0.5 | --mode nth --every 3 --packet 2"},
    {"filter", "INPUT", "-m set", " | --match-set %L32% src"},
    {"filter", "INPUT", "-p icmp -m icmp",
     "--icmp-type ECHO-REQ | --icmp-type echo | --icmp-type ec | --icmp-type a | "
     "--icmp-type host-un | --icmp-type net | --icmp-type network-unreachable | "
     "--icmp-type redirect | --icmp-type network-redirect | --icmp-type p | --icmp-type "
     "source-route-failed | --icmp-type network-unknown | --icmp-type host-unknown | "
     "--icmp-type network-prohibited | --icmp-type host-prohibited | --icmp-type "
     "TOS-network-unreachable | --icmp-type TOS-host-unreachable | --icmp-type "
     "communication-prohibited | --icmp-type host-precedence-violation | --icmp-type "
     "precedence-cutoff | --icmp-type host-redirect | --icmp-type TOS-network-redirect | "
     "--icmp-type TOS-host-redirect | --icmp-type ttl-exceeded | --icmp-type "
     "ttl-zero-during-reassembly | --icmp-type ip-header-bad | --icmp-type "
     "required-option-missing | --icmp-type address-mask-request | --icmp-type "
     "address-mask-reply | --icmp-type 8 --icmp-type 0 | --icmp-type 255/255 | "
     "--icmp-type 0x8"},
    {"filter", "INPUT", "-p icmpv6 -m icmp6",
     "--icmpv6-type no-route | --icmpv6-type beyond-scope | --icmpv6-type failed-policy | "
     "--icmpv6-type reject-route | --icmpv6-type bad-header | --icmpv6-type echo-req | "
     "--icmpv6-type ECHO-REQUEST | --icmpv6-type neighbor-solicitation | --icmpv6-type "
     "neighbor-advertisement | --icmpv6-type ttl-zero-during-transit | --icmpv6-type "
     "ttl-zero-during-reassembly | --icmpv6-type unknown-option | --icmpv6-type ping | "
     "--icmpv6-type router-sol | --icmpv6-type address-un | --icmpv6-type 256 | "
     "--icmpv6-type 1/2 | --icmpv6-type 1/ | --icmpv6-type any"},
    {"filter", "INPUT", "-m multiport", "-p tcp --ports 1"},
    {"mangle", "FORWARD", "-m addrtype --dst-type LOCAL", "--limit-iface-out"},
    {"mangle", "PREROUTING", "-m addrtype --dst-type LOCAL",
     "--limit-iface-in | --limit-iface-out"},
    {"mangle", "POSTROUTING", "-m addrtype --dst-type LOCAL",
     "--limit-iface-in | --limit-iface-out"},
};

const std::vector<OptionGroup> kTargetGroups{
    {"filter", "INPUT", "",
     "-j MARK -m mark --mark 1 --set-mark 2 | -m mark -j MARK --mark 1 --set-mark 2 | -m "
     "mark --mark 2 -p tcp --dport 1 -j NFQUEUE | -p tcp -j LOG --dport 1"},
    {"mangle", "PREROUTING", "",
     "-j NFQUEUE --queue-num 2 | -j MARK --set-mark 1 | -j LOG | -j REJECT | -p tcp -j "
     "REDIRECT --to-ports 1 | -j CT --notrack | -j NOTRACK | -j TRACE | -p tcp -j TPROXY "
     "--on-port 1 | -j DSCP --set-dscp 1 | -j TTL --ttl-set 1 | -j HL --hl-set 1 | -j "
     "MASQUERADE | -j SNAT --to-source %A | -j DNAT --to-destination %A | -p tcp "
     "--tcp-flags SYN,RST SYN -j TCPMSS --clamp-mss-to-pmtu | -j CONNMARK --save-mark | "
     "-j NFLOG | -p tcp --syn -j TCPMSS --clamp-mss-to-pmtu | -p tcp -j TCPMSS "
     "--clamp-mss-to-pmtu |  -j TCPMSS --clamp-mss-to-pmtu | -p tcp ! --syn -j TCPMSS "
     "--clamp-mss-to-pmtu | -p tcp --tcp-flags SYN,RST RST -j TCPMSS --clamp-mss-to-pmtu "
     "| -p tcp --tcp-flags ALL ALL -j TCPMSS --clamp-mss-to-pmtu | -p udp -j TCPMSS "
     "--clamp-mss-to-pmtu | -p tcp -m tcp --dport 1 -j TCPMSS --clamp-mss-to-pmtu | -p "
     "tcp --syn -j TCPMSS --set-mss 1400"},
    {"mangle", "FORWARD", "",
     "-p tcp --syn -j TCPMSS --clamp-mss-to-pmtu | -p tcp --tcp-flags SYN,RST SYN -j "
     "TCPMSS --clamp-mss-to-pmtu | -p tcp -j TCPMSS --clamp-mss-to-pmtu |  -j TCPMSS "
     "--clamp-mss-to-pmtu | -p tcp ! --syn -j TCPMSS --clamp-mss-to-pmtu | -p tcp "
     "--tcp-flags SYN,RST RST -j TCPMSS --clamp-mss-to-pmtu | -p tcp --tcp-flags ALL ALL "
     "-j TCPMSS --clamp-mss-to-pmtu | -p udp -j TCPMSS --clamp-mss-to-pmtu | -p tcp -m "
     "tcp --dport 1 -j TCPMSS --clamp-mss-to-pmtu | -p tcp --syn -j TCPMSS --set-mss 1400"},
    {"mangle", "POSTROUTING", "",
     "-j NFQUEUE --queue-num 2 | -j MARK --set-mark 1 | -j LOG | -j REJECT | -p tcp -j "
     "REDIRECT --to-ports 1 | -j CT --notrack | -j NOTRACK | -j TRACE | -p tcp -j TPROXY "
     "--on-port 1 | -j DSCP --set-dscp 1 | -j TTL --ttl-set 1 | -j HL --hl-set 1 | -j "
     "MASQUERADE | -j SNAT --to-source %A | -j DNAT --to-destination %A | -p tcp "
     "--tcp-flags SYN,RST SYN -j TCPMSS --clamp-mss-to-pmtu | -j CONNMARK --save-mark | "
     "-j NFLOG | -p tcp --syn -j TCPMSS --clamp-mss-to-pmtu | -p tcp -j TCPMSS "
     "--clamp-mss-to-pmtu |  -j TCPMSS --clamp-mss-to-pmtu | -p tcp ! --syn -j TCPMSS "
     "--clamp-mss-to-pmtu | -p tcp --tcp-flags SYN,RST RST -j TCPMSS --clamp-mss-to-pmtu "
     "| -p tcp --tcp-flags ALL ALL -j TCPMSS --clamp-mss-to-pmtu | -p udp -j TCPMSS "
     "--clamp-mss-to-pmtu | -p tcp -m tcp --dport 1 -j TCPMSS --clamp-mss-to-pmtu | -p "
     "tcp --syn -j TCPMSS --set-mss 1400"},
    {"mangle", "OUTPUT", "",
     "-p tcp --syn -j TCPMSS --clamp-mss-to-pmtu | -p tcp --tcp-flags SYN,RST SYN -j "
     "TCPMSS --clamp-mss-to-pmtu | -p tcp -j TCPMSS --clamp-mss-to-pmtu |  -j TCPMSS "
     "--clamp-mss-to-pmtu | -p tcp ! --syn -j TCPMSS --clamp-mss-to-pmtu | -p tcp "
     "--tcp-flags SYN,RST RST -j TCPMSS --clamp-mss-to-pmtu | -p tcp --tcp-flags ALL ALL "
     "-j TCPMSS --clamp-mss-to-pmtu | -p udp -j TCPMSS --clamp-mss-to-pmtu | -p tcp -m "
     "tcp --dport 1 -j TCPMSS --clamp-mss-to-pmtu | -p tcp --syn -j TCPMSS --set-mss 1400"},
    {"raw", "PREROUTING", "",
     "-j NFQUEUE --queue-num 2 | -j MARK --set-mark 1 | -j LOG | -j REJECT | -p tcp -j "
     "REDIRECT --to-ports 1 | -j CT --notrack | -j NOTRACK | -j TRACE | -p tcp -j TPROXY "
     "--on-port 1 | -j DSCP --set-dscp 1 | -j TTL --ttl-set 1 | -j HL --hl-set 1 | -j "
     "MASQUERADE | -j SNAT --to-source %A | -j DNAT --to-destination %A | -p tcp "
     "--tcp-flags SYN,RST SYN -j TCPMSS --clamp-mss-to-pmtu | -j CONNMARK --save-mark | "
     "-j NFLOG"},
    {"filter", "INPUT", "-j MARK",
     "--set-mark 1 | --set-mark 0x20/0x20 | --set-xmark 1/2 | --and-mark 1 | --or-mark 1 "
     "| --xor-mark 1 |  | --set-mark x | --set-mark 1 --or-mark 2 | --set-mark 1 "
     "--set-mark 2 | --and-mark 1/2 | --set-mark 0x1ffffffff | ! --set-mark 1 | "
     "--set-mark 1/"},
    {"filter", "INPUT", "-j CONNMARK",
     "--set-mark 1 | --set-xmark 1/1 | --save-mark | --restore-mark | --save-mark --mask "
     "0xff | --restore-mark --nfmask 1 --ctmask 2 | --save-mark --restore-mark |  | "
     "--mask 1 | --set-mark 1 --mask 1 | --and-mark 1 | --save-mark --mask 1 --nfmask 2 | "
     "--save-mark --nfmask 1 | --save-mark --ctmask 1 --mask 2 | --set-mark 1 --nfmask 1 "
     "| --restore-mark --mask 1/1 | --nfmask 1 --ctmask 1 | --mask 1 --save-mark"},
    {"filter", "INPUT", "-j NFQUEUE",
     " | --queue-num 0 | --queue-num 65535 | --queue-num 65536 | --queue-num x | "
     "--queue-num -1 | --queue-num 0x10 | --queue-num \"\" | --queue-balance 0:3 | "
     "--queue-balance 0:65534 | --queue-balance 1:65535 | --queue-balance 3 | "
     "--queue-balance :3 | --queue-balance 3: | --queue-balance 0:70000 | --queue-balance "
     "x:y | --queue-num 1 --queue-balance 2:3 | --queue-bypass | --queue-bypass "
     "--queue-num 2 | --queue-balance 0:3 --queue-cpu-fanout | --queue-cpu-fanout | "
     "--queue-num 2 --queue-num 3 | ! --queue-num 2 | --queue-bypass --queue-balance 0:3 "
     "--queue-cpu-fanout | --queue-balance 1:2:3 | --queue-bypass=3 | --queue-num=3 | "
     "--queue-b 0:3 | --queue-bypass --queue-bypass | --queue-n 3 | --queue-num 2 3 | "
     "--queue-num 2x | --queue-num 010 | --queue-balance 0: | --queue-balance : | "
     "--queue-balance :65535 | --queue-balance 65535: | --queue-balance 65534:"},
    {"nat", "PREROUTING", "",
     "-j NFQUEUE --queue-num 2 | -j MARK --set-mark 1 | -j LOG | -j REJECT | -p tcp -j "
     "REDIRECT --to-ports 1 | -j CT --notrack | -j NOTRACK | -j TRACE | -p tcp -j TPROXY "
     "--on-port 1 | -j DSCP --set-dscp 1 | -j TTL --ttl-set 1 | -j HL --hl-set 1 | -j "
     "MASQUERADE | -j SNAT --to-source %A | -j DNAT --to-destination %A | -p tcp "
     "--tcp-flags SYN,RST SYN -j TCPMSS --clamp-mss-to-pmtu | -j CONNMARK --save-mark | "
     "-j NFLOG"},
    {"nat", "POSTROUTING", "",
     "-j NFQUEUE --queue-num 2 | -j MARK --set-mark 1 | -j LOG | -j REJECT | -p tcp -j "
     "REDIRECT --to-ports 1 | -j CT --notrack | -j NOTRACK | -j TRACE | -p tcp -j TPROXY "
     "--on-port 1 | -j DSCP --set-dscp 1 | -j TTL --ttl-set 1 | -j HL --hl-set 1 | -j "
     "MASQUERADE | -j SNAT --to-source %A | -j DNAT --to-destination %A | -p tcp "
     "--tcp-flags SYN,RST SYN -j TCPMSS --clamp-mss-to-pmtu | -j CONNMARK --save-mark | "
     "-j NFLOG | -p tcp -j MASQUERADE --to-ports 1-2 | -j MASQUERADE --to-ports 1 | -j "
     "MASQUERADE --random | -o eth0 -j MASQUERADE --random-fully"},
    {"mangle", "FORWARD", "-j SET", " | --exist"},
    {"filter", "INPUT", "-j REJECT",
     " | --reject-with icmp-port-unreachable | --reject-with port-unreach | --reject-with "
     "icmp-admin-prohibited | --reject-with foo | --reject-with tcp-reset | --reject-with "
     "icmp6-port-unreachable | --reject-with icmp6-adm-prohibited | --reject-with icmp-p "
     "| --reject-with | ! --reject-with tcp-reset | --reject-with icmp-host-prohibited | "
     "--reject-with no-route | --reject-with tcp-rst | --reject-with icmp6-policy-fail | "
     "--reject-with echo-reply | --reject-with icmp-proto-unreachable | --reject-with "
     "icmp-net-prohibited | --reject-with ICMP-PORT-UNREACHABLE | --reject-with port-un | "
     "--reject-with tcp | --reject-with t | --reject-with i | --reject-with net | "
     "--reject-with icmp6-addr-unreachable | --reject-with ICMP6-PORT-UNREACHABLE | "
     "--reject-with addr | --reject-with no"},
    {"filter", "INPUT", "-p tcp -j REJECT",
     "--reject-with tcp-reset | --reject-with tcp | --reject-with t | --reject-with "
     "TCP-RESET"},
    {"filter", "INPUT", "! -p tcp -j REJECT", "--reject-with tcp-reset"},
    {"nat", "PREROUTING", "-p tcp -j REDIRECT",
     " | --to-ports 8099 | --to-ports 1-2 | --to-ports 2-1 | --to-ports 0 | --to-ports "
     "65536 | --to-ports x | --to-ports http | --to-ports 1:2 | --to-port 1 | --random | "
     "--to-ports 1 --random | --to-ports 1 --to-ports 2 | --to-ports \"\" | --to-ports 1- "
     "| --to-ports 5-5 | ! --to-ports 1"},
    {"nat", "OUTPUT", "",
     "-p udp -j REDIRECT --to-ports 1 | -p udp -j REDIRECT | -p icmp -j REDIRECT "
     "--to-ports 1 | -p icmp -j REDIRECT |  -j REDIRECT --to-ports 1 |  -j REDIRECT | ! "
     "-p tcp -j REDIRECT --to-ports 1 | ! -p tcp -j REDIRECT | -p 132 -j REDIRECT "
     "--to-ports 1 | -p 132 -j REDIRECT | -p 33 -j REDIRECT --to-ports 1 | -p 33 -j "
     "REDIRECT"},
    {"nat", "PREROUTING", "-p tcp -j DNAT",
     "--to-destination %A | --to-destination %A:80 | --to-destination %A-%C:80-90 | "
     "--to-destination :80 |  | --to-destination x | --to-destination %A --to-destination "
     "%B | --to-destination fe80::1 | --to-destination [fe80::1]:80 | --to-destination "
     "%A:x | --to-destination %A --random --persistent | --to-destination %A:90-80 | "
     "--to-destination %C-%A | --to-destination %A:0 | --to-destination %A:http"},
    {"nat", "PREROUTING", "-j DNAT",
     "--to-destination %A | --to-destination %A:80 | --to-destination fe80::1"},
    {"nat", "POSTROUTING", "-j SNAT",
     "--to-source %A | --to-source %A:80 | --to-source fe80::1 |  | --to-source %A "
     "--random-fully"},
    {"nat", "INPUT", "", "-j SNAT --to-source %A"},
    {"mangle", "INPUT", "",
     "-p tcp --syn -j TCPMSS --clamp-mss-to-pmtu | -p tcp --tcp-flags SYN,RST SYN -j "
     "TCPMSS --clamp-mss-to-pmtu | -p tcp -j TCPMSS --clamp-mss-to-pmtu |  -j TCPMSS "
     "--clamp-mss-to-pmtu | -p tcp ! --syn -j TCPMSS --clamp-mss-to-pmtu | -p tcp "
     "--tcp-flags SYN,RST RST -j TCPMSS --clamp-mss-to-pmtu | -p tcp --tcp-flags ALL ALL "
     "-j TCPMSS --clamp-mss-to-pmtu | -p udp -j TCPMSS --clamp-mss-to-pmtu | -p tcp -m "
     "tcp --dport 1 -j TCPMSS --clamp-mss-to-pmtu | -p tcp --syn -j TCPMSS --set-mss 1400"},
    {"mangle", "FORWARD", "-p tcp --syn -j TCPMSS",
     " | --set-mss x | --set-mss 65536 | --set-mss 65535 | --set-mss 1 --clamp-mss-to-pmtu"},
    {"filter", "INPUT", "-j LOG",
     " | --log-prefix \"a b \" | --log-prefix %L29% | --log-prefix %L30% | --log-level 4 "
     "| --log-level warning | --log-level 8 | --log-level foo | --log-tcp-sequence | "
     "--log-ip-options | --log-uid | --log-prefix x --log-prefix y | --log-macdecode | "
     "--log-prefix \"\" | --log-level WARN | --log-level err | --log-prefix %L31% | "
     "--log-level warn | --log-level e | --log-level ERROR | --log-level Error | "
     "--log-level panic"},
    {"filter", "INPUT", "-j NFLOG",
     " | --nflog-group 1 | --nflog-group 65536 | --nflog-prefix %L63% | --nflog-prefix "
     "%L64% | --nflog-range 5 | --nflog-size 5 | --nflog-threshold 5 | --nflog-threshold "
     "0 | --nflog-prefix %L65% | --nflog-prefix \"\""},
    {"raw", "PREROUTING", "-j CT",
     "--notrack |  | --helper ftp | --zone 1 | --zone 65536 | --notrack --zone 1"},
    {"mangle", "PREROUTING", "-p tcp -j TPROXY",
     "--on-port 1 | --on-port 1 --on-ip %A | --on-port 1 --tproxy-mark 1/1 |  | --on-port "
     "0 | --on-port 1 --on-ip ::1"},
    {"mangle", "PREROUTING", "-j TPROXY", "--on-port 1"},
    {"mangle", "PREROUTING", "-j DSCP",
     "--set-dscp 1 | --set-dscp 64 | --set-dscp-class EF | --set-dscp-class foo |  | "
     "--set-dscp 1 --set-dscp-class EF"},
    {"mangle", "PREROUTING", "-j TTL",
     "--ttl-set 64 | --ttl-inc 1 | --ttl-dec 1 | --ttl-inc 0 | --ttl-set 256 |  | "
     "--ttl-set 1 --ttl-inc 1 | --ttl-set 0"},
    {"mangle", "PREROUTING", "-j HL", "--hl-set 64 | --hl-inc 1 | --hl-dec 0 | "},
    {"nat", "OUTPUT", "-j REDIRECT", "-p tcp --to-ports 1 | --to-ports 1 -p tcp"},
    {"nat", "OUTPUT", "-j DNAT", "-p tcp --to-destination %A:1 | --to-destination %A:1 -p tcp"},
    {"nat", "OUTPUT", "! -p tcp -j DNAT", "--to-destination %A:1"},
};

const std::vector<OptionGroup> kSetGroups{
    {"filter", "INPUT", "", "-%S"},
    {"mangle", "PREROUTING", "", "-j SET --add-set %S src"},
    {"mangle", "POSTROUTING", "", "-j SET --add-set %S src"},
    {"raw", "PREROUTING", "", "-j SET --add-set %S src"},
    {"filter", "INPUT", "-m set",
     "--match-set %S src | ! --match-set %S dst | --match-set %S src,dst | --match-set %S "
     "foo | --match-set %S | --match-set %S src, | --match-set %S src,src,src,src,src,src "
     "| --match-set %S src,src,src,src,src,src,src | --match-set %S src --return-nomatch "
     "| --match-set %S src --match-set %S src | --match-set %S src --packets-gt 3 | "
     "--match-set %S src ! --update-counters | --match-set %S src --packets-gt 3 "
     "--packets-lt 4 | --set %S src"},
    {"nat", "PREROUTING", "", "-j SET --add-set %S src"},
    {"nat", "POSTROUTING", "", "-j SET --add-set %S src"},
    {"mangle", "FORWARD", "-j SET",
     "--add-set %S src | --add-set %S dst --exist | --add-set %S dst --exist --timeout 10 "
     "| --del-set %S src | --add-set %S | --add-set %S foo | --add-set %S src --timeout x "
     "| --add-set %S src --del-set %S src | --add-set %S src --add-set %S src | --timeout "
     "3 --add-set %S src | --exist --add-set %S src | --add-set %S src --timeout 2147483 "
     "| --add-set %S src --timeout 2147484"},
    {"mangle", "OUTPUT", "-j SET",
     "--del-set %S src --exist | --del-set %S src --timeout 3 | --add-set %S src "
     "--timeout 4294967295 | --del-set %S src --timeout x"},
};

}  // namespace

std::vector<std::string> matchCases(Family family) {
  return expandGroups(kMatchGroups, family);
}

std::vector<std::string> targetCases(Family family) {
  return expandGroups(kTargetGroups, family);
}

std::vector<std::string> setCases(Family family) {
  return expandGroups(kSetGroups, family);
}

}  // namespace file_tables
