// The rules of filter FORWARD and INPUT, whole, for small households.
#include <gtest/gtest.h>

#include "ipt_compiler/ir_graph.h"
#include "tests/unit/kovsel/household.h"

namespace kovsel_test {
namespace {

// For user 5, who is the only one listed and has the label 50.
class ForwardRules : public testing::TestWithParam<RulesCase> {};

TEST_P(ForwardRules, AreTheseForThisUser) {
  configure("list user_list 5\noption label_user5 50\n" + std::string(GetParam().options));
  EXPECT_EQ(forwardRules(), tagged(GetParam().rules));
}

constexpr const char* kRejectMarked = R"(
:ipt_compiler_0 - [0:0]
-A FORWARD -m tavrix-connlabel --label 50 -m tavrix-connlabel --mark 0x1 --label 50 -j ipt_compiler_0
-A ipt_compiler_0 -p tcp -j REJECT --reject-with tcp-reset
-A ipt_compiler_0 -j REJECT
)";

constexpr const char* kRejectAll = R"(
:ipt_compiler_0 - [0:0]
-A FORWARD -m tavrix-connlabel --label 50 -j ipt_compiler_0
-A ipt_compiler_0 -p tcp -j REJECT --reject-with tcp-reset
-A ipt_compiler_0 -j REJECT
)";

constexpr const char* kRejectClass = R"(
:ipt_compiler_0 - [0:0]
-A FORWARD -m tavrix-connlabel --label 50 -j ipt_compiler_0
:ipt_compiler_1 - [0:0]
-A ipt_compiler_0 -m tavrix-conndurvan --class 3 -j ipt_compiler_1
-A ipt_compiler_1 -p tcp -j REJECT --reject-with tcp-reset
-A ipt_compiler_1 -j REJECT
:ipt_compiler_2 - [0:0]
-A ipt_compiler_0 -m tavrix-connlabel --mark 0x1 --label 50 -j ipt_compiler_2
-A ipt_compiler_2 -p tcp -j REJECT --reject-with tcp-reset
-A ipt_compiler_2 -j REJECT
)";

constexpr const char* kCountOneClass = R"(
:ipt_compiler_0 - [0:0]
-A FORWARD -m tavrix-connlabel --label 50 -j ipt_compiler_0
:ipt_compiler_1 - [0:0]
-A ipt_compiler_0 -m tavrix-connlabel --mark 0x1 --label 50 -j ipt_compiler_1
-A ipt_compiler_1 -p tcp -j REJECT --reject-with tcp-reset
-A ipt_compiler_1 -j REJECT
-A ipt_compiler_0 -m tavrix-conndurvan --class 7 -m tavrix-connstat --set --stat-node 607
)";

constexpr const char* kKeywordsOnly = R"(
:ipt_compiler_0 - [0:0]
-A FORWARD -m tavrix-connlabel --label 50 -j ipt_compiler_0
-A ipt_compiler_0 -p tcp -m connbytes ! --connbytes 3 --connbytes-dir original --connbytes-mode packets -j MARK --set-mark 0x20/0x20
:ipt_compiler_1 - [0:0]
-A ipt_compiler_0 -m tavrix-xthostset --set-name hosts -j ipt_compiler_1
-A ipt_compiler_1 -p tcp -j REJECT --reject-with tcp-reset
-A ipt_compiler_1 -j REJECT
:ipt_compiler_2 - [0:0]
-A ipt_compiler_0 -m tavrix-connlabel --mark 0x1 --label 50 -j ipt_compiler_2
-A ipt_compiler_2 -p tcp -j REJECT --reject-with tcp-reset
-A ipt_compiler_2 -j REJECT
)";

constexpr const char* kKeywordsAndClasses = R"(
:ipt_compiler_0 - [0:0]
-A FORWARD -m tavrix-connlabel --label 50 -j ipt_compiler_0
:ipt_compiler_1 - [0:0]
-A ipt_compiler_0 -m tavrix-xthostset --set-name hosts -j ipt_compiler_1
-A ipt_compiler_1 -p tcp -j REJECT --reject-with tcp-reset
-A ipt_compiler_1 -j REJECT
:ipt_compiler_2 - [0:0]
-A ipt_compiler_0 -m tavrix-connlabel --mark 0x1 --label 50 -j ipt_compiler_2
-A ipt_compiler_2 -p tcp -j REJECT --reject-with tcp-reset
-A ipt_compiler_2 -j REJECT
)";

