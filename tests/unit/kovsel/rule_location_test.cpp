// Every rule text of a program with its place in the source, as a household gives it that uses them
// all. Errors name these places.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <set>
#include <stack>
#include <string>
#include <variant>
#include <vector>

#include "firewall_cpp/kovsel/rule_texts.h"
#include "tests/unit/kovsel/household.h"

namespace kovsel_test {
namespace {

using tavrix::ProxyIrNode;

std::string located(const char* file, int line, const std::string& text) {
  return std::string(file) + ":" + std::to_string(line) + ": " + text;
}

// "<file>:<line>: <text>" of every target and every list of matches that can be reached, in the
// order in which control passes them: the way of a condition that holds first.
std::vector<std::string> locatedTexts(const tavrix::IptProg& program) {
  std::vector<std::string> texts;
  std::set<const ProxyIrNode*> seen;
  std::stack<const ProxyIrNode*> toVisit({program.first.get()});
  while (!toVisit.empty()) {
    const ProxyIrNode* const node = toVisit.top();
    toVisit.pop();
    if (node == nullptr || !seen.insert(node).second) continue;
    for (const tavrix::IptTarget& target : node->targets) {
      texts.push_back(located(target.file, target.line, target.text));
    }
    if (!node->matches.items.empty()) {
      const tavrix::IptMatchList& list = node->matches;
      texts.push_back(located(list.file, list.line, tavrix::matchesText(list)));
      for (const tavrix::IptMatch& match : list.items) {
        std::visit(
            [&list](const auto& option) {
              EXPECT_STREQ(option.file, list.file) << option.text;
              EXPECT_EQ(option.line, list.line) << option.text;
            },
            match);
      }
    }
    toVisit.push(node->successor[0].get());
    toVisit.push(node->successor[1].get());
  }
  return texts;
}

// The same with the common file left out; a text that stands elsewhere keeps its file.
std::vector<std::string> kovselTexts(Program program) {
  const std::string file = "firewall_cpp/kovsel/kovsel:";
  std::vector<std::string> texts = locatedTexts(program());
  for (std::string& text : texts) {
    if (text.starts_with(file)) text = text.substr(file.size());
  }
  return texts;
}

constexpr const char* kHousehold = R"(
list user_list 5
option mac_set_user5 tablets
option label_user5 50
list mac_user5 02:00:00:00:00:01
list mac_user5 02:00:00:00:00:02
list mac_label_user5 501
list mac_label_user5 502
option blacklist_v4_user5 b4
option blacklist_v6_user5 b6
option keywords_user5 hosts
option host_counter_user5 1
option app_counter_user5 2
option class_reject_user5 3
option class_3_except_user5 31
option class_user5 7
option class_7_except_user5 71
option class_label_user5 607
)";

TEST(RuleLocations, OfTheMangleProgram) {
  configure(kHousehold);
  const std::vector<std::string> expected = {
      "76: -m set --match-set tablets src",
      "55: -m tavrix-connlabel ! --label 50",
      "21: -m mac --mac-source 02:00:00:00:00:01",
      "22: -m tavrix-connstat --set --stat-node 501",
      "36: -m tavrix-conndurvan --mark",
      "40: -p udp",
      "41: -p udp -m multiport ! --ports 1024:65535",
      "59: -m tavrix-connlabel --set --label 50",
      "42: -p tcp -m multiport ! --ports 1024:65535",
      "46: -m connbytes ! --connbytes 3 --connbytes-dir both --connbytes-mode packets",
      "61: -m tavrix-connlabel --set --mark 0x1 --label 50",
      "40: -p tcp",
      "18: -m tavrix-connstat --set --stat-node 502",
  };
  EXPECT_EQ(kovselTexts(tavrix::kovsel::mangleProgram), expected);
}

TEST(RuleLocations, OfTheNatProgram) {
  configure(kHousehold);
  const std::vector<std::string> expected = {
      "106: -m tavrix-connlabel --label 50",
      "146: -p tcp",  // of a rejected user, behind a condition that never holds
      "146: -j REDIRECT --to-ports 8099",
      "114: -4 -m set --match-set b4 dst",
      "122: -4 -m conntrack --ctdir ORIGINAL",
      "123: -j SET --add-set b4 dst --exist",
      "146: -p tcp",
      "146: -j REDIRECT --to-ports 8099",
      "132: -6 -m set --match-set b6 dst",
      "140: -6 -m conntrack --ctdir ORIGINAL",
      "141: -j SET --add-set b6 dst --exist",
      "146: -p tcp",
      "146: -j REDIRECT --to-ports 8099",
      "154: -m tavrix-xthostset --set-name hosts",
      "177: -m tavrix-xtcounter --inc 1",
      "146: -p tcp",
      "146: -j REDIRECT --to-ports 8099",
      "160: -m tavrix-conndurvan --class 3",
      "165: -m tavrix-conndurvan --invert --subclass 31",
      "146: -p tcp",
      "146: -j REDIRECT --to-ports 8099",
  };
  EXPECT_THAT(kovselTexts(tavrix::kovsel::natPreroutingProgram),
              testing::UnorderedElementsAreArray(expected));
}

// What filter has for this household behind the label, in both chains.
std::vector<std::string> filterTexts() {
  std::vector<std::string> texts = {"106: -m tavrix-connlabel --label 50"};
  const std::vector<std::string> reject = {"252: -p tcp", "252: -j REJECT --reject-with tcp-reset",
                                           "253: -j REJECT"};
  const std::vector<std::string> refresh = {
      "122: -4 -m conntrack --ctdir ORIGINAL", "123: -j SET --add-set b4 dst --exist",
      "140: -6 -m conntrack --ctdir ORIGINAL", "141: -j SET --add-set b6 dst --exist"};
  const auto append = [&texts](const std::vector<std::string>& more) {
    texts.insert(texts.end(), more.begin(), more.end());
  };
  append(reject);
  append({"154: -m tavrix-xthostset --set-name hosts"});
  append(refresh);
  append({"177: -m tavrix-xtcounter --inc 1"});
  append(reject);
  append(
      {"160: -m tavrix-conndurvan --class 3", "165: -m tavrix-conndurvan --invert --subclass 31"});
  append(refresh);
  append({"177: -m tavrix-xtcounter --inc 2"});
  append(reject);
  append({"68: -m tavrix-connlabel --mark 0x1 --label 50"});
  append(reject);
  append({"217: -m tavrix-conndurvan --class 7", "222: -m tavrix-conndurvan --invert --subclass 71",
          "227: -m tavrix-connstat --set --stat-node 607"});
  return texts;
}

TEST(RuleLocations, OfTheForwardProgram) {
  configure(kHousehold);
  EXPECT_THAT(kovselTexts(tavrix::kovsel::filterForwardProgram),
              testing::UnorderedElementsAreArray(filterTexts()));
}

TEST(RuleLocations, OfTheInputProgram) {
  configure(kHousehold);
  std::vector<std::string> expected = filterTexts();
  expected.emplace_back("288: -p tcp -m tcp --dport 8099");
  EXPECT_THAT(kovselTexts(tavrix::kovsel::filterInputProgram),
              testing::UnorderedElementsAreArray(expected));
}

TEST(RuleLocations, OfTheMarkOfShortConnections) {
  configure("list user_list 5\noption label_user5 50\noption keywords_user5 hosts\n");
  EXPECT_THAT(
      kovselTexts(tavrix::kovsel::filterForwardProgram),
      testing::IsSupersetOf({"245: -p tcp -m connbytes ! --connbytes 3 --connbytes-dir original "
                             "--connbytes-mode packets",
                             "246: -j MARK --set-mark 0x20/0x20"}));
}

}  // namespace
}  // namespace kovsel_test
