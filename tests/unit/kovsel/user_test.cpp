// Which user a value of "user_list" means, and which options are that user's.
#include "firewall_cpp/kovsel/user.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <ostream>

#include "tests/support/configuration.h"
#include "tests/unit/kovsel/household.h"

namespace kovsel_test {
namespace {

using tavrix::kovsel::User;
using testing::ElementsAre;
using testing::IsEmpty;

const tavrix::UciConfig::Section& section() {
  return tavrix::params["kovsel"];
}

struct ListedCase {
  const char* name;
  const char* listed;
  const char* number;
};

void PrintTo(const ListedCase& listed, std::ostream* out) {
  *out << listed.name;
}

class ListedUser : public testing::TestWithParam<ListedCase> {};

TEST_P(ListedUser, HasTheNumberThatTheValueBeginsWith) {
  const auto& [name, listed, number] = GetParam();
  EXPECT_EQ(User(section(), listed).number(), number);
}

TEST_P(ListedUser, ReadsTheOptionsOfThatNumber) {
  const auto& [name, listed, number] = GetParam();
  configure("list user_list '" + std::string(listed) + "'\noption label_user" + number +
            " '5'\noption reject_user" + number + " '1'\n");
  EXPECT_EQ(
      natRules(),
      tagged("-A PREROUTING -p tcp -m tavrix-connlabel --label 5 -j REDIRECT --to-ports 8099"));
}

constexpr ListedCase kListedCases[] = {
    {"OneDigit", "7", "7"},
    {"LeadingZero", "07", "7"},
    {"ManyLeadingZeros", "000012", "12"},
    {"LettersBehind", "7abc", "7"},
    {"BlankBehind", "7 8", "7"},
    {"PointBehind", "7.9", "7"},
    {"SignBehind", "7-8", "7"},
    {"Blanks", "  7", "7"},
    {"TabAndNewline", "\t\n7", "7"},
    {"Plus", "+7", "7"},
    {"BlankAndPlus", " +7", "7"},
    {"TwoSigns", "+-7", "0"},
    {"BlankBehindTheSign", "- 7", "0"},
    {"MinusOne", "-1", "4294967295"},
    {"MinusSeven", "-7", "4294967289"},
    {"MinusZero", "-0", "0"},
    {"Letter", "x", "0"},
    {"Empty", "", "0"},
    {"BlanksOnly", "   ", "0"},
    {"Hexadecimal", "0x10", "0"},
    {"LargestInt", "2147483647", "2147483647"},
    {"SmallestInt", "-2147483648", "2147483648"},
    // Beyond the range of int the low 32 bits count, and of what no 64 bits hold the nearest value.
    {"AboveInt", "2147483648", "2147483648"},
    {"ThreeMilliards", "3000000000", "3000000000"},
    {"LargestUser", "4294967295", "4294967295"},
    {"AboveTheLargestUser", "4294967296", "0"},
    {"FarAbove", "4294967303", "7"},
    {"BelowInt", "-2147483649", "2147483647"},
    {"FarBelow", "-4294967297", "4294967295"},
    {"Largest64Bits", "9223372036854775807", "4294967295"},
    {"Above64Bits", "99999999999999999999999999", "4294967295"},
    {"Smallest64Bits", "-9223372036854775808", "0"},
    {"Below64Bits", "-99999999999999999999999999", "0"},
};

INSTANTIATE_TEST_SUITE_P(, ListedUser, testing::ValuesIn(kListedCases),
                         [](const auto& test) { return test.param.name; });

TEST(UserOptions, CarryTheNumberBehindTheirName) {
  configure("option label_user7 '5'\nlist mac_user7 'a'\nlist mac_user7 'b'\n");
  const User user(section(), "07");
  EXPECT_EQ(user.optionName("label_user"), "label_user7");
  EXPECT_THAT(user.values("label_user"), ElementsAre("5"));
  EXPECT_THAT(user.values("mac_user"), ElementsAre("a", "b"));
  EXPECT_THAT(user.values("mac_label_user"), IsEmpty());
}

TEST(UserOptions, OfAnotherUserAreNotRead) {
  configure("option label_user70 '5'\noption label_user '6'\noption label_user07 '7'\n");
  EXPECT_THAT(User(section(), "7").values("label_user"), IsEmpty());
}

TEST(UserOptions, HoldClassExceptionsUnderTheNameOfTheClass) {
  configure(
      "list class_12_except_user7 'a'\nlist class_12_except_user7 'b'\n"
      "option class__except_user7 'c'\n");
  EXPECT_THAT(User(section(), "7").classExceptions("12"), ElementsAre("a", "b"));
  EXPECT_THAT(User(section(), "7").classExceptions(""), ElementsAre("c"));
  EXPECT_THAT(User(section(), "7").classExceptions("1"), IsEmpty());
  EXPECT_THAT(User(section(), "8").classExceptions("12"), IsEmpty());
}

TEST(UserOptions, AreThoseOfTheSectionOfThatNameOnly) {
  configure(
      "config kovsel 'other'\noption label_user7 '5'\nconfig other\noption label_user7 '5'\n");
  EXPECT_THAT(User(section(), "7").values("label_user"), IsEmpty());
}

TEST(ForEachUser, VisitsTheListInItsOrderAndRepeatsWhatItRepeats) {
  configure(
      "list user_list '9'\nlist user_list '3'\nlist user_list '03'\nlist user_list 'x'\n"
      "option reject_user0 1\noption label_user0 10\n"
      "option reject_user3 1\noption label_user3 13\n"
      "option reject_user9 1\noption label_user9 19\n");
  EXPECT_EQ(natRules(), tagged(R"(
-A PREROUTING -p tcp -m tavrix-connlabel --label 19 -j REDIRECT --to-ports 8099
-A PREROUTING -p tcp -m tavrix-connlabel --label 13 -j REDIRECT --to-ports 8099
-A PREROUTING -p tcp -m tavrix-connlabel --label 13 -j REDIRECT --to-ports 8099
-A PREROUTING -p tcp -m tavrix-connlabel --label 10 -j REDIRECT --to-ports 8099
)"));
}

TEST(ForEachUser, FindsNobodyWithoutTheSection) {
  test_support::setConfiguration("config nfnlq 'nfnlq'\n\tlist user_list '3'\n");
  EXPECT_EQ(mangleRules() + natRules() + inputRules() + forwardRules(), "");
}

TEST(ForEachUser, TakesAnOptionThatIsNoListAsAListOfOne) {
  configure(
      "option user_list '3 4'\noption reject_user3 1\noption label_user3 13\n"
      "option reject_user4 1\noption label_user4 14\n");
  EXPECT_EQ(natRules(), tagged("-A PREROUTING -p tcp -m tavrix-connlabel --label 13 "
                               "-j REDIRECT --to-ports 8099"));
}

}  // namespace
}  // namespace kovsel_test