const RulesCase kFilterCases[] = {
    {"OnlyALabel", "", kRejectMarked},
    {"OnlyTheFirstLabelCounts", "list label_user5 51\n", kRejectMarked},
    {"SettingsOfTheMangleTableAndCountersChangeNothing", R"(
option mac_set_user5 tablets
list mac_user5 02:00:00:00:00:01
list mac_label_user5 501
option host_counter_user5 1
option app_counter_user5 2
)",
     kRejectMarked},
    {"BlacklistsAloneChangeNothing", R"(
option blacklist_v4_user5 b4
option blacklist_v6_user5 b6
)",
     kRejectMarked},
    {"Rejected", "option reject_user5 1\n", kRejectAll},
    {"RejectedAndEverythingElse", R"(
option reject_user5 1
option blacklist_v4_user5 b4
option blacklist_v6_user5 b6
option keywords_user5 hosts
option host_counter_user5 1
option app_counter_user5 2
option class_reject_user5 3
option class_3_except_user5 31
option class_label_user5 607
)",
     kRejectAll},
    {"OnlyTheFirstRejectCounts", "list reject_user5 1\nlist reject_user5 0\n", kRejectAll},
    {"ASecondRejectDoesNotCount", "list reject_user5 0\nlist reject_user5 1\n", kRejectMarked},
    {"RejectTrue", "option reject_user5 true\n", kRejectMarked},
    {"RejectZeroOne", "option reject_user5 01\n", kRejectMarked},
    {"RejectEmpty", "option reject_user5 ''\n", kRejectMarked},
    {"KeywordsWithoutClassesMarkShortConnections", "option keywords_user5 hosts\n", kKeywordsOnly},
    {"OnlyTheFirstKeywordSetCounts", "list keywords_user5 hosts\nlist keywords_user5 other\n",
     kKeywordsOnly},
    {"KeywordsWithAClassMarkNothing", "option keywords_user5 hosts\noption class_user5 7\n",
     kKeywordsAndClasses},
    {"AnEmptyClassIsAClass", "option keywords_user5 hosts\noption class_user5 ''\n",
     kKeywordsAndClasses},
    {"BlockedClassesDoNotKeepShortConnectionsFromTheirMark", R"(
option keywords_user5 hosts
option class_reject_user5 3
)",
     R"(
:ipt_compiler_0 - [0:0]
-A FORWARD -m tavrix-connlabel --label 50 -j ipt_compiler_0
-A ipt_compiler_0 -p tcp -m connbytes ! --connbytes 3 --connbytes-dir original --connbytes-mode packets -j MARK --set-mark 0x20/0x20
:ipt_compiler_1 - [0:0]
-A ipt_compiler_0 -m tavrix-xthostset --set-name hosts -j ipt_compiler_1
-A ipt_compiler_1 -p tcp -j REJECT --reject-with tcp-reset
-A ipt_compiler_1 -j REJECT
:ipt_compiler_2 - [0:0]
-A ipt_compiler_0 -m tavrix-conndurvan --class 3 -j ipt_compiler_2
-A ipt_compiler_2 -p tcp -j REJECT --reject-with tcp-reset
-A ipt_compiler_2 -j REJECT
:ipt_compiler_3 - [0:0]
-A ipt_compiler_0 -m tavrix-connlabel --mark 0x1 --label 50 -j ipt_compiler_3
-A ipt_compiler_3 -p tcp -j REJECT --reject-with tcp-reset
-A ipt_compiler_3 -j REJECT
)"},
    {"EmptyBlacklistsAreSetsWithoutAName", R"(
option blacklist_v4_user5 ''
option blacklist_v6_user5 ''
option keywords_user5 hosts
option class_user5 7
)",
     R"(
