// Texts about the grammar: kinds of lines, chains, loops, several tables, and the options that
// belong to no extension; and the list of the differences that are meant.
#include "tests/unit/file_tables/option_group.h"
#include "tests/unit/file_tables/restore_cases.h"

namespace file_tables {
namespace {

// Each stands alone between "*filter" and "COMMIT".
const std::vector<std::string> kFilterLines{
    // Each family's tool skips the other's lines at the option, so what stands before it counts.
    "-A INPUT -s fd00::1 -6 -j ACCEPT",
    "-A INPUT -s 10.0.0.1 -4 -j ACCEPT",
    "-A INPUT -6 -s fd00::1 -j ACCEPT",
    "-A INPUT -s junk -4",
    "-A INPUT -s junk -6",
    "-A INPUT ! -s %A,%C -4",
    "-A INPUT ! -s %A,%C -6",
    "-A INPUT -p junk -4",
    "-A INPUT -p junk -6",
    "-A OUTPUT -i eth0 -4",
    "-A OUTPUT -i eth0 -6",
    "-A INPUT -m comment -4",
    "-A INPUT -m comment -6",
    "-A INPUT -j nochain -4",
    "-A INPUT -j nochain -6",
    "-A INPUT -g nochain -4",
    "-A INPUT -g nochain -6",
    "-A INPUT -j FORWARD -4",
    "-A INPUT -j FORWARD -6",
    "-A nochain -j FORWARD -6",
    "-A INPUT -g LOG",
    "-A INPUT -g LOG -6",
    ":LOG - [0:0]\n-A INPUT -j LOG --log-level 4",
    ":LOG - [0:0]\n-A INPUT -j LOG --junk",
    ":LOG - [0:0]\n-A INPUT -g LOG",
    ":LOG - [0:0]\n-A INPUT -g LOG --log-level 4",
    ":NFQUEUE - [0:0]\n-A NFQUEUE -j NFQUEUE --queue-num x",
    "-A INPUT ! -4",
    "-A INPUT ! -6 -p",
    "-AINPUT -j ACCEPT",
    "--append=INPUT -j ACCEPT",
    "--append INPUT -j ACCEPT",
    "--app INPUT",
    "-j ACCEPT -A INPUT",
    "-s %A -A INPUT -j ACCEPT",
    "-A INPUT FORWARD",
    "-A -j ACCEPT",
    "-vA INPUT",
    "-A INPUT -j ACCEPT\r",
    "-A INPUT\t-j\tACCEPT",
    "-A INPUT -j ACCEPT # c",
    "\t# c",
    " COMMIT",
    "-A ''",
    "-A \"\"",
    "-A \"\" -j ACCEPT",
    ": - [0:0]",
    ":a\t-\t[0:0]",
    ": a - [0:0]",
    ":a - x y z",
    ":a - [0:0] [0:0]",
    ":INPUT ACCEPT [1:2]",
    ":INPUT accept [0:0]",
    ":INPUT RETURN [0:0]",
    ":INPUT QUEUE [0:0]",
    ":input - [0:0]",
    ":PREROUTING ACCEPT [0:0]",
    ":PREROUTING - [0:0]",
    "[0:0]-A INPUT",
    "[0:0]",
    "[] -A INPUT",
    "[0:] -A INPUT",
    "[:0] -A INPUT",
    "[0:0] [0:0] -A INPUT",
    "[-1:0] -A INPUT",
    "[18446744073709551616:0] -A INPUT",
    ":RETURN - [0:0]",
    ":A - [0:0]",
    ":QUEUE - [0:0]",
    ":DROP - [0:0]",
    ":a b - [0:0]",
    "*filter",
    "*",
    "COMMIT",
    "-A INPUT -m comment --comment %L1022%",
    "-A INPUT -m comment --comment %L1023%",
    "-A INPUT -m comment --comment %L1024%",
    "-A nochain -j ACCEPT",
    "-A INPUT -j nochain",
    "-A INPUT -g nochain",
    ":%L28% - [0:0]",
    ":%L29% - [0:0]",
    ":INPUT FOO [0:0]",
    ":INPUT",
    ":INPUT ACCEPT",
    ":INPUT ACCEPT [0:x]",
    ":foo ACCEPT [0:0]",
    ":foo",
    ":INPUT - [0:0]",
    ":",
    "*nat",
    "-A INPUT -m tcp --dport 80 -j ACCEPT",
    "-A INPUT -p tcp --dport 80 -j ACCEPT",
    "-A INPUT -p tcp --dport ! 80 -j ACCEPT",
    "-A INPUT -p tcp ! --dport 80 -j ACCEPT",
    "-A INPUT -p tcp -m tcp --dport 65536 -j ACCEPT",
    "-A INPUT -p tcp -m tcp --dport 80:70 -j ACCEPT",
    "-A INPUT -p tcp -m tcp --dport http -j ACCEPT",
    "-A INPUT -p tcp -m tcp --bogus http -j ACCEPT",
    "-A INPUT -j REDIRECT",
    "-A INPUT -j MARK --set-mark 0x20/0x20",
    "-A INPUT -m mac --mac-source 00:11:22:33:44:5",
    "-A OUTPUT -m mac --mac-source 00:11:22:33:44:55",
    "-A INPUT --protocol=tcp --dport=80 -jACCEPT",
    "-A INPUT --proto tcp -j ACCEPT",
    "-A INPUT -s ! 10.0.0.1 -j ACCEPT",
    "-A INPUT ! -s 10.0.0.1 -j ACCEPT",
    "-A INPUT ! ! -s 10.0.0.1 -j ACCEPT",
    "-A INPUT -s 10.0.0.1,10.0.0.2 -d %A,%B -j ACCEPT",
    "-A INPUT ! -s 10.0.0.1,10.0.0.2 -j ACCEPT",
    "-A INPUT -s fe80::1 -j ACCEPT",
    "-A INPUT -s 10.0.0.1/33 -j ACCEPT",
    "-A INPUT -s 10.0.0.1/255.255.0.255 -j ACCEPT",
    "-A INPUT -s 10.0 -j ACCEPT",
    "-A INPUT -s 10.0/8 -j ACCEPT",
    "-A INPUT -s 0x0a.1.2.3 -j ACCEPT",
    "-A INPUT -s 256.1.1.1 -j ACCEPT",
    "-A INPUT -p tcp",
    "-A INPUT !",
    "-A INPUT -j ACCEPT !",
    "-A INPUT ! -j ACCEPT",
    "-A INPUT -p",
    "-A INPUT -p nosuch",
    "-A INPUT -p 256",
    "-A INPUT -p 6 -m tcp --dport 1",
    "-A INPUT -p TCP -m tcp --dport 1",
    "-A INPUT ! -p tcp -m tcp --dport 1",
    "-A INPUT ! -p all",
    "-A INPUT -p all",
    "-A INPUT -p tcp -p udp",
    "-A INPUT -j ACCEPT -j DROP",
    "-A INPUT -i eth0 -o eth1",
    "-A OUTPUT -i eth0",
    "-A INPUT -i abcdefghijklmnop",
    "-A INPUT -i abcdefghijklmno",
    "-A INPUT -i \"\"",
    "-A INPUT -i eth+ ! -i lo",
    "-A INPUT -i a/b",
    "-A INPUT -f",
    "-A INPUT ! -f",
    "-A INPUT -c 1 2 -j ACCEPT",
    "-A INPUT -c 1,2 -j ACCEPT",
    "-A INPUT -c 1 -j ACCEPT",
    "-A INPUT -c 1 x -j ACCEPT",
    "[1:2] -A INPUT -j ACCEPT",
    "[1:2 -A INPUT -j ACCEPT",
    "[12] -A INPUT -j ACCEPT",
    "[x:1] -A INPUT -j ACCEPT",
    R"(-A INPUT -m comment --comment "a b\\"c" -j ACCEPT)",
    "-A INPUT -m comment --comment \"ab\"cd -j ACCEPT",
    "-A INPUT -m comment --comment ab\"cd\" -j ACCEPT",
    "-A INPUT -m comment --comment 'ab cd' -j ACCEPT",
    "-A INPUT -m comment --comment \"\" -j ACCEPT",
    "-A INPUT -m comment --comment a\\\\ b -j ACCEPT",
    "-A INPUT -m comment -j ACCEPT",
    "-A INPUT -m comment --comment x --comment y -j ACCEPT",
    "-A INPUT -m comment ! --comment x -j ACCEPT",
    "-A INPUT -m comment --comment x -m comment --comment y -j ACCEPT",
    "-A INPUT \"-j\" ACCEPT",
    "-A \"INPUT\" -j ACCEPT",
    " -A INPUT -j ACCEPT",
    "-A",
    "-A INPUT",
    "-j ACCEPT",
    "   ",
    "-A INPUT -j ACCEPT foo",
    "-A INPUT foo -j ACCEPT",
    "-A INPUT -t nat -j ACCEPT",
    "-A INPUT -A FORWARD -j ACCEPT",
    "-A INPUT -q -j ACCEPT",
    "-A INPUT -w 5 -j ACCEPT",
    "-A INPUT -6 -m nosuch -j NOSUCH",
    "-A INPUT -m nosuch -6 -j NOSUCH",
    "-A NOSUCH -6 -j ACCEPT",
    "-A INPUT -4 -6 -j ACCEPT",
    "-A INPUT -p tcp -m tcp --dport 80 -6 --bogus",
    "-A INPUT ! -4 -j ACCEPT",
    "-A INPUT ! -6 -j ACCEPT",
    "-A INPUT -j INPUT",
    "-A INPUT -j FORWARD",
    "-A INPUT -g FORWARD",
    ":ACCEPT - [0:0]",
    ":REJECT - [0:0]",
    ":-foo - [0:0]",
    ":!foo - [0:0]",
    ":a!foo\"x - [0:0]",
    "-A INPUT -j \"\"",
    "-A INPUT -m \"\"",
    "-A INPUT -j \"ACC EPT\"",
    "-A INPUT -j %L39%",
    "-A %L39% -j ACCEPT",
    "-A INPUT -g ACCEPT",
    "-A INPUT -j accept",
    "-A INPUT --set-mark 1 -j MARK",
    "-A INPUT --dport 1 -p tcp",
    "-A INPUT -p tcp -m tcp -m tcp --dport 1 ",
    "-A INPUT -p tcp -m tcp --dport 2 -m tcp --dport 1 ",
    "-A INPUT -p udp -m tcp --dport 2 "};

const std::vector<std::string> kWholeTexts{
    "*filter\n:LOG - [0:0]\n-A LOG -j LOG\n-A INPUT -j LOG\nCOMMIT\n",
    "*filter\n:tcp - [0:0]\n-A INPUT -j tcp\nCOMMIT\n",
    "*filter\n:a\n:b - [0:0]\nCOMMIT\n",
    "*filter",
    "*filter\n",
    "*\nCOMMIT\n",
    "* filter\nCOMMIT\n",
    "*filter x\nCOMMIT\n",
    "\n\n",
    "\n#x",
    "#x",
    " \n",
    " #\n",
    "*filter\nCOMMIT\n*filter\n-A INPUT\nCOMMIT\n",
    "*filter\n-A INPUT\nCOMMIT\n*filter\nCOMMIT\n",
    "*filter\nCOMMIT\n\n# x\n-A INPUT\n",
    "*FILTER\nCOMMIT\n",
    "*filter\n:c - [0:0]\n-A INPUT -j c\n-A c -j ACCEPT\n-A c -g c\nCOMMIT\n",
    "*filter\n:c - [0:0]\n-A INPUT -j c\n-A c -j ACCEPT\n-A c -j c\nCOMMIT\n",
    "*filter\n:c - [0:0]\n-A INPUT -j ACCEPT\n-A INPUT -j c\n-A c -j c\nCOMMIT\n",
    "*filter\n:c - [0:0]\n-A INPUT -m mark --mark 1 -j ACCEPT\n-A INPUT -j c\n-A c -j c\nCOMMIT\n",
    "*filter\n:c - [0:0]\n-A INPUT -i lo -j ACCEPT\n-A INPUT -j c\n-A c -j c\nCOMMIT\n",
    "*filter\n:c - [0:0]\n-A INPUT -p all -j RETURN\n-A INPUT -j c\n-A c -j c\nCOMMIT\n",
    "*filter\n:c - [0:0]\n-A INPUT -s 0.0.0.0/0 -j RETURN\n-A INPUT -j c\n-A c -j c\nCOMMIT\n",
    "*filter\n:c - [0:0]\n-A INPUT -i + -j RETURN\n-A INPUT -j c\n-A c -j c\nCOMMIT\n",
    "*filter\n:c - [0:0]\n-A INPUT ! -s 0.0.0.0/0 -j RETURN\n-A INPUT -j c\n-A c -j c\nCOMMIT\n",
    "*filter\n:a -\n:b -\n-A INPUT -j a\n-A INPUT -j b\n-A a -j b\n-A FORWARD -g a\nCOMMIT\n",
    "*filter\n:a - [0:0]\n-A INPUT -j a\n-A a -j DROP\n-A a -p tcp -j REDIRECT\nCOMMIT\n",
    "*nat\n:a - [0:0]\n-A POSTROUTING -j ACCEPT\n-A POSTROUTING -j a\n-A a -j REDIRECT\nCOMMIT\n",
    "*nat\n:a - [0:0]\n-A POSTROUTING -g a\n-A a -j REDIRECT\nCOMMIT\n",
    "*nat\n:a - [0:0]\n-A POSTROUTING -j QUEUE\n-A POSTROUTING -j a\n-A a -j REDIRECT\nCOMMIT\n",
    "*nat\n:a - [0:0]\n-A POSTROUTING\n-A POSTROUTING -j a\n-A a -j REDIRECT\nCOMMIT\n",
    "*nat\n:PREROUTING DROP [0:0]\nCOMMIT\n",
    "*nat\n:a - [0:0]\n-A a -j DROP\nCOMMIT\n",
    "*filter\nCOMMIT\n",
    "",
    "*filter\n:foo - [0:0]\n",
    "*filter\n:foo - [0:0]\nCOMMIT",
    "*filter\n:foo - [0:0]\n:foo - [0:0]\n-A foo -j ACCEPT\nCOMMIT\n",
    "*filter\n:foo - [0:0]\n-A foo -j ACCEPT\n:foo - [0:0]\nCOMMIT\n",
    "*filter\n:INPUT DROP [0:0]\n-A INPUT -j ACCEPT\n:INPUT ACCEPT [0:0]\nCOMMIT\n",
    "*nosuch\nCOMMIT\n",
    "*filter\n:INPUT ACCEPT [0:0]\ngarbage\nCOMMIT\n",
    "garbage\n",
    "# comment\n\n*filter\n# c2\n\nCOMMIT\n# c3\n",
    "*filter\n:a - [0:0]\n:b - [0:0]\n-A a -j b\n-A b -j a\nCOMMIT\n",
    "*filter\n:a - [0:0]\n:b - [0:0]\n-A a -j b\n-A b -j a\n-A INPUT -j a\nCOMMIT\n",
    "*filter\n:a - [0:0]\n:b - [0:0]\n-A a -g b\n-A b -g a\n-A INPUT -j a\nCOMMIT\n",
    "COMMIT\n",
    "*filter\nCOMMIT \n",
    "*filter\nCOMMIT\r\n",
    "*filter \nCOMMIT\n",
    "*filter\n:foo - [0:0]\nCOMMIT\n*nat\n:bar - [0:0]\nbad\nCOMMIT\n",
    "*filter\n:foo - [0:0]\nCOMMIT\n*nat\n:bar - [0:0]\n",
    "*filter\n:foo - [0:0]\n-A INPUT -m nosuch\nCOMMIT\n",
    "*filter\n-A INPUT -6 -j ACCEPT\n-A INPUT -4 -j DROP\nCOMMIT\n",
    "*mangle\n-A INPUT -j REJECT\nCOMMIT\n",
    "*nat\n-A PREROUTING -j DROP\nCOMMIT\n",
    "*nat\n-A PREROUTING -p tcp -j REDIRECT --to-ports 8099\nCOMMIT\n",
    "*nat\n-A PREROUTING -j REDIRECT --to-ports 8099\nCOMMIT\n",
    "*nat\n:a - [0:0]\n:b - [0:0]\n-A a -j b\n-A b -p tcp -j REDIRECT --to-ports 8099\nCOMMIT\n",
    "*nat\n:a -\n:b -\n-A a -j b\n-A b -j REDIRECT\n-A POSTROUTING -j a\nCOMMIT\n",
    "*nat\n:a -\n:b -\n-A a -j b\n-A b -j REDIRECT\n-A PREROUTING -j a\nCOMMIT\n",
    "*filter\n:a - [0:0]\n-A INPUT -j ACCEPT -g a\nCOMMIT\n",
    "*filter\n:foo - [0:0]\n:INPUT ACCEPT [0:0]\n-A foo -j foo\nCOMMIT\n",
    "*filter\n:foo - [0:0]\n-A foo -j foo\n-A INPUT -g foo\nCOMMIT\n",
    "*filter\n-A INPUT -j RETURN\n-A INPUT -j QUEUE\n-A FORWARD\nCOMMIT\n",
    "*filter\n:a - [0:0]\n-A INPUT -j a --foo\nCOMMIT\n"};

const std::vector<OptionGroup> kRuleOptionGroups{
    {"filter", "INPUT", "",
     "-p icmp --icmp-type 8 | -p ipv6-icmp --icmpv6-type 135/0 | ! -p tcp -m multiport "
     "--ports 1 | -s ::1 | -s fe80::/10 | -d fe80::1,fe80::2 | -s ::/129 | -s ::1/ffff:: "
     "| -s 1.2.3.4/0 | -s 1.2.3.4/ | -s \"\" | -s /8 | -s , | -s %A, | -s %A/32/1 | -s "
     "::1/ | -s %A/255.255.255 | -s %A/08 | -s %A/0x8 | -s 010.1.1.1 | -s 1.2.3.4.5 | -s "
     "any | -p icmpv6 | -p ipv6-icmp | -p esp | -p ah | -p gre | -p ospf | -p mh | -p "
     "ipv6-mh | -p sctp | -p ICMP | -p 0x6 | -p 0 | -p '' | -p \"\" | -p ipv6 | -p "
     "udplite | -p igmp | -p ipencap | -p 06 | -p vrrp | -p hopopt | -p ip | -p "
     "ipv6-nonxt | -p dccp --dport 1 | -p sctp --dport 1 | -p 6 --dport 80 | -p tcp "
     "--dport 80 -m tcp | ! -p tcp --dport 80 | -i \"a b\" | -i + | -i eth+ | -i e* | -i "
     "| -o eth0 | -m connmark -m mark --mark 1 --mark 1 | -m mark --mark 1 -m connmark "
     "--mark 1 | -m mark -m mark --mark 1 | -m mark -m mark --mark 1 --mark 2 | -p tcp "
     "--dport 1 --dport 1 | -- -j ACCEPT | -- | -j ACCEPT -- | - | -jLOG | -mmark --mark "
     "1 | -fj ACCEPT | -4j ACCEPT | -4 | -6 | --ipv4 -j ACCEPT | --ipv6 -j ACCEPT | "
     "--jump ACCEPT | --jum ACCEPT | --j ACCEPT | --s %A | --so %A | --sr %A | --set-c 1 "
     "2 | --f | --fragment | --fragments | --in eth0 | --i eth0 | --in-interface=eth0 | "
     "--source=%A | -s%A | -s%A,%B | --source=%A,%B | -p=tcp | -ieth0 | -c 1, | -c ,1 | "
     "-c 1,x | -c | -c 1 2 3 | -c 1 -j ACCEPT | -c1 2 | -x | --exact | --line-numbers | "
     "-b | -46 | -64 | ! -m mark --mark 1 | ! -A INPUT | ! -c 1 2 | -t filter | --table "
     "filter | -L | -D INPUT 1 | -C INPUT | -Z | -AINPUT | --append=INPUT | -i=eth0 | "
     "-oeth0 | -d%A | --dst=%A | --dst %A | --in=e | -j=ACCEPT | --jump=ACCEPT | -gfoo | "
     "--match=mark --mark=1 | -mmark --mark=1 | -m=mark"},
    {"mangle", "PREROUTING", "", "-j RETURN | -j DROP"},
    {"mangle", "POSTROUTING", "", "-j RETURN | -j DROP"},
    {"raw", "PREROUTING", "", "-j RETURN | -j DROP"},
    {"nat", "PREROUTING", "", "-j RETURN | -j DROP"},
    {"nat", "POSTROUTING", "", "-j RETURN | -j DROP"},
};

// A row holds for the families that it names: "4", "6" or "46".
struct DifferenceRow {
  std::string families;
  std::string table;
  std::string line;
  std::string reason;
};
const std::vector<DifferenceRow> kDifferences{
    {"46", "filter", "-I INPUT -j ACCEPT", "saved tables hold no command but -A"},
    {"46", "filter", "-N chain", "saved tables hold no command but -A"},
    {"46", "filter", "-P INPUT DROP", "saved tables hold no command but -A"},
    {"46", "filter", "-F", "saved tables hold no command but -A"},
    {"46", "filter", "-A INPUT -h", "nothing to print help for"},
    {"46", "filter", "-A INPUT -M /sbin/modprobe", "no modules are loaded"},
    {"46", "filter", "-A INPUT -m comment --comment \"never closed",
     "the real tool stores the newline, and its own save text is then broken"},
    {"4", "filter", "-A INPUT -s localhost", "names would make a test depend on the machine"},
    {"46", "filter", "-A INPUT -p tcp --dport finger", "only common services are known by name"},
    {"46", "filter", "-A INPUT -p st", "only common protocols are known by name"},
    {"46", "filter", "-A OUTPUT -m owner --uid-owner root", "users are known by number only"},
    {"46", "filter", "-A OUTPUT -m owner --uid-owner 5-0", "refused by the tool, not the kernel"},
    {"46", "filter",
     "-A INPUT -m mac --mac-source 00:11:22:33:44:", "an empty last byte is refused"},
    {"46", "filter", "-A INPUT -m limit --limit 1/hour --limit-burst 40",
     "the kernel's 32-bit credit runs over here and happens to pass"},
    {"46", "mangle", "-A PREROUTING -p tcp -j TPROXY --on-port 65536",
     "the real tool cuts the number to 16 bits"},
    {"46", "filter", "-A INPUT -m set --match-set missing src",
     "files know no sets; every set exists"},
    {"4", "filter", "-A INPUT -m realm --realm 1", "a match that no router's rules use"},
    {"46", "filter", "-A INPUT -m tavrix-connlabel --label 7",
     "the platform's matches are not on a development machine"},
    {"46", "filter", "-A INPUT -m tavrix-connstat --set --stat-node 7",
     "the platform's matches are not on a development machine"},
    {"46", "filter", "-A INPUT -m tavrix-conndurvan --class 7",
     "the platform's matches are not on a development machine"},
    {"46", "filter", "-A INPUT -m tavrix-xtcounter --inc 7",
     "the platform's matches are not on a development machine"},
    {"46", "filter", "-A INPUT -m tavrix-xthostset --set-name 7",
     "the platform's matches are not on a development machine"},
};

}  // namespace

