// What a restore text becomes: typed tables, and the save text made from them.
#include "testbed/file_tables/table_model.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "testbed/file_tables/restore_text.h"
#include "testbed/file_tables/save_text.h"

namespace file_tables {
namespace {

using testing::ElementsAre;

Table readTable(const std::string& text, Family family = Family::Ipv4) {
  return parseRestoreText(family, text).front();
}

Rule readRule(const std::string& options, Family family = Family::Ipv4) {
  return readTable("*mangle\n:chain - [0:0]\n-A chain " + options + "\nCOMMIT\n", family)
      .findChain("chain")
      ->rules.front();
}

// One option as text: "! --dport 53", with its full name.
std::string printed(const OptionUse& option) {
  std::string text = option.negated ? "! --" : "--";
  text += option.name;
  for (const std::string& argument : option.arguments) {
    text += " [" + argument + "]";
  }
  return text;
}

std::string printed(const ExtensionUse& use) {
  std::string text = use.name;
  for (const OptionUse& option : use.options) {
    text += " " + printed(option);
  }
  return text;
}

TEST(TableModel, SelectorsHaveTheirFullNames) {
  const Rule rule = readRule("-p tcp ! -s 10.0.0.0/8 --dst 10.0.0.1 -i br-lan ! -o wan+ ! -f");
  ASSERT_EQ(rule.selectors.size(), 6U);
  EXPECT_EQ(printed(rule.selectors[0]), "--protocol [tcp]");
  EXPECT_EQ(printed(rule.selectors[1]), "! --source [10.0.0.0/8]");
  EXPECT_EQ(printed(rule.selectors[2]), "--destination [10.0.0.1]");
  EXPECT_EQ(printed(rule.selectors[3]), "--in-interface [br-lan]");
  EXPECT_EQ(printed(rule.selectors[4]), "! --out-interface [wan+]");
  EXPECT_EQ(printed(rule.selectors[5]), "! --fragments");
  EXPECT_EQ(rule.protocol, 6);
  EXPECT_EQ(rule.findSelector("source"), &rule.selectors[1]);
  EXPECT_EQ(rule.findSelector("goto"), nullptr);
}

TEST(TableModel, ANegatedProtocolIsNoProtocol) {
  EXPECT_EQ(readRule("! -p udp").protocol, 0);
  EXPECT_EQ(readRule("-p 17").protocol, 17);
  EXPECT_EQ(readRule("-p ICMPv6", Family::Ipv6).protocol, 58);
}

TEST(TableModel, MatchesAndTargetsHoldTheirOptionsInOrder) {
  const Rule rule = readRule(
      "-p tcp -m set --match-set guests src,dst -m tcp ! --sport 53 --dport=80 "
      "-m tavrix-connlabel ! --label 7 -j NFQUEUE --queue-bypass --queue-balance 0:3");
  ASSERT_EQ(rule.matches.size(), 3U);
  EXPECT_EQ(printed(rule.matches[0]), "set --match-set [guests] [src,dst]");
  EXPECT_EQ(printed(rule.matches[1]), "tcp ! --source-port [53] --destination-port [80]");
  EXPECT_EQ(printed(rule.matches[2]), "tavrix-connlabel ! --label [7]");
  EXPECT_EQ(rule.targetKind, TargetKind::Extension);
  EXPECT_EQ(printed(rule.target), "NFQUEUE --queue-bypass --queue-balance [0:3]");
}

TEST(TableModel, AProtocolsMatchIsLoadedByItsFirstOption) {
  const Rule rule = readRule("-p udp --dport 53 -m mark --mark 1");
  ASSERT_EQ(rule.matches.size(), 2U);
  EXPECT_EQ(printed(rule.matches[0]), "udp --destination-port [53]");
  EXPECT_EQ(printed(rule.matches[1]), "mark --mark [1]");
}

TEST(TableModel, AnOptionOfTwoMatchesBelongsToTheLaterOne) {
  const Rule rule = readRule(
      "-m mark --mark 1 -m connmark ! --mark 2 -m tavrix-connlabel --set "
      "--mark 0x1 --label 7");
  ASSERT_EQ(rule.matches.size(), 3U);
  EXPECT_EQ(printed(rule.matches[0]), "mark --mark [1]");
  EXPECT_EQ(printed(rule.matches[1]), "connmark ! --mark [2]");
  EXPECT_EQ(printed(rule.matches[2]), "tavrix-connlabel --set --mark [0x1] --label [7]");
}

TEST(TableModel, QuotesAreGoneFromArguments) {
  const Rule rule = readRule(R"(-m comment --comment "a \"b\" c")");
  EXPECT_EQ(printed(rule.matches[0]), "comment --comment [a \"b\" c]");
  EXPECT_EQ(rule.text, "-m comment --comment \"a \\\"b\\\" c\"");
}

TEST(TableModel, AddressListsAreSplitInTheSelectorsToo) {
  const Table table = readTable("*filter\n-A INPUT -s 10.0.0.1,10.0.0.2 -j DROP\nCOMMIT\n");
  const std::vector<Rule>& rules = table.findChain("INPUT")->rules;
  ASSERT_EQ(rules.size(), 2U);
  EXPECT_EQ(printed(rules[0].selectors[0]), "--source [10.0.0.1]");
  EXPECT_EQ(printed(rules[1].selectors[0]), "--source [10.0.0.2]");
}

TEST(TableModel, TargetsAreOfFiveKinds) {
  const Table table = readTable(
      "*filter\n:chain - [0:0]\n-A INPUT\n-A INPUT -j RETURN\n-A INPUT -j chain\n-A INPUT -g "
      "chain\n"
      "-A INPUT -j LOG\nCOMMIT\n");
  std::vector<TargetKind> kinds;
  for (const Rule& rule : table.findChain("INPUT")->rules) {
    kinds.push_back(rule.targetKind);
  }
  EXPECT_THAT(kinds, ElementsAre(TargetKind::None, TargetKind::Verdict, TargetKind::Chain,
                                 TargetKind::Goto, TargetKind::Extension));
}

TEST(TableModel, OnlyARuleWithoutConditionsIsUnconditional) {
  EXPECT_TRUE(readRule("-j ACCEPT").isUnconditional(Family::Ipv4));
  EXPECT_TRUE(readRule("-s 0.0.0.0/0 -p all").isUnconditional(Family::Ipv4));
  EXPECT_TRUE(readRule("-d ::/0", Family::Ipv6).isUnconditional(Family::Ipv6));
  EXPECT_FALSE(readRule("-p all", Family::Ipv6).isUnconditional(Family::Ipv6));
  EXPECT_FALSE(readRule("! -s 0.0.0.0/0").isUnconditional(Family::Ipv4));
  EXPECT_FALSE(readRule("-s 10.0.0.0/8").isUnconditional(Family::Ipv4));
  EXPECT_FALSE(readRule("-i +").isUnconditional(Family::Ipv4));
  EXPECT_FALSE(readRule("-m comment --comment x").isUnconditional(Family::Ipv4));
}

TEST(TableModel, ANewTableIsTheKernelsInitialOne) {
  const Table table(Family::Ipv6, *findTableLayout("nat"));
  EXPECT_EQ(saveText(table),
            "# Generated by the testbed's ip6tables-save\n"
            "*nat\n"
            ":PREROUTING ACCEPT [0:0]\n"
            ":INPUT ACCEPT [0:0]\n"
            ":OUTPUT ACCEPT [0:0]\n"
            ":POSTROUTING ACCEPT [0:0]\n"
            "COMMIT\n"
            "# Completed by the testbed's ip6tables-save\n");
}

TEST(TableModel, BuiltInChainsComeInTheKernelsOrder) {
  const auto namesOf = [](std::string_view tableName) {
    std::vector<std::string> names;
    for (const BuiltInChain& chain : findTableLayout(tableName)->chains) {
      names.emplace_back(chain.name);
    }
    return names;
  };
  EXPECT_THAT(namesOf("raw"), ElementsAre("PREROUTING", "OUTPUT"));
  EXPECT_THAT(namesOf("mangle"),
              ElementsAre("PREROUTING", "INPUT", "FORWARD", "OUTPUT", "POSTROUTING"));
  EXPECT_THAT(namesOf("nat"), ElementsAre("PREROUTING", "INPUT", "OUTPUT", "POSTROUTING"));
  EXPECT_THAT(namesOf("filter"), ElementsAre("INPUT", "FORWARD", "OUTPUT"));
  EXPECT_THAT(namesOf("security"), ElementsAre("INPUT", "FORWARD", "OUTPUT"));
  EXPECT_EQ(findTableLayout("other"), nullptr);
}

TEST(SaveText, GroupsRulesByChainAndSortsUserChainsByName) {
  const Table table = readTable(
      "*filter\n:OUTPUT DROP [7:8]\n:c_10 - [0:0]\n:b - [0:0]\n:c_2 - [0:0]\n"
      "-A c_2 -j DROP\n-A OUTPUT -j b\n-A b\n-A INPUT -j c_10\n-A OUTPUT -g c_2\nCOMMIT\n");
  EXPECT_EQ(saveText(table),
            "# Generated by the testbed's iptables-save\n"
            "*filter\n"
            ":INPUT ACCEPT [0:0]\n"
            ":FORWARD ACCEPT [0:0]\n"
            ":OUTPUT DROP [0:0]\n"
            ":b - [0:0]\n"
            ":c_10 - [0:0]\n"
            ":c_2 - [0:0]\n"
            "-A INPUT -j c_10\n"
            "-A OUTPUT -j b\n"
            "-A OUTPUT -g c_2\n"
            "-A b\n"
            "-A c_2 -j DROP\n"
            "COMMIT\n"
            "# Completed by the testbed's iptables-save\n");
}

TEST(SaveText, ReadBackGivesTheSameText) {
  const std::string saved = saveText(readTable(
      "*mangle\n:a - [0:0]\n-A PREROUTING -4 -m comment --comment \"x \\\\ y\" -j a\n-A a  -p tcp "
      "-f\nCOMMIT\n"));
  EXPECT_EQ(saveText(readTable(saved)), saved);
}

}  // namespace
}  // namespace file_tables