:ipt_compiler_0 - [0:0]
-A FORWARD -m tavrix-connlabel --label 50 -j ipt_compiler_0
:ipt_compiler_1 - [0:0]
-A ipt_compiler_0 -m tavrix-xthostset --set-name hosts -j ipt_compiler_1
-A ipt_compiler_1 -4 -m conntrack --ctdir ORIGINAL -j SET --add-set dst --exist
-A ipt_compiler_1 -6 -m conntrack --ctdir ORIGINAL -j SET --add-set dst --exist
-A ipt_compiler_1 -p tcp -j REJECT --reject-with tcp-reset
-A ipt_compiler_1 -j REJECT
:ipt_compiler_2 - [0:0]
-A ipt_compiler_0 -m tavrix-connlabel --mark 0x1 --label 50 -j ipt_compiler_2
-A ipt_compiler_2 -p tcp -j REJECT --reject-with tcp-reset
-A ipt_compiler_2 -j REJECT
)"},
    {"OneBlockedClass", "option class_reject_user5 3\n", kRejectClass},
    {"OnlyTheFirstCounterOfAClassCounts", R"(
option class_reject_user5 3
list app_counter_user5 2
list app_counter_user5 9
)",
     R"(
:ipt_compiler_0 - [0:0]
-A FORWARD -m tavrix-connlabel --label 50 -j ipt_compiler_0
:ipt_compiler_1 - [0:0]
-A ipt_compiler_0 -m tavrix-conndurvan --class 3 -j ipt_compiler_1
-A ipt_compiler_1 -m tavrix-xtcounter --inc 2
-A ipt_compiler_1 -p tcp -j REJECT --reject-with tcp-reset
-A ipt_compiler_1 -j REJECT
:ipt_compiler_2 - [0:0]
-A ipt_compiler_0 -m tavrix-connlabel --mark 0x1 --label 50 -j ipt_compiler_2
-A ipt_compiler_2 -p tcp -j REJECT --reject-with tcp-reset
-A ipt_compiler_2 -j REJECT
)"},
    {"AnEmptyCounterIsATextWithoutItsNumber",
     "option class_reject_user5 3\noption app_counter_user5 ''\n", R"(
:ipt_compiler_0 - [0:0]
-A FORWARD -m tavrix-connlabel --label 50 -j ipt_compiler_0
:ipt_compiler_1 - [0:0]
-A ipt_compiler_0 -m tavrix-conndurvan --class 3 -j ipt_compiler_1
-A ipt_compiler_1 -m tavrix-xtcounter --inc
-A ipt_compiler_1 -p tcp -j REJECT --reject-with tcp-reset
-A ipt_compiler_1 -j REJECT
:ipt_compiler_2 - [0:0]
-A ipt_compiler_0 -m tavrix-connlabel --mark 0x1 --label 50 -j ipt_compiler_2
-A ipt_compiler_2 -p tcp -j REJECT --reject-with tcp-reset
-A ipt_compiler_2 -j REJECT
)"},
    {"AnExceptionOfAnotherClassDoesNotCount", R"(
option class_reject_user5 3
option class_4_except_user5 31
)",
     kRejectClass},
    {"TheOtherCounterCountsNothingHere", R"(
option class_reject_user5 3
option host_counter_user5 1
)",
     kRejectClass},
    {"TwoBlockedClassesTheFirstWithAnException", R"(
list class_reject_user5 3
list class_reject_user5 4
option class_3_except_user5 31
option app_counter_user5 2
)",
     R"(