std::vector<std::string> structureCases(Family family) {
  std::vector<std::string> texts;
  texts.reserve(kFilterLines.size() + kWholeTexts.size());
  for (const std::string& line : kFilterLines) {
    texts.push_back("*filter\n" + fillIn(line, family) + "\nCOMMIT\n");
  }
  for (const std::string& text : kWholeTexts) {
    texts.push_back(fillIn(text, family));
  }
  // Around the length of the tools' line buffer, and the number of words that they can hold.
  for (const std::size_t length : {10200U, 10215U, 10216U, 10217U, 10218U, 10219U, 10300U}) {
    texts.push_back("*filter\n-A INPUT -j ACCEPT" + std::string(length, ' ') + "\nCOMMIT\n");
    texts.push_back("*filter\n-A INPUT" + std::string(length, ' ') + "-j ACCEPT\nCOMMIT\n");
    texts.push_back("*filter\n#" + std::string(length + 21, 'x') + "\nCOMMIT\n");
  }
  for (const std::size_t count : {82U, 83U, 84U}) {
    std::string options;
    for (std::size_t index = 0; index < count; ++index) {
      options += "-m mark --mark 1 ";
    }
    texts.push_back(ruleText("filter", "INPUT", options));
  }
  return texts;
}

std::vector<std::string> ruleOptionCases(Family family) {
  return expandGroups(kRuleOptionGroups, family);
}

std::vector<Difference> deliberateDifferences(Family family) {
  const char digit = family == Family::Ipv4 ? '4' : '6';
  std::vector<Difference> differences;
  for (const DifferenceRow& row : kDifferences) {
    if (row.families.find(digit) != std::string::npos) {
      differences.push_back({"*" + row.table + "\n" + row.line + "\nCOMMIT\n", row.reason});
    }
  }
  return differences;
}

}  // namespace file_tables
