// The rules of nat PREROUTING, whole, for small households.
#include <gtest/gtest.h>

#include "tests/unit/kovsel/household.h"

namespace kovsel_test {
namespace {

// For user 5, who is the only one listed.
class NatRules : public testing::TestWithParam<RulesCase> {};

TEST_P(NatRules, AreTheseForThisUser) {
  configure("list user_list 5\n" + std::string(GetParam().options));
  EXPECT_EQ(natRules(), tagged(GetParam().rules));
}

constexpr const char* kRedirectAll =
    "-A PREROUTING -p tcp -m tavrix-connlabel --label 50 -j REDIRECT --to-ports 8099";

constexpr const char* kRedirectHosts =
    "-A PREROUTING -p tcp -m tavrix-connlabel --label 50 -m tavrix-xthostset --set-name hosts "
    "-j REDIRECT --to-ports 8099";

constexpr const char* kRedirectAndCountHosts = R"(
:ipt_compiler_0 - [0:0]
-A PREROUTING -m tavrix-connlabel --label 50 -m tavrix-xthostset --set-name hosts -j ipt_compiler_0
-A ipt_compiler_0 -m tavrix-xtcounter --inc 1
-A ipt_compiler_0 -p tcp -j REDIRECT --to-ports 8099
)";

constexpr const char* kBlacklistV4 = R"(
:ipt_compiler_0 - [0:0]
-A PREROUTING -4 -m tavrix-connlabel --label 50 -m set --match-set b4 dst -j ipt_compiler_0
-A ipt_compiler_0 -4 -m conntrack --ctdir ORIGINAL -j SET --add-set b4 dst --exist
-A ipt_compiler_0 -p tcp -j REDIRECT --to-ports 8099
)";

constexpr const char* kBlacklistV6 = R"(
:ipt_compiler_0 - [0:0]
-A PREROUTING -6 -m tavrix-connlabel --label 50 -m set --match-set b6 dst -j ipt_compiler_0
-A ipt_compiler_0 -6 -m conntrack --ctdir ORIGINAL -j SET --add-set b6 dst --exist
-A ipt_compiler_0 -p tcp -j REDIRECT --to-ports 8099
)";

const RulesCase kNatCases[] = {
    {"NothingAtAll", "", ""},
    {"OnlyALabel", "option label_user5 50\n", ""},
    {"EverythingButALabel", R"(
option reject_user5 0
option blacklist_v4_user5 b4
option blacklist_v6_user5 b6
option keywords_user5 hosts
option host_counter_user5 1
list class_reject_user5 3
)",
     ""},
    {"RejectedWithoutALabel", "option reject_user5 1\n", ""},
    {"Rejected", "option label_user5 50\noption reject_user5 1\n", kRedirectAll},
    {"RejectedAndEverythingElse", R"(
option label_user5 50
option reject_user5 1
option blacklist_v4_user5 b4
option blacklist_v6_user5 b6
option keywords_user5 hosts
option host_counter_user5 1
list class_reject_user5 3
list class_3_except_user5 4
)",
     kRedirectAll},
    {"OnlyTheFirstLabelAndTheFirstRejectCount", R"(
list label_user5 50
list label_user5 51
list reject_user5 1
list reject_user5 0
)",
     kRedirectAll},
    {"ASecondRejectDoesNotCount", R"(
option label_user5 50
list reject_user5 0
list reject_user5 1
)",
     ""},
    {"RejectTrue", "option label_user5 50\noption reject_user5 true\n", ""},
    {"RejectZeroOne", "option label_user5 50\noption reject_user5 01\n", ""},
    {"RejectOneAndABlank", "option label_user5 50\noption reject_user5 '1 '\n", ""},
    {"RejectEmpty", "option label_user5 50\noption reject_user5 ''\n", ""},
    {"BlacklistV4", "option label_user5 50\noption blacklist_v4_user5 b4\n", kBlacklistV4},
    {"OnlyTheFirstBlacklistV4Counts", R"(
option label_user5 50
list blacklist_v4_user5 b4
list blacklist_v4_user5 other
)",
     kBlacklistV4},
    {"BlacklistV6", "option label_user5 50\noption blacklist_v6_user5 b6\n", kBlacklistV6},
    {"OnlyTheFirstBlacklistV6Counts", R"(
option label_user5 50
list blacklist_v6_user5 b6
list blacklist_v6_user5 other
)",
     kBlacklistV6},
    {"AnEmptyBlacklistIsASetWithoutAName", R"(
option label_user5 50
option blacklist_v4_user5 ''
)",
     R"(
:ipt_compiler_0 - [0:0]
-A PREROUTING -4 -m tavrix-connlabel --label 50 -m set --match-set dst -j ipt_compiler_0
-A ipt_compiler_0 -4 -m conntrack --ctdir ORIGINAL -j SET --add-set dst --exist
-A ipt_compiler_0 -p tcp -j REDIRECT --to-ports 8099
)"},
    {"AnEmptyBlacklistV6IsASetWithoutAName", R"(
option label_user5 50
option blacklist_v6_user5 ''
)",
     R"(
:ipt_compiler_0 - [0:0]
-A PREROUTING -6 -m tavrix-connlabel --label 50 -m set --match-set dst -j ipt_compiler_0
-A ipt_compiler_0 -6 -m conntrack --ctdir ORIGINAL -j SET --add-set dst --exist
-A ipt_compiler_0 -p tcp -j REDIRECT --to-ports 8099
)"},
    {"Keywords", "option label_user5 50\noption keywords_user5 hosts\n", kRedirectHosts},
    {"OnlyTheFirstKeywordSetCounts", R"(
option label_user5 50
list keywords_user5 hosts
list keywords_user5 other
)",
     kRedirectHosts},
    {"KeywordsWithACounter", R"(
option label_user5 50
option keywords_user5 hosts
option host_counter_user5 1
)",
     kRedirectAndCountHosts},
    {"OnlyTheFirstCounterCounts", R"(
option label_user5 50
option keywords_user5 hosts
list host_counter_user5 1
list host_counter_user5 2
)",
     kRedirectAndCountHosts},
    {"AnEmptyCounterIsATextWithoutItsNumber", R"(
option label_user5 50
option keywords_user5 hosts
option host_counter_user5 ''
)",
     R"(