:ipt_compiler_0 - [0:0]
-A FORWARD -m tavrix-connlabel --label 50 -j ipt_compiler_0
:ipt_compiler_1 - [0:0]
-A ipt_compiler_0 -j ipt_compiler_1
:ipt_compiler_2 - [0:0]
-A ipt_compiler_1 -m tavrix-conndurvan --class 3 -m tavrix-conndurvan --invert --subclass 31 -g ipt_compiler_2
:ipt_compiler_3 - [0:0]
-A ipt_compiler_1 -m tavrix-conndurvan --class 4 -j ipt_compiler_3
-A ipt_compiler_3 -m tavrix-xtcounter --inc 2
-A ipt_compiler_3 -p tcp -j REJECT --reject-with tcp-reset
-A ipt_compiler_3 -j REJECT
-A ipt_compiler_2 -m tavrix-xtcounter --inc 2
-A ipt_compiler_2 -p tcp -j REJECT --reject-with tcp-reset
-A ipt_compiler_2 -j REJECT
:ipt_compiler_4 - [0:0]
-A ipt_compiler_0 -m tavrix-connlabel --mark 0x1 --label 50 -j ipt_compiler_4
-A ipt_compiler_4 -p tcp -j REJECT --reject-with tcp-reset
-A ipt_compiler_4 -j REJECT
)"},
    {"OneCountedClass", "option class_user5 7\noption class_label_user5 607\n", kCountOneClass},
    {"ThreeClassesWithOneNode", R"(
list class_user5 7
list class_user5 8
list class_user5 9
list class_label_user5 607
)",
     kCountOneClass},
    {"OneClassWithThreeNodes", R"(
list class_user5 7
list class_label_user5 607
list class_label_user5 608
list class_label_user5 609
)",
     kCountOneClass},
    {"ClassesWithoutNodes", "list class_user5 7\nlist class_user5 8\n", kRejectMarked},
    {"NodesWithoutClasses", "list class_label_user5 607\n", kRejectMarked},
    {"AnEmptyNodeIsATextWithoutItsNumber", "option class_user5 7\noption class_label_user5 ''\n",
     R"(
:ipt_compiler_0 - [0:0]
-A FORWARD -m tavrix-connlabel --label 50 -j ipt_compiler_0
:ipt_compiler_1 - [0:0]
-A ipt_compiler_0 -m tavrix-connlabel --mark 0x1 --label 50 -j ipt_compiler_1
-A ipt_compiler_1 -p tcp -j REJECT --reject-with tcp-reset
-A ipt_compiler_1 -j REJECT
-A ipt_compiler_0 -m tavrix-conndurvan --class 7 -m tavrix-connstat --set --stat-node
)"},
    {"AWholeChild", R"(
option blacklist_v4_user5 b4
option blacklist_v6_user5 b6
option keywords_user5 hosts
option host_counter_user5 1
option app_counter_user5 2
option class_reject_user5 3
option class_3_except_user5 31
list class_user5 7
list class_user5 8
list class_label_user5 607
list class_label_user5 608
list class_7_except_user5 71
list class_7_except_user5 72
)",
     R"(
:ipt_compiler_0 - [0:0]
-A FORWARD -m tavrix-connlabel --label 50 -j ipt_compiler_0
:ipt_compiler_1 - [0:0]
-A ipt_compiler_0 -m tavrix-xthostset --set-name hosts -j ipt_compiler_1
-A ipt_compiler_1 -4 -m conntrack --ctdir ORIGINAL -j SET --add-set b4 dst --exist
-A ipt_compiler_1 -6 -m conntrack --ctdir ORIGINAL -j SET --add-set b6 dst --exist
-A ipt_compiler_1 -m tavrix-xtcounter --inc 1
-A ipt_compiler_1 -p tcp -j REJECT --reject-with tcp-reset
-A ipt_compiler_1 -j REJECT
:ipt_compiler_2 - [0:0]
-A ipt_compiler_0 -m tavrix-conndurvan --class 3 -m tavrix-conndurvan --invert --subclass 31 -j ipt_compiler_2
-A ipt_compiler_2 -4 -m conntrack --ctdir ORIGINAL -j SET --add-set b4 dst --exist
-A ipt_compiler_2 -6 -m conntrack --ctdir ORIGINAL -j SET --add-set b6 dst --exist
-A ipt_compiler_2 -m tavrix-xtcounter --inc 2
-A ipt_compiler_2 -p tcp -j REJECT --reject-with tcp-reset
-A ipt_compiler_2 -j REJECT
:ipt_compiler_3 - [0:0]
-A ipt_compiler_0 -m tavrix-connlabel --mark 0x1 --label 50 -j ipt_compiler_3
-A ipt_compiler_3 -p tcp -j REJECT --reject-with tcp-reset
-A ipt_compiler_3 -j REJECT
-A ipt_compiler_0 -m tavrix-conndurvan --class 7 -m tavrix-conndurvan --invert --subclass 71 -m tavrix-conndurvan --invert --subclass 72 -m tavrix-connstat --set --stat-node 607
-A ipt_compiler_0 -m tavrix-conndurvan --class 8 -m tavrix-connstat --set --stat-node 608
)"},
};

