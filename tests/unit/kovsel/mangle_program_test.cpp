// The rules of mangle PREROUTING, whole, for small households.
#include <gtest/gtest.h>

#include <regex>
#include <string>

#include "tests/unit/kovsel/household.h"

namespace kovsel_test {
namespace {

class MangleRules : public testing::TestWithParam<RulesCase> {};

TEST_P(MangleRules, AreTheseForThisHousehold) {
  configure(GetParam().options);
  EXPECT_EQ(mangleRules(), tagged(GetParam().rules));
}

// The rules at the end of chain number `from` that label a connection. They make two chains:
// `marked` and the next one, for connections whose application can and cannot be told.
std::string labelling(int from, int marked, const std::string& label) {
  std::string rules = R"(:<marked> - [0:0]
-A <from> -p udp -g <marked>
-A <from> -p tcp -g <marked>
:<unmarked> - [0:0]
-A <from> -g <unmarked>
-A <unmarked> -m tavrix-connlabel --set --label <label>
-A <marked> -p udp -m multiport ! --ports 1024:65535 -g <unmarked>
-A <marked> -p tcp -m multiport ! --ports 1024:65535 -g <unmarked>
-A <marked> -m connbytes ! --connbytes 3 --connbytes-dir both --connbytes-mode packets -g <unmarked>
-A <marked> -m tavrix-connlabel --set --mark 0x1 --label <label>
)";
  const auto chain = [](int number) { return "ipt_compiler_" + std::to_string(number); };
  rules = std::regex_replace(rules, std::regex("<from>"), chain(from));
  rules = std::regex_replace(rules, std::regex("<marked>"), chain(marked));
  rules = std::regex_replace(rules, std::regex("<unmarked>"), chain(marked + 1));
  return std::regex_replace(rules, std::regex("<label>"), label);
}

const std::string kLabelOnly = R"(
:ipt_compiler_0 - [0:0]
-A PREROUTING -m set --match-set tablets src -m tavrix-connlabel ! --label 50 -j ipt_compiler_0
)" + labelling(0, 1, "50");

const std::string kOneNode = R"(
:ipt_compiler_0 - [0:0]
-A PREROUTING -m set --match-set tablets src -m tavrix-connlabel ! --label 50 -j ipt_compiler_0
-A ipt_compiler_0 -m tavrix-connstat --set --stat-node 501
)" + labelling(0, 1, "50");

const std::string kTwoNodes = R"(
:ipt_compiler_0 - [0:0]
-A PREROUTING -m set --match-set tablets src -m tavrix-connlabel ! --label 50 -j ipt_compiler_0
:ipt_compiler_1 - [0:0]
-A ipt_compiler_0 -j ipt_compiler_1
:ipt_compiler_2 - [0:0]
-A ipt_compiler_1 -m mac --mac-source 02:00:00:00:00:01 -g ipt_compiler_2
-A ipt_compiler_1 -m tavrix-connstat --set --stat-node 502
-A ipt_compiler_2 -m tavrix-connstat --set --stat-node 501
)" + labelling(0, 3, "50");

const std::string kClassMark = R"(
:ipt_compiler_0 - [0:0]
-A PREROUTING -m set --match-set tablets src -m tavrix-connlabel ! --label 50 -j ipt_compiler_0
-A ipt_compiler_0 -m tavrix-conndurvan --mark
)" + labelling(0, 1, "50");

