// Reading restore texts: kinds of lines, error texts whole, transactions, families.
#include "testbed/file_tables/restore_text.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "testbed/file_tables/save_text.h"

namespace file_tables {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

// The error of a text, "status N: message"; "accepted" without one.
std::string outcomeOf(const std::string& text, Family family = Family::Ipv4) {
  try {
    parseRestoreText(family, text);
  } catch (const RestoreFailure& failure) {
    return "status " + std::to_string(failure.exitStatus()) + ": " + failure.what();
  }
  return "accepted";
}

// The error of a line that stands alone in the table filter.
std::string lineOutcome(const std::string& line, Family family = Family::Ipv4) {
  return outcomeOf("*filter\n" + line + "\nCOMMIT\n", family);
}

std::string problem(const std::string& message, const std::string& line = "2") {
  return "status 2: iptables-restore: " + message + "\nError occurred at line: " + line;
}

// The texts of a chain's rules.
std::vector<std::string> ruleTexts(const Table& table, const std::string& chain) {
  std::vector<std::string> texts;
  for (const Rule& rule : table.findChain(chain)->rules) {
    texts.push_back(rule.text);
  }
  return texts;
}

std::vector<std::string> inputRules(const std::string& lines, Family family = Family::Ipv4) {
  const std::vector<Table> tables = parseRestoreText(family, "*filter\n" + lines + "COMMIT\n");
  return ruleTexts(tables.front(), "INPUT");
}

TEST(RestoreText, EmptyTextAndCommentsGiveNoTable) {
  EXPECT_THAT(parseRestoreText(Family::Ipv4, ""), IsEmpty());
  EXPECT_THAT(parseRestoreText(Family::Ipv4, "\n# comment\n#"), IsEmpty());
}

TEST(RestoreText, EveryTableOfTheKernelIsKnownInBothFamilies) {
  for (const std::string table : {"raw", "mangle", "nat", "filter", "security"}) {
    EXPECT_EQ(outcomeOf("*" + table + "\nCOMMIT\n", Family::Ipv4), "accepted");
    EXPECT_EQ(outcomeOf("*" + table + "\nCOMMIT\n", Family::Ipv6), "accepted");
  }
  EXPECT_EQ(outcomeOf("*broute\nCOMMIT\n"), problem("unable to initialize table 'broute'", "1"));
  EXPECT_EQ(outcomeOf("*\nCOMMIT\n"), problem("line 1 table name invalid", "1"));
}

TEST(RestoreText, ErrorsNameTheToolOfTheFamily) {
  EXPECT_EQ(lineOutcome("-A INPUT -q", Family::Ipv6),
            "status 2: ip6tables-restore: unknown option \"-q\"\nError occurred at line: 2");
  EXPECT_EQ(outcomeOf("*filter\n", Family::Ipv6),
            "status 1: ip6tables-restore: COMMIT expected at line 2");
}

TEST(RestoreText, LinesOutsideATableFail) {
  EXPECT_EQ(outcomeOf("COMMIT\n"), "status 1: iptables-restore: line 1 failed");
  EXPECT_EQ(outcomeOf("*filter\nCOMMIT\n-A INPUT\n"), "status 1: iptables-restore: line 3 failed");
  EXPECT_EQ(outcomeOf(" \n"), "status 1: iptables-restore: line 1 failed");
}

TEST(RestoreText, CommitIsTheExactWord) {
  const std::string asRule = "status 2: Bad argument `COMMIT'\nError occurred at line: 2";
  EXPECT_EQ(outcomeOf("*filter\nCOMMIT"), asRule);
  EXPECT_EQ(outcomeOf("*filter\nCOMMIT \n"), asRule);
  EXPECT_EQ(outcomeOf("*filter\nCOMMIT\r\n"),
            "status 2: Bad argument `COMMIT\r'\nError occurred at line: 2");
  EXPECT_EQ(outcomeOf("*filter\n*nat\nCOMMIT\n"),
            "status 2: Bad argument `*nat'\nError occurred at line: 2");
}

TEST(RestoreText, ChainDeclarationsAreChecked) {
  const std::string longest(28, 'a');
  EXPECT_EQ(lineOutcome(":" + longest + " - [0:0]"), "accepted");
  EXPECT_EQ(lineOutcome(":" + longest + "a - [0:0]"),
            problem("Invalid chain name `" + longest + "a' (28 chars max)"));
  EXPECT_EQ(lineOutcome(":"), problem("line 2 chain name invalid"));
  EXPECT_EQ(lineOutcome(":chain"), problem("line 2 policy invalid"));
  EXPECT_EQ(lineOutcome(":chain - [0:0]\n:chain - [0:0]"),
            problem("error creating chain 'chain':File exists", "3"));
  EXPECT_EQ(lineOutcome(":ACCEPT - [0:0]"), problem("error creating chain 'ACCEPT':File exists"));
  EXPECT_EQ(lineOutcome(":chain ACCEPT [0:0]"),
            "status 1: iptables-restore: Can't set policy `ACCEPT' on `chain' line 2: Bad built-in "
            "chain name");
  EXPECT_EQ(lineOutcome(":INPUT RETURN [0:0]"),
            "status 1: iptables-restore: Can't set policy `RETURN' on `INPUT' line 2: Bad policy "
            "name");
}

TEST(RestoreText, DeclaringABuiltInChainTwiceKeepsItsRules) {
  const std::vector<Table> tables = parseRestoreText(
      Family::Ipv4,
      "*filter\n:INPUT DROP [0:0]\n-A INPUT -j ACCEPT\n:INPUT ACCEPT\n:FORWARD - [0:0]\nCOMMIT\n");
  EXPECT_THAT(ruleTexts(tables.front(), "INPUT"), ElementsAre("-j ACCEPT"));
  EXPECT_EQ(tables.front().findChain("INPUT")->policy, "ACCEPT");
  EXPECT_EQ(tables.front().findChain("FORWARD")->policy, "ACCEPT");
}

TEST(RestoreText, AChainMustBeDeclaredBeforeItIsUsed) {
  EXPECT_EQ(lineOutcome("-A chain -j ACCEPT\n:chain - [0:0]"),
            "status 1: iptables-restore: line 2 failed");
  EXPECT_EQ(lineOutcome("-A INPUT -j chain\n:chain - [0:0]"),
            problem("Couldn't load target `chain':No such file or directory"));
  EXPECT_EQ(lineOutcome("-A INPUT -g chain\n:chain - [0:0]"),
            problem("goto 'chain' is not a chain"));
  EXPECT_EQ(lineOutcome("-A INPUT -j FORWARD"), "status 1: iptables-restore: line 2 failed");
  EXPECT_EQ(lineOutcome("-A INPUT -g FORWARD"), "status 1: iptables-restore: line 2 failed");
  EXPECT_EQ(lineOutcome("-A INPUT -g ACCEPT"), problem("goto 'ACCEPT' is not a chain"));
}

TEST(RestoreText, NamesBehindJumpAndAppendAreChecked) {
  const std::string tooLong(29, 'a');
  EXPECT_EQ(lineOutcome("-A INPUT -j " + tooLong),
            problem("Invalid target name `" + tooLong + "' (28 chars max)"));
  EXPECT_EQ(lineOutcome("-A INPUT -j \"\""), problem("Invalid target name (too short)"));
  EXPECT_EQ(lineOutcome("-A INPUT -j \"a b\""), problem("Invalid target name `a b'"));
  EXPECT_EQ(lineOutcome("-A " + tooLong),
            problem("chain name `" + tooLong + "' too long (must be under 29 chars)"));
}

TEST(RestoreText, AChainNamedAsATargetTakesItsPlace) {
  const std::vector<Table> tables =
      parseRestoreText(Family::Ipv4, "*filter\n:LOG - [0:0]\n-A INPUT -j LOG\nCOMMIT\n");
  EXPECT_EQ(tables.front().findChain("INPUT")->rules.front().targetKind, TargetKind::Chain);
  EXPECT_EQ(lineOutcome(":LOG - [0:0]\n-A INPUT -j LOG --log-level 4"),
            problem("unknown option \"--log-level\"", "3"));
}

TEST(RestoreText, ALineNeedsItsCommandOnce) {
  EXPECT_EQ(lineOutcome("-j ACCEPT"), problem("no command specified"));
  EXPECT_EQ(lineOutcome("  "), problem("no command specified"));
  EXPECT_EQ(lineOutcome("-A"), problem("option \"-A\" requires an argument"));
  EXPECT_EQ(lineOutcome("-A INPUT -A OUTPUT"), problem("Cannot use -A with -A"));
  EXPECT_EQ(lineOutcome("-I INPUT -j ACCEPT"),
            problem("the command -I is not supported in a restore text, only -A"));
  EXPECT_EQ(lineOutcome("-F"),
            problem("the command -F is not supported in a restore text, only -A"));
  EXPECT_EQ(lineOutcome("-A INPUT -t nat"),
            problem("The -t option cannot be used in iptables-restore."));
  EXPECT_EQ(lineOutcome("-A INPUT -w"), problem("You cannot use `-w' from iptables-restore"));
  EXPECT_EQ(lineOutcome("-A INPUT -n"), problem("Illegal option `-n' with this command"));
}

TEST(RestoreText, WordsAndUnknownOptionsAreRefused) {
  EXPECT_EQ(lineOutcome("-A INPUT -j ACCEPT junk"),
            "status 2: Bad argument `junk'\nError occurred at line: 2");
  EXPECT_EQ(lineOutcome("-A INPUT --junk"), problem("unknown option \"--junk\""));
  EXPECT_EQ(lineOutcome("-A INPUT -m junk"),
            problem("Couldn't load match `junk':No such file or directory"));
  EXPECT_EQ(lineOutcome("-A INPUT -m mark --mark 1 --junk"), problem("unknown option \"--junk\""));
  EXPECT_EQ(lineOutcome("-A INPUT --dport 80 -p tcp"), problem("unknown option \"--dport\""));
  EXPECT_EQ(lineOutcome("-A INPUT -- junk"), problem("unknown arguments found on commandline"));
}

TEST(RestoreText, NegationStandsBeforeTheOption) {
  EXPECT_EQ(lineOutcome("-A INPUT ! -s 10.0.0.1"), "accepted");
  EXPECT_EQ(lineOutcome("-A INPUT -s ! 10.0.0.1"),
            "status 2: Bad argument `10.0.0.1'\nError occurred at line: 2");
  EXPECT_EQ(lineOutcome("-A INPUT -p tcp --dport ! 80"),
            problem("tcp: bad value for option \"--destination-port\": `!'"));
  EXPECT_EQ(lineOutcome("-A INPUT ! ! -s 10.0.0.1"), problem("multiple consecutive ! not allowed"));
  EXPECT_EQ(lineOutcome("-A INPUT !"), problem("nothing appropriate following !"));
  EXPECT_EQ(lineOutcome("-A INPUT ! -j ACCEPT"), problem("cannot have ! before -j"));
  EXPECT_EQ(lineOutcome("-A INPUT ! -m mark --mark 1"),
            problem("unexpected ! flag before --match"));
}

TEST(RestoreText, SelectorsAreChecked) {
  EXPECT_EQ(lineOutcome("-A INPUT -p junk"), problem("unknown protocol \"junk\" specified"));
  EXPECT_EQ(lineOutcome("-A INPUT -ptcp"), problem("unknown protocol \"-ptcp\" specified"));
  EXPECT_EQ(lineOutcome("-A INPUT ! -p all"), problem("rule would never match protocol"));
  EXPECT_EQ(lineOutcome("-A INPUT -p tcp -p udp"), problem("multiple -p flags not allowed"));
  EXPECT_EQ(lineOutcome("-A INPUT -s host"), problem("host/network `host' not found"));
  EXPECT_EQ(lineOutcome("-A INPUT -s fd00::1"), problem("host/network `fd00::1' not found"));
  EXPECT_EQ(lineOutcome("-A INPUT -s 10.0.0.1/33"), problem("invalid mask `33' specified"));
  EXPECT_EQ(lineOutcome("-A INPUT ! -s 10.0.0.1,10.0.0.2"),
            problem("! not allowed with multiple source or destination IP addresses"));
  EXPECT_EQ(lineOutcome("-A INPUT -s 10.0.0.1 -s 10.0.0.2"),
            problem("multiple -s flags not allowed"));
  EXPECT_EQ(lineOutcome("-A INPUT -i \"\""), problem("Empty interface is likely to be undesired"));
  EXPECT_EQ(lineOutcome("-A INPUT -i sixteenletters--"),
            problem("interface name `sixteenletters--' must be shorter than IFNAMSIZ (15)"));
  EXPECT_EQ(lineOutcome("-A OUTPUT -i eth0"), problem("Can't use -i with OUTPUT"));
  EXPECT_EQ(lineOutcome("-A INPUT -o eth0"), problem("Can't use -o with INPUT"));
  EXPECT_EQ(lineOutcome("-A INPUT -j ACCEPT -j DROP"), problem("multiple -j flags not allowed"));
  EXPECT_EQ(lineOutcome("-A INPUT -c 1 -j DROP"), problem("-c requires packet and byte counter"));
  EXPECT_EQ(lineOutcome("-A INPUT -c x 1"), problem("-c packet counter not numeric"));
  EXPECT_EQ(lineOutcome("-A INPUT -c 1 x"), problem("-c byte counter not numeric"));
}

TEST(RestoreText, FragmentsAreAnOptionOfIpv4Only) {
  EXPECT_EQ(lineOutcome("-A INPUT ! -f", Family::Ipv4), "accepted");
  EXPECT_EQ(lineOutcome("-A INPUT -f", Family::Ipv6),
            "status 2: ip6tables-restore: unknown option \"-f\"\nError occurred at line: 2");
}

TEST(RestoreText, TheNatTableDoesNotDrop) {
  EXPECT_EQ(outcomeOf("*nat\n-A PREROUTING -j DROP\nCOMMIT\n"),
            problem("The \"nat\" table is not intended for filtering, the use of DROP is therefore "
                    "inhibited."));
  EXPECT_EQ(outcomeOf("*nat\n:PREROUTING DROP [0:0]\nCOMMIT\n"), "accepted");
}

TEST(RestoreText, QuotesHoldBlanksAndABackslashTakesTheNextCharacter) {
  EXPECT_THAT(inputRules("-A INPUT -m comment --comment \"a \\\" b\" -j ACCEPT\n"),
              ElementsAre("-m comment --comment \"a \\\" b\" -j ACCEPT"));
  EXPECT_EQ(lineOutcome("-A INPUT -m comment --comment 'a b'"),
            "status 2: Bad argument `b''\nError occurred at line: 2");
  EXPECT_EQ(lineOutcome("-A INPUT -m comment --comment \"a\"b"),
            "status 2: Bad argument `b'\nError occurred at line: 2");
  EXPECT_EQ(lineOutcome("-A INPUT -m comment --comment a\\ b"),
            "status 2: Bad argument `b'\nError occurred at line: 2");
  EXPECT_EQ(lineOutcome("-A INPUT -m comment --comment \"a b"), problem("quote is not closed"));
}

TEST(RestoreText, WordsHaveTheToolsLimits) {
  const std::string comment = "-A INPUT -m comment --comment ";
  EXPECT_EQ(lineOutcome(comment + std::string(1023, 'a')), "accepted");
  EXPECT_EQ(lineOutcome(comment + std::string(1024, 'a')), problem("Parameter too long!"));
  std::string flags = "-A INPUT";
  for (int count = 0; count < 249; ++count) {
    flags += " -v";
  }
  EXPECT_EQ(lineOutcome(flags), "accepted");
  EXPECT_EQ(lineOutcome(flags + " -v"), problem("Parser cannot handle more arguments"));
}

TEST(RestoreText, ALineBeyondTheToolsBufferGoesOnAsTheNext) {
  EXPECT_EQ(lineOutcome("-A INPUT" + std::string(10231, ' ') + "-j ACCEPT"),
            problem("no command specified", "3"));
}

TEST(RestoreText, RulesOfTheOtherFamilyAreSkippedWhateverFollows) {
  const std::string lines = "-A INPUT -4 -j ACCEPT\n-A INPUT -6 -j DROP\n";
  EXPECT_THAT(inputRules(lines, Family::Ipv4), ElementsAre("-j ACCEPT"));
  EXPECT_THAT(inputRules(lines, Family::Ipv6), ElementsAre("-j DROP"));
  EXPECT_THAT(inputRules("-A nochain -6 -m junk --junk\n", Family::Ipv4), IsEmpty());
  EXPECT_EQ(lineOutcome("-A INPUT -m junk -6"),
            problem("Couldn't load match `junk':No such file or directory"));
}

TEST(RestoreText, ARulesTextStaysAsWrittenWithoutFamilyCommandAndCounters) {
  EXPECT_THAT(inputRules("[1:2] -A INPUT -c 3 4 -4 -p tcp  -m tcp\t--dport 80 --ipv4 -j ACCEPT \n"),
              ElementsAre("-p tcp  -m tcp\t--dport 80 -j ACCEPT"));
  EXPECT_THAT(inputRules("-p tcp -A INPUT -4fj ACCEPT\n-fAINPUT\n-A INPUT\n"),
              ElementsAre("-p tcp -fj ACCEPT", "-f", ""));
}

TEST(RestoreText, CountersInFrontOfARuleNeedTheirForm) {
  EXPECT_EQ(lineOutcome("[1:2 -A INPUT"), problem("Bad line 2: need ]"));
  EXPECT_EQ(lineOutcome("[12] -A INPUT"), problem("Bad line 2: need ]"));
}

TEST(RestoreText, AnAddressListBecomesOneRulePerPair) {
  EXPECT_THAT(inputRules("-A INPUT -s 10.0.0.1,10.0.0.2 -d 10.1.0.0/16,10.2.0.1 -j DROP\n"),
              ElementsAre("-s 10.0.0.1 -d 10.1.0.0/16 -j DROP", "-s 10.0.0.1 -d 10.2.0.1 -j DROP",
                          "-s 10.0.0.2 -d 10.1.0.0/16 -j DROP", "-s 10.0.0.2 -d 10.2.0.1 -j DROP"));
}

TEST(RestoreText, TablesAreCommittedOneByOneUntilTheFault) {
  std::vector<std::string> committed;
  const RestoreActions actions{
      [](const TableLayout& layout) { return Table(Family::Ipv4, layout); },
      [&](const Table& table) { committed.emplace_back(table.name()); }};
  EXPECT_THROW(applyRestoreText(Family::Ipv4,
                                "*filter\nCOMMIT\n*nat\nCOMMIT\n*mangle\n-A INPUT -q\nCOMMIT\n",
                                false, actions),
               RestoreFailure);
  EXPECT_THAT(committed, ElementsAre("filter", "nat"));
}

TEST(RestoreText, KeepingTheOldTableEmptiesOnlyDeclaredUserChains) {
  const std::vector<Table> old = parseRestoreText(
      Family::Ipv4,
      "*filter\n:a - [0:0]\n:b - [0:0]\n-A INPUT -j a\n-A a -j DROP\n-A b -j DROP\nCOMMIT\n");
  std::string saved;
  const RestoreActions actions{[&](const TableLayout&) { return old.front(); },
                               [&](const Table& table) { saved = saveText(table); }};
  applyRestoreText(Family::Ipv4, "*filter\n:a - [0:0]\n-A INPUT -j b\nCOMMIT\n", true, actions);
  EXPECT_EQ(saved,
            "# Generated by the testbed's iptables-save\n"
            "*filter\n"
            ":INPUT ACCEPT [0:0]\n"
            ":FORWARD ACCEPT [0:0]\n"
            ":OUTPUT ACCEPT [0:0]\n"
            ":a - [0:0]\n"
            ":b - [0:0]\n"
            "-A INPUT -j a\n"
            "-A INPUT -j b\n"
            "-A b -j DROP\n"
            "COMMIT\n"
            "# Completed by the testbed's iptables-save\n");
}

}  // namespace
}  // namespace file_tables