INSTANTIATE_TEST_SUITE_P(, ForwardRules, testing::ValuesIn(kFilterCases),
                         [](const auto& test) { return test.param.name; });

TEST(ForwardProgram, OfNoUsersIsOneEmptyNode) {
  configure("option label_user5 50\n");
  const tavrix::IptProg program = tavrix::kovsel::filterForwardProgram();
  EXPECT_EQ(program.first, program.last);
  EXPECT_TRUE(program.first->targets.empty());
  EXPECT_TRUE(program.first->matches.items.empty());
}

TEST(InputProgram, OfNoUsersTestsThePortForNothing) {
  configure("");
  const tavrix::IptProg program = tavrix::kovsel::filterInputProgram();
  EXPECT_EQ(tavrix::matchesText(program.first->matches), "-p tcp -m tcp --dport 8099");
  EXPECT_EQ(inputRules(), "");
}

TEST(InputProgram, LeavesOutTheRedirectServiceForAllUsersTogether) {
  configure(
      "list user_list 5\nlist user_list 6\noption label_user5 50\noption reject_user5 1\n"
      "option label_user6 60\n");
  EXPECT_EQ(inputRules(), tagged(R"(
:ipt_compiler_0 - [0:0]
-A INPUT -j ipt_compiler_0
-A ipt_compiler_0 -p tcp -m tcp --dport 8099 -j RETURN
:ipt_compiler_1 - [0:0]
-A ipt_compiler_0 -m tavrix-connlabel --label 50 -j ipt_compiler_1
-A ipt_compiler_1 -p tcp -j REJECT --reject-with tcp-reset
-A ipt_compiler_1 -j REJECT
:ipt_compiler_2 - [0:0]
-A ipt_compiler_0 -m tavrix-connlabel --label 60 -m tavrix-connlabel --mark 0x1 --label 60 -j ipt_compiler_2
-A ipt_compiler_2 -p tcp -j REJECT --reject-with tcp-reset
-A ipt_compiler_2 -j REJECT
)"));
}

TEST(InputProgram, HasEverythingOfForwardButTheBlacklists) {
  configure(R"(
list user_list 5
option label_user5 50
option blacklist_v4_user5 b4
option blacklist_v6_user5 b6
option keywords_user5 hosts
option host_counter_user5 1
option app_counter_user5 2
option class_reject_user5 3
list class_user5 7
list class_label_user5 607
)");
  EXPECT_EQ(inputRules(), tagged(R"(
:ipt_compiler_0 - [0:0]
-A INPUT -j ipt_compiler_0
-A ipt_compiler_0 -p tcp -m tcp --dport 8099 -j RETURN
:ipt_compiler_1 - [0:0]
-A ipt_compiler_0 -m tavrix-connlabel --label 50 -j ipt_compiler_1
:ipt_compiler_2 - [0:0]
-A ipt_compiler_1 -m tavrix-xthostset --set-name hosts -j ipt_compiler_2
-A ipt_compiler_2 -m tavrix-xtcounter --inc 1
-A ipt_compiler_2 -p tcp -j REJECT --reject-with tcp-reset
-A ipt_compiler_2 -j REJECT
:ipt_compiler_3 - [0:0]
-A ipt_compiler_1 -m tavrix-conndurvan --class 3 -j ipt_compiler_3
-A ipt_compiler_3 -m tavrix-xtcounter --inc 2
-A ipt_compiler_3 -p tcp -j REJECT --reject-with tcp-reset
-A ipt_compiler_3 -j REJECT
:ipt_compiler_4 - [0:0]
-A ipt_compiler_1 -m tavrix-connlabel --mark 0x1 --label 50 -j ipt_compiler_4
-A ipt_compiler_4 -p tcp -j REJECT --reject-with tcp-reset
-A ipt_compiler_4 -j REJECT
-A ipt_compiler_1 -m tavrix-conndurvan --class 7 -m tavrix-connstat --set --stat-node 607
)"));
}

}  // namespace
}  // namespace kovsel_test