:ipt_compiler_0 - [0:0]
-A PREROUTING -m tavrix-connlabel --label 50 -m tavrix-xthostset --set-name hosts -j ipt_compiler_0
-A ipt_compiler_0 -m tavrix-xtcounter --inc
-A ipt_compiler_0 -p tcp -j REDIRECT --to-ports 8099
)"},
    {"ACounterWithoutKeywords", "option label_user5 50\noption host_counter_user5 1\n", ""},
    {"TheOtherCounterCountsNothingHere", R"(
option label_user5 50
option keywords_user5 hosts
list class_reject_user5 3
option app_counter_user5 2
)",
     R"(
:ipt_compiler_0 - [0:0]
-A PREROUTING -m tavrix-connlabel --label 50 -j ipt_compiler_0
-A ipt_compiler_0 -p tcp -m tavrix-xthostset --set-name hosts -j REDIRECT --to-ports 8099
-A ipt_compiler_0 -p tcp -m tavrix-conndurvan --class 3 -j REDIRECT --to-ports 8099
)"},
    {"OneClass", "option label_user5 50\noption class_reject_user5 3\n",
     "-A PREROUTING -p tcp -m tavrix-connlabel --label 50 -m tavrix-conndurvan --class 3 "
     "-j REDIRECT --to-ports 8099"},
    {"OneClassWithTwoExceptions", R"(
option label_user5 50
option class_reject_user5 3
list class_3_except_user5 31
list class_3_except_user5 32
)",
     "-A PREROUTING -p tcp -m tavrix-connlabel --label 50 -m tavrix-conndurvan --class 3 "
     "-m tavrix-conndurvan --invert --subclass 31 -m tavrix-conndurvan --invert --subclass 32 "
     "-j REDIRECT --to-ports 8099"},
    // The same redirect stands in two chains: that of a class with exceptions is reached through a
    // node that the simplification leaves empty.
    {"TwoClassesTheFirstWithAnException", R"(
option label_user5 50
list class_reject_user5 3
list class_reject_user5 4
option class_3_except_user5 31
)",
     R"(
:ipt_compiler_0 - [0:0]
-A PREROUTING -m tavrix-connlabel --label 50 -j ipt_compiler_0
:ipt_compiler_1 - [0:0]
-A ipt_compiler_0 -m tavrix-conndurvan --class 3 -m tavrix-conndurvan --invert --subclass 31 -g ipt_compiler_1
:ipt_compiler_2 - [0:0]
-A ipt_compiler_0 -m tavrix-conndurvan --class 4 -j ipt_compiler_2
-A ipt_compiler_2 -p tcp -j REDIRECT --to-ports 8099
-A ipt_compiler_1 -p tcp -j REDIRECT --to-ports 8099
)"},
    {"ClassesThatAreOnlyCounted", R"(
option label_user5 50
option class_user5 3
option class_label_user5 603
option class_3_except_user5 31
)",
     ""},
    {"AWholeChild", R"(
option label_user5 50
option blacklist_v4_user5 b4
option blacklist_v6_user5 b6
option keywords_user5 hosts
option host_counter_user5 1
option app_counter_user5 2
option class_reject_user5 3
option class_3_except_user5 31
option class_user5 7
option class_label_user5 607
)",
     R"(
:ipt_compiler_0 - [0:0]
-A PREROUTING -m tavrix-connlabel --label 50 -j ipt_compiler_0
:ipt_compiler_1 - [0:0]
-A ipt_compiler_0 -4 -m set --match-set b4 dst -j ipt_compiler_1
-A ipt_compiler_1 -4 -m conntrack --ctdir ORIGINAL -j SET --add-set b4 dst --exist
-A ipt_compiler_1 -p tcp -j REDIRECT --to-ports 8099
:ipt_compiler_2 - [0:0]
-A ipt_compiler_0 -6 -m set --match-set b6 dst -j ipt_compiler_2
-A ipt_compiler_2 -6 -m conntrack --ctdir ORIGINAL -j SET --add-set b6 dst --exist
-A ipt_compiler_2 -p tcp -j REDIRECT --to-ports 8099
:ipt_compiler_3 - [0:0]
-A ipt_compiler_0 -m tavrix-xthostset --set-name hosts -j ipt_compiler_3
-A ipt_compiler_3 -m tavrix-xtcounter --inc 1
-A ipt_compiler_3 -p tcp -j REDIRECT --to-ports 8099
-A ipt_compiler_0 -p tcp -m tavrix-conndurvan --class 3 -m tavrix-conndurvan --invert --subclass 31 -j REDIRECT --to-ports 8099
)"},
};

INSTANTIATE_TEST_SUITE_P(, NatRules, testing::ValuesIn(kNatCases),
                         [](const auto& test) { return test.param.name; });

TEST(NatProgram, OfNoUsersIsOneEmptyNode) {
  configure("option label_user5 50\noption reject_user5 1\n");
  const tavrix::IptProg program = tavrix::kovsel::natPreroutingProgram();
  EXPECT_EQ(program.first, program.last);
  EXPECT_TRUE(program.first->targets.empty());
  EXPECT_TRUE(program.first->matches.items.empty());
}

}  // namespace
}  // namespace kovsel_test