const RulesCase kMangleCases[] = {
    {"NoSettings", "", ""},
    {"NoUsers", R"(
option mac_set_user5 tablets
option label_user5 50
)",
     ""},
    {"NoMacSet", R"(
list user_list 5
option label_user5 50
list mac_user5 02:00:00:00:00:01
list mac_label_user5 501
list class_user5 7
)",
     ""},
    {"NoLabel", R"(
list user_list 5
option mac_set_user5 tablets
list mac_user5 02:00:00:00:00:01
list mac_label_user5 501
list class_user5 7
)",
     ""},
    {"NothingButMacSetAndLabel", R"(
list user_list 5
option mac_set_user5 tablets
option label_user5 50
)",
     kLabelOnly},
    {"OnlyTheFirstMacSetAndTheFirstLabelCount", R"(
list user_list 5
list mac_set_user5 tablets
list mac_set_user5 phones
list label_user5 50
list label_user5 51
)",
     kLabelOnly},
    {"SettingsOfOtherTablesChangeNothing", R"(
list user_list 5
option mac_set_user5 tablets
option label_user5 50
option reject_user5 1
option blacklist_v4_user5 b4
option blacklist_v6_user5 b6
option keywords_user5 hosts
option host_counter_user5 1
option app_counter_user5 2
list class_reject_user5 3
list class_3_except_user5 4
list class_label_user5 5
)",
     kLabelOnly},
    {"AnEmptyMacSetLeavesTheTextWithoutItsName", R"(
list user_list 5
option mac_set_user5 ''
option label_user5 50
)",
     R"(
:ipt_compiler_0 - [0:0]
-A PREROUTING -m set --match-set src -m tavrix-connlabel ! --label 50 -j ipt_compiler_0
)" + labelling(0, 1, "50")},
    {"MacsWithoutNodes", R"(
list user_list 5
option mac_set_user5 tablets
option label_user5 50
list mac_user5 02:00:00:00:00:01
list mac_user5 02:00:00:00:00:02
)",
     kLabelOnly},
    {"NodesWithoutMacs", R"(
list user_list 5
option mac_set_user5 tablets
option label_user5 50
list mac_label_user5 501
list mac_label_user5 502
)",
     kLabelOnly},
    {"OneMacWithItsNodeIsNeverTested", R"(
list user_list 5
option mac_set_user5 tablets
option label_user5 50
list mac_user5 02:00:00:00:00:01
list mac_label_user5 501
)",
     kOneNode},
    {"AnEmptyMacThatIsNeverTestedIsNoError", R"(
list user_list 5
option mac_set_user5 tablets
option label_user5 50
list mac_user5 ''
list mac_label_user5 501
)",
     kOneNode},
    {"AnEmptyNodeIsATextWithoutItsNumber", R"(
list user_list 5
option mac_set_user5 tablets
option label_user5 50
list mac_user5 02:00:00:00:00:01
list mac_label_user5 ''
)",
     R"(
:ipt_compiler_0 - [0:0]
-A PREROUTING -m set --match-set tablets src -m tavrix-connlabel ! --label 50 -j ipt_compiler_0
-A ipt_compiler_0 -m tavrix-connstat --set --stat-node
)" + labelling(0, 1, "50")},
    {"TwoMacsWithEmptyNodes", R"(
list user_list 5
option mac_set_user5 tablets
option label_user5 50
list mac_user5 02:00:00:00:00:01
list mac_user5 02:00:00:00:00:02
list mac_label_user5 ''
list mac_label_user5 ''
)",
     R"(
:ipt_compiler_0 - [0:0]
-A PREROUTING -m set --match-set tablets src -m tavrix-connlabel ! --label 50 -j ipt_compiler_0
:ipt_compiler_1 - [0:0]
-A ipt_compiler_0 -j ipt_compiler_1
:ipt_compiler_2 - [0:0]
-A ipt_compiler_1 -m mac --mac-source 02:00:00:00:00:01 -g ipt_compiler_2
-A ipt_compiler_1 -m tavrix-connstat --set --stat-node
-A ipt_compiler_2 -m tavrix-connstat --set --stat-node
)" + labelling(0, 3, "50")},
    {"SurplusNodesAreIgnored", R"(
list user_list 5
option mac_set_user5 tablets
option label_user5 50
list mac_user5 02:00:00:00:00:01
list mac_label_user5 501
list mac_label_user5 502
list mac_label_user5 503
)",
     kOneNode},
    {"TwoMacsWithTwoNodes", R"(
list user_list 5
option mac_set_user5 tablets
option label_user5 50
list mac_user5 02:00:00:00:00:01
list mac_user5 02:00:00:00:00:02
list mac_label_user5 501
list mac_label_user5 502
)",
     kTwoNodes},
    {"ThreeMacsWithTwoNodesFallThroughToTheSecondNode", R"(
list user_list 5
option mac_set_user5 tablets
option label_user5 50
list mac_user5 02:00:00:00:00:01
list mac_user5 02:00:00:00:00:02
list mac_user5 02:00:00:00:00:03
list mac_label_user5 501
list mac_label_user5 502
)",
     kTwoNodes},
    {"ThreeMacsWithThreeNodesAndAClassMark", R"(
list user_list 5
option mac_set_user5 tablets
option label_user5 50
list mac_user5 02:00:00:00:00:01
list mac_user5 02:00:00:00:00:02
list mac_user5 02:00:00:00:00:03
list mac_label_user5 501
list mac_label_user5 502
list mac_label_user5 503
list class_user5 7
list class_user5 8
)",
     R"(
