// Values that break the rule text they are put into: which text is named, and which of two bad
// values is the one reported.
#include <gtest/gtest.h>

#include <algorithm>
#include <ostream>
#include <string>
#include <vector>

#include "firewall_cpp/kovsel/rule_texts.h"
#include "tests/unit/kovsel/household.h"

namespace kovsel_test {
namespace {

// A value that breaks one text of a program.
struct BadValue {
  const char* option;
  std::size_t index;  // in the option's list
  const char* value;
  const char* error;  // behind "IptCompileFailed firewall_cpp/kovsel/kovsel:"
};

// A program, a household that it takes, and its bad values in the order in which it reads them.
struct BrokenProgram {
  const char* name;
  Program program;
  Options options;
  std::vector<BadValue> badValues;
};

void PrintTo(const BrokenProgram& broken, std::ostream* out) {
  *out << broken.name;
}

std::vector<std::string>& valuesOf(Options& options, std::string_view option) {
  return std::ranges::find_if(options,
                              [option](const auto& entry) { return entry.first == option; })
      ->second;
}

Options breakOptions(Options options, const std::vector<BadValue>& badValues) {
  for (const BadValue& bad : badValues) {
    valuesOf(options, bad.option).at(bad.index) = bad.value;
  }
  return options;
}

std::string failed(const BadValue& bad) {
  return std::string("IptCompileFailed firewall_cpp/kovsel/kovsel:") + bad.error;
}

BrokenProgram mangle() {
  return {"Mangle",
          tavrix::kovsel::mangleProgram,
          {{"user_list", {"5", "6"}},
           {"mac_set_user5", {"tablets"}},
           {"label_user5", {"50"}},
           {"mac_user5", {"m0", "m1", "m2"}},
           {"mac_label_user5", {"500", "501", "502"}},
           {"class_user5", {"7"}},
           {"mac_set_user6", {"phones"}},
           {"label_user6", {"60"}}},
          {{"mac_set_user5", 0, "a -j DROP",
            "76: failed to parse '-j DROP src' as matches. not a valid match of iptables."},
           {"label_user5", 0, "5 !",
            "55: failed to parse '-m tavrix-connlabel ! --label 5 !' as matches. not a valid "
            "parameter of iptables."},
           {"mac_user5", 0, "",
            "21: failed to parse '-m mac --mac-source ' as matches. not a valid parameter of "
            "iptables."},
           {"mac_label_user5", 0, "a -p",
            "22: failed to parse '-m tavrix-connstat --set --stat-node a -p' as a target. "
            "redundant parameters: '-p'."},
           {"mac_user5", 1, "b -g c",
            "21: failed to parse '-g c' as matches. not a valid match of iptables."},
           {"mac_label_user5", 1, "b !",
            "22: failed to parse '-m tavrix-connstat --set --stat-node b !' as a target. redundant "
            "parameters: '!'."},
           {"mac_label_user5", 2, "c --goto d",
            "18: failed to parse '-m tavrix-connstat --set --stat-node c --goto d' as a target. "
            "redundant parameters: '--goto d'."},
           {"label_user5", 0, "5 -4",
            "59: failed to parse '-m tavrix-connlabel --set --label 5 -4' as a target. redundant "
            "parameters: '-4'."},
           {"mac_set_user6", 0, "b -j",
            "76: failed to parse '-j src' as matches. not a valid match of iptables."},
           {"label_user6", 0, "6 ",
            "55: failed to parse '-m tavrix-connlabel ! --label 6 ' as matches. not a valid "
            "parameter of iptables."}}};
}

BrokenProgram nat() {
  return {"Nat",
          tavrix::kovsel::natPreroutingProgram,
          {{"user_list", {"5", "6"}},
           {"label_user5", {"50"}},
           {"blacklist_v4_user5", {"b4"}},
           {"blacklist_v6_user5", {"b6"}},
           {"keywords_user5", {"hosts"}},
           {"host_counter_user5", {"1"}},
           {"class_reject_user5", {"3", "4"}},
           {"class_3_except_user5", {"31", "32"}},
           {"class_4_except_user5", {"41"}},
           {"label_user6", {"60"}}},
          {{"label_user5", 0, "",
            "106: failed to parse '-m tavrix-connlabel --label ' as matches. not a valid parameter "
            "of iptables."},
           {"blacklist_v4_user5", 0, "a -j X",
            "114: failed to parse '-j X dst' as matches. not a valid match of iptables."},
           {"blacklist_v4_user5", 0, "a -p tcp",
            "123: failed to parse '-j SET --add-set a -p tcp dst --exist' as a target. redundant "
            "parameters: '-p tcp dst --exist'."},
           {"blacklist_v6_user5", 0, "b -g X",
            "132: failed to parse '-g X dst' as matches. not a valid match of iptables."},
           {"blacklist_v6_user5", 0, "b -s c",
            "141: failed to parse '-j SET --add-set b -s c dst --exist' as a target. redundant "
            "parameters: '-s c dst --exist'."},
           {"keywords_user5", 0, "",
            "154: failed to parse '-m tavrix-xthostset --set-name ' as matches. not a valid "
            "parameter of iptables."},
           {"host_counter_user5", 0, "1 -j",
            "177: failed to parse '-m tavrix-xtcounter --inc 1 -j' as a target. redundant "
            "parameters: '-j'."},
           // The exceptions of a class with another name are others, so its value is broken by
           // what stands behind its number.
           {"class_reject_user5", 0, "3 -j",
            "160: failed to parse '-j' as matches. not a valid match of iptables."},
           {"class_3_except_user5", 0, "",
            "165: failed to parse '-m tavrix-conndurvan --invert --subclass ' as matches. not a "
            "valid parameter of iptables."},
           {"class_3_except_user5", 1, "a !",
            "165: failed to parse '-m tavrix-conndurvan --invert --subclass a !' as matches. not a "
            "valid parameter of iptables."},
           {"class_reject_user5", 1, "4 ",
            "160: failed to parse '-m tavrix-conndurvan --class 4 ' as matches. not a valid "
            "parameter of iptables."},
           {"class_4_except_user5", 0, "! !",
            "165: failed to parse '! !' as matches. not a valid match of iptables."},
           {"label_user6", 0, "6 -j",
            "106: failed to parse '-j' as matches. not a valid match of iptables."}}};
}

BrokenProgram filter(const char* name, Program program) {
  return {name,
          program,
          {{"user_list", {"5", "6"}},
           {"label_user5", {"50"}},
           {"blacklist_v4_user5", {"b4"}},
           {"blacklist_v6_user5", {"b6"}},
           {"keywords_user5", {"hosts"}},
           {"host_counter_user5", {"1"}},
           {"app_counter_user5", {"2"}},
           {"class_reject_user5", {"3", "4"}},
           {"class_3_except_user5", {"31"}},
           {"class_user5", {"7", "8"}},
           {"class_label_user5", {"607", "608"}},
           {"class_7_except_user5", {"71"}},
           {"class_8_except_user5", {"81"}},
           {"label_user6", {"60"}}},
          {{"label_user5", 0, "5 -j",
            "106: failed to parse '-j' as matches. not a valid match of iptables."},
           {"keywords_user5", 0, "k !",
            "154: failed to parse '-m tavrix-xthostset --set-name k !' as matches. not a valid "
            "parameter of iptables."},
           {"blacklist_v4_user5", 0, "a -p tcp",
            "123: failed to parse '-j SET --add-set a -p tcp dst --exist' as a target. redundant "
            "parameters: '-p tcp dst --exist'."},
           {"blacklist_v6_user5", 0, "b -s c",
            "141: failed to parse '-j SET --add-set b -s c dst --exist' as a target. redundant "
            "parameters: '-s c dst --exist'."},
           {"host_counter_user5", 0, "1 -j",
            "177: failed to parse '-m tavrix-xtcounter --inc 1 -j' as a target. redundant "
            "parameters: '-j'."},
           {"class_reject_user5", 0, "3 -j",
            "160: failed to parse '-j' as matches. not a valid match of iptables."},
           {"class_3_except_user5", 0, "",
            "165: failed to parse '-m tavrix-conndurvan --invert --subclass ' as matches. not a "
            "valid parameter of iptables."},
           {"class_reject_user5", 1, "4 !",
            "160: failed to parse '-m tavrix-conndurvan --class 4 !' as matches. not a valid "
            "parameter of iptables."},
           {"app_counter_user5", 0, "2 -i",
            "177: failed to parse '-m tavrix-xtcounter --inc 2 -i' as a target. redundant "
            "parameters: '-i'."},
           {"class_user5", 0, "7 -g",
            "217: failed to parse '-g' as matches. not a valid match of iptables."},
           {"class_7_except_user5", 0, "",
            "222: failed to parse '-m tavrix-conndurvan --invert --subclass ' as matches. not a "
            "valid parameter of iptables."},
           {"class_label_user5", 0, "607 -f",
            "227: failed to parse '-m tavrix-connstat --set --stat-node 607 -f' as a target. "
            "redundant parameters: '-f'."},
           {"class_user5", 1, "",
            "217: failed to parse '-m tavrix-conndurvan --class ' as matches. not a valid "
            "parameter of iptables."},
           {"class_8_except_user5", 0, "a ",
            "222: failed to parse '-m tavrix-conndurvan --invert --subclass a ' as matches. not a "
            "valid parameter of iptables."},
           {"class_label_user5", 1, "608 !",
            "227: failed to parse '-m tavrix-connstat --set --stat-node 608 !' as a target. "
            "redundant parameters: '!'."},
           {"label_user6", 0, "6 ",
            "106: failed to parse '-m tavrix-connlabel --label 6 ' as matches. not a valid "
            "parameter of iptables."}}};
}

class BadValues : public testing::TestWithParam<BrokenProgram> {};

TEST_P(BadValues, AreAbsentFromTheHousehold) {
  configure(GetParam().options);
  EXPECT_EQ(errorOf(GetParam().program), "none");
}

TEST_P(BadValues, AreReportedWithTheTextThatTheyBreak) {
  for (const BadValue& bad : GetParam().badValues) {
    configure(breakOptions(GetParam().options, {bad}));
    EXPECT_EQ(errorOf(GetParam().program), failed(bad));
  }
}

TEST_P(BadValues, AreReportedInReadingOrder) {
  const std::vector<BadValue>& badValues = GetParam().badValues;
  for (std::size_t later = 1; later < badValues.size(); ++later) {
    for (std::size_t earlier = 0; earlier < later; ++earlier) {
      const BadValue& first = badValues[earlier];
      const BadValue& second = badValues[later];
      const bool sameValue =
          std::string_view(first.option) == second.option && first.index == second.index;
      if (sameValue) continue;
      configure(breakOptions(GetParam().options, {second, first}));
      EXPECT_EQ(errorOf(GetParam().program), failed(first))
          << first.option << ' ' << first.index << ", then " << second.option << ' '
          << second.index;
    }
  }
}

INSTANTIATE_TEST_SUITE_P(, BadValues,
                         testing::Values(mangle(), nat(),
                                         filter("Forward", tavrix::kovsel::filterForwardProgram),
                                         filter("Input", tavrix::kovsel::filterInputProgram)),
                         [](const auto& test) { return std::string(test.param.name); });

// Values of these two texts are always refused earlier, or taken, by another text that has them.
TEST(BadLabel, IsReportedByTheTextThatSetsItWithTheMark) {
  EXPECT_EQ(errorOf([] { return tavrix::kovsel::text::kSetLabelAndMark.target("5 -4"); }),
            "IptCompileFailed firewall_cpp/kovsel/kovsel:61: failed to parse "
            "'-m tavrix-connlabel --set --mark 0x1 --label 5 -4' as a target. redundant "
            "parameters: '-4'.");
}

TEST(BadLabel, IsReportedByTheTextThatTestsItWithTheMark) {
  const auto test = [] {
    tavrix::kovsel::text::kIsLabelledAndMarked.matches("5 !");
    return tavrix::makeEmptyProg();
  };
  EXPECT_EQ(errorOf(test),
            "IptCompileFailed firewall_cpp/kovsel/kovsel:68: failed to parse "
            "'-m tavrix-connlabel --mark 0x1 --label 5 !' as matches. not a valid parameter of "
            "iptables.");
}

// The class behind it breaks the text too.
TEST(EmptyBlockedClass, IsReportedBeforeTheClassesBehindIt) {
  configure(
      "list user_list 5\noption label_user5 50\n"
      "list class_reject_user5 ''\nlist class_reject_user5 '3 !'\n");
  const std::string error =
      "IptCompileFailed firewall_cpp/kovsel/kovsel:160: failed to parse "
      "'-m tavrix-conndurvan --class ' as matches. not a valid parameter of iptables.";
  EXPECT_EQ(errorOf(tavrix::kovsel::natPreroutingProgram), error);
  EXPECT_EQ(errorOf(tavrix::kovsel::filterForwardProgram), error);
  EXPECT_EQ(errorOf(tavrix::kovsel::filterInputProgram), error);
}

TEST(UnusedValues, AreNotParsed) {
  // Each of them would break the text that it would be put into.
  configure(R"(
list user_list 5
list mac_set_user5 tablets
list mac_set_user5 'a -j'
list label_user5 50
list label_user5 'a -j'
list mac_user5 m0
list mac_user5 'a -j'
list mac_label_user5 500
list mac_label_user5 501
list mac_label_user6 'a -j'
list blacklist_v4_user5 b4
list blacklist_v4_user5 'a -j'
list blacklist_v6_user5 b6
list blacklist_v6_user5 'a -j'
list keywords_user5 hosts
list keywords_user5 'a -j'
list host_counter_user5 1
list host_counter_user5 'a -j'
list app_counter_user5 2
list app_counter_user5 'a -j'
list reject_user5 'a -j'
list class_user5 7
list class_user5 'a -j'
list class_label_user5 607
list class_8_except_user5 'a -j'
)");
  EXPECT_EQ(errorOf(tavrix::kovsel::mangleProgram), "none");
  EXPECT_EQ(errorOf(tavrix::kovsel::natPreroutingProgram), "none");
  EXPECT_EQ(errorOf(tavrix::kovsel::filterInputProgram), "none");
  EXPECT_EQ(errorOf(tavrix::kovsel::filterForwardProgram), "none");
}

// The last device's address is never tested, so it is never parsed.
TEST(UnusedValues, HoldTheAddressOfTheLastDevice) {
  configure(
      "list user_list 5\noption mac_set_user5 s\noption label_user5 50\n"
      "list mac_user5 'a -j'\nlist mac_label_user5 501\n");
  EXPECT_EQ(errorOf(tavrix::kovsel::mangleProgram), "none");
}

// A user who is rejected, or whose rules can never apply, has texts like any other.
TEST(BadValuesOfAUserWithoutRules, AreReportedAllTheSame) {
  configure(
      "list user_list 5\noption label_user5 50\noption reject_user5 1\n"
      "option keywords_user5 ''\n");
  EXPECT_EQ(errorOf(tavrix::kovsel::natPreroutingProgram),
            "IptCompileFailed firewall_cpp/kovsel/kovsel:154: failed to parse "
            "'-m tavrix-xthostset --set-name ' as matches. not a valid parameter of iptables.");
  configure("list user_list 5\noption label_user5 ''\n");
  EXPECT_EQ(errorOf(tavrix::kovsel::mangleProgram),
            "IptCompileFailed firewall_cpp/kovsel/kovsel:55: failed to parse "
            "'-m tavrix-connlabel ! --label ' as matches. not a valid parameter of iptables.");
}

constexpr const char* kNobodysLabel = R"(
option keywords_user8 ''
option blacklist_v4_user8 'a -p tcp'
option class_reject_user8 ''
list class_user8 ''
list class_label_user8 'a -p'
)";

TEST(MissingLabel, IsReportedBeforeAnyTextOfThatUsersFilterProgram) {
  configure("list user_list 8\noption mac_set_user8 s\n" + std::string(kNobodysLabel));
  const std::string error =
      "invalid_argument kovsel: user 8 is in user_list but has no "
      "label_user8.";
  EXPECT_EQ(errorOf(tavrix::kovsel::filterForwardProgram), error);
  EXPECT_EQ(errorOf(tavrix::kovsel::filterInputProgram), error);
}

TEST(MissingLabel, IsReportedForARejectedUserToo) {
  configure("list user_list -1\noption reject_user4294967295 1\n");
  const std::string error =
      "invalid_argument kovsel: user 4294967295 is in user_list but has no "
      "label_user4294967295.";
  EXPECT_EQ(errorOf(tavrix::kovsel::filterForwardProgram), error);
  EXPECT_EQ(errorOf(tavrix::kovsel::filterInputProgram), error);
}

TEST(MissingLabel, IsReportedBehindTheUsersBeforeIt) {
  configure("list user_list 5\nlist user_list 8\nlist user_list 9\noption label_user5 50\n" +
            std::string(kNobodysLabel));
  EXPECT_EQ(errorOf(tavrix::kovsel::filterForwardProgram),
            "invalid_argument kovsel: user 8 is in user_list but has no label_user8.");
  configure(
      "list user_list 5\nlist user_list 8\noption label_user5 50\n"
      "option keywords_user5 ''\n");
  EXPECT_EQ(errorOf(tavrix::kovsel::filterForwardProgram),
            "IptCompileFailed firewall_cpp/kovsel/kovsel:154: failed to parse "
            "'-m tavrix-xthostset --set-name ' as matches. not a valid parameter of iptables.");
}

TEST(MissingLabel, IsNoErrorOfTheMangleAndNatPrograms) {
  configure("list user_list 8\noption mac_set_user8 s\noption reject_user8 1\n");
  EXPECT_EQ(errorOf(tavrix::kovsel::mangleProgram), "none");
  EXPECT_EQ(errorOf(tavrix::kovsel::natPreroutingProgram), "none");
  EXPECT_EQ(mangleRules(), "");
  EXPECT_EQ(natRules(), "");
}

TEST(MissingLabel, IsNoErrorOfAUserWhoIsNotListed) {
  configure("list user_list 5\noption label_user5 50\noption mac_set_user8 s\n");
  EXPECT_EQ(errorOf(tavrix::kovsel::filterForwardProgram), "none");
  EXPECT_EQ(errorOf(tavrix::kovsel::filterInputProgram), "none");
}

}  // namespace
}  // namespace kovsel_test
