// Which user a value of "user_list" means, and which options are that user's.
#include "firewall_cpp/kovsel/user.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <ostream>
#include <string>

#include "tests/support/configuration.h"

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

// lines: the section's "option" and "list" lines.
void setKovsel(const char* lines) {
  test_support::setConfiguration("config kovsel 'kovsel'\n" + std::string(lines));
}

class ListedUser : public testing::TestWithParam<ListedCase> {};

TEST_P(ListedUser, HasTheNumberThatTheValueBeginsWith) {
  const auto& [name, listed, number] = GetParam();
  EXPECT_EQ(User(section(), listed).number(), number);
}

constexpr ListedCase kListedCases[] = {
    {"OneDigit", "7", "7"},
    {"LeadingZero", "07", "7"},
    {"ManyLeadingZeros", "000012", "12"},
    {"LettersAfter", "7abc", "7"},
    {"BlankAfter", "7 8", "7"},
    {"PointAfter", "7.9", "7"},
    {"SignAfter", "7-8", "7"},
    {"Blanks", "  7", "7"},
    {"TabAndNewline", "\t\n7", "7"},
    {"Plus", "+7", "7"},
    {"BlankAndPlus", " +7", "7"},
    {"TwoSigns", "+-7", "0"},
    {"BlankAfterTheSign", "- 7", "0"},
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

TEST(UserOptions, CarryTheNumberAfterTheirName) {
  setKovsel("option label_user7 '5'\nlist mac_user7 'a'\nlist mac_user7 'b'\n");
  const User user(section(), "07");
  EXPECT_EQ(user.optionName("label_user"), "label_user7");
  EXPECT_THAT(user.values("label_user"), ElementsAre("5"));
  EXPECT_THAT(user.values("mac_user"), ElementsAre("a", "b"));
  EXPECT_THAT(user.values("mac_label_user"), IsEmpty());
}

TEST(UserOptions, OfAnotherUserAreNotRead) {
  setKovsel("option label_user70 '5'\noption label_user '6'\noption label_user07 '7'\n");
  EXPECT_THAT(User(section(), "7").values("label_user"), IsEmpty());
}

TEST(UserOptions, HoldClassExceptionsUnderTheNameOfTheClass) {
  setKovsel(
      "list class_12_except_user7 'a'\nlist class_12_except_user7 'b'\n"
      "option class__except_user7 'c'\n");
  EXPECT_THAT(User(section(), "7").values("class_12_except_user"), ElementsAre("a", "b"));
  EXPECT_THAT(User(section(), "7").values("class__except_user"), ElementsAre("c"));
  EXPECT_THAT(User(section(), "7").values("class_1_except_user"), IsEmpty());
  EXPECT_THAT(User(section(), "8").values("class_12_except_user"), IsEmpty());
}

}  // namespace