:ipt_compiler_0 - [0:0]
-A PREROUTING -m set --match-set tablets src -m tavrix-connlabel ! --label 50 -j ipt_compiler_0
:ipt_compiler_1 - [0:0]
-A ipt_compiler_0 -j ipt_compiler_1
:ipt_compiler_2 - [0:0]
-A ipt_compiler_1 -m mac --mac-source 02:00:00:00:00:01 -g ipt_compiler_2
:ipt_compiler_3 - [0:0]
-A ipt_compiler_1 -m mac --mac-source 02:00:00:00:00:02 -g ipt_compiler_3
-A ipt_compiler_1 -m tavrix-connstat --set --stat-node 503
-A ipt_compiler_3 -m tavrix-connstat --set --stat-node 502
-A ipt_compiler_2 -m tavrix-connstat --set --stat-node 501
-A ipt_compiler_0 -m tavrix-conndurvan --mark
)" + labelling(0, 4, "50")},
    {"OneClass", R"(
list user_list 5
option mac_set_user5 tablets
option label_user5 50
option class_user5 7
)",
     kClassMark},
    {"AnEmptyClassIsAClass", R"(
list user_list 5
option mac_set_user5 tablets
option label_user5 50
option class_user5 ''
)",
     kClassMark},
    {"TwoUsersInTheOrderOfTheList", R"(
list user_list 6
list user_list 5
option mac_set_user5 tablets
option label_user5 50
option mac_set_user6 phones
option label_user6 60
option class_user6 7
)",
     R"(
:ipt_compiler_0 - [0:0]
-A PREROUTING -m set --match-set phones src -m tavrix-connlabel ! --label 60 -j ipt_compiler_0
-A ipt_compiler_0 -m tavrix-conndurvan --mark
)" + labelling(0, 1, "60") +
         R"(
:ipt_compiler_3 - [0:0]
-A PREROUTING -m set --match-set tablets src -m tavrix-connlabel ! --label 50 -j ipt_compiler_3
)" + labelling(3, 4, "50")},
};

INSTANTIATE_TEST_SUITE_P(, MangleRules, testing::ValuesIn(kMangleCases),
                         [](const auto& test) { return test.param.name; });

TEST(MangleProgram, OfAUserWhoIsListedTwiceIsThereTwice) {
  const std::string settings = "option mac_set_user3 tablets\noption label_user3 50\n";
  configure("list user_list 3\nlist user_list 03\n" + settings);
  const std::string both = mangleRules();
  configure(
      "list user_list 3\nlist user_list 4\noption mac_set_user4 tablets\n"
      "option label_user4 50\n" +
      settings);
  EXPECT_EQ(both, mangleRules());
  configure("list user_list 3\n" + settings);
  EXPECT_EQ(both.substr(0, mangleRules().size()), mangleRules());
  EXPECT_GT(both.size(), mangleRules().size());
}

TEST(MangleProgram, OfNoUsersIsOneEmptyNode) {
  configure("");
  const tavrix::IptProg program = tavrix::kovsel::mangleProgram();
  EXPECT_EQ(program.first, program.last);
  EXPECT_TRUE(program.first->targets.empty());
  EXPECT_TRUE(program.first->matches.items.empty());
}

}  // namespace
}  // namespace kovsel_test
