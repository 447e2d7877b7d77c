// Which user a value of "user_list" means, and which options are that user's.
#include "firewall_cpp/kovsel/user.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "tests/support/configuration.h"

namespace {

using tavrix::kovsel::User;
using testing::ElementsAre;
using testing::IsEmpty;

const tavrix::UciConfig::Section& section() {
  return tavrix::params["kovsel"];
}

// lines: the section's "option" and "list" lines.
void setKovsel(const char* lines) {
  test_support::setConfiguration("config kovsel 'kovsel'\n" + std::string(lines));
}

TEST(ListedUser, HasTheNumberThatTheValueBeginsWith) {
  const std::vector<std::pair<const char*, const char*>> cases = {
      {"7", "7"},
      {"07", "7"},
      {"000012", "12"},
      {"7abc", "7"},
      {"7 8", "7"},
      {"7.9", "7"},
      {"7-8", "7"},
      {"  7", "7"},
      {"\t\n7", "7"},
      {"+7", "7"},
      {" +7", "7"},
      {"+-7", "0"},
      {"- 7", "0"},
      {"-1", "4294967295"},
      {"-7", "4294967289"},
      {"-0", "0"},
      {"x", "0"},
      {"", "0"},
      {"   ", "0"},
      {"0x10", "0"},
      {"2147483647", "2147483647"},
      {"-2147483648", "2147483648"},
      // Beyond the range of int the low 32 bits count, and of what no 64 bits hold the nearest
      // value.
      {"2147483648", "2147483648"},
      {"3000000000", "3000000000"},
      {"4294967295", "4294967295"},
      {"4294967296", "0"},
      {"4294967303", "7"},
      {"-2147483649", "2147483647"},
      {"-4294967297", "4294967295"},
      {"9223372036854775807", "4294967295"},
      {"99999999999999999999999999", "4294967295"},
      {"-9223372036854775808", "0"},
      {"-99999999999999999999999999", "0"},
  };
  for (const auto& [listed, number] : cases) {
    EXPECT_EQ(User(section(), listed).number(), number) << listed;
  }
}

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
