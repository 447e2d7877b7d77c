// Values that break the rule text they are put into: which text is named, and which of two bad
// values is the one reported. A text is named by its line; the parser's own tests have the
// messages.
#include <gtest/gtest.h>

#include <algorithm>
#include <ostream>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "firewall_cpp/kovsel/kovsel.h"
#include "firewall_cpp/kovsel/rule_texts.h"
#include "ipt_compiler/rule_model.h"
#include "tests/support/configuration.h"

namespace {

using Program = tavrix::IptProg (*)();

// A value that breaks one text of a program: what takes the place of a line's option and value.
struct BadValue {
  std::string line;
  std::string broken;
  int number;  // the line of that text
};

// A program with bad values in the order in which it reads them.
struct BrokenProgram {
  const char* name;
  Program program;
  std::vector<BadValue> badValues;
};

void PrintTo(const BrokenProgram& broken, std::ostream* out) {
  *out << broken.name;
}

// What every program takes.
constexpr const char* kHousehold = R"(
list user_list '5'
list user_list '6'
list mac_set_user5 'tablets'
list label_user5 '50'
list mac_user5 'm0'
list mac_user5 'm1'
list mac_user5 'm2'
list mac_label_user5 '500'
list mac_label_user5 '501'
list mac_label_user5 '502'
list blacklist_v4_user5 'b4'
list blacklist_v6_user5 'b6'
list keywords_user5 'hosts'
list host_counter_user5 '1'
list app_counter_user5 '2'
list class_reject_user5 '3'
list class_reject_user5 '4'
list class_3_except_user5 '31'
list class_3_except_user5 '32'
list class_4_except_user5 '41'
list class_user5 '7'
list class_user5 '8'
list class_label_user5 '607'
list class_label_user5 '608'
list class_7_except_user5 '71'
list class_8_except_user5 '81'
list mac_set_user6 'phones'
list label_user6 '60'
)";

// lines: the section's "option" and "list" lines.
void configure(const std::string& lines) {
  test_support::setConfiguration("config kovsel 'kovsel'\n" + lines);
}

void configureWith(const std::vector<BadValue>& badValues) {
  std::string lines = kHousehold;
  for (const BadValue& bad : badValues) {
    lines.replace(lines.find(bad.line), bad.line.size(), bad.broken);
  }
  configure(lines);
}

// What the program throws; "none" without an error.
std::string errorOf(Program program) {
  try {
    program();
  } catch (const tavrix::IptCompileFailed& error) {
    return error.what();
  } catch (const std::invalid_argument& error) {
    return error.what();
  }
  return "none";
}

// Whether it is the error of the rule text with that line.
bool isOfLine(const std::string& error, int line) {
  return error.starts_with("firewall_cpp/kovsel/kovsel:" + std::to_string(line) +
                           ": failed to parse '");
}

BrokenProgram mangle() {
  return {"Mangle",
          tavrix::kovsel::mangleProgram,
          {{"mac_set_user5 'tablets'", "mac_set_user5 'a -j DROP'", 76},
           {"label_user5 '50'", "label_user5 '5 !'", 55},
           {"mac_user5 'm0'", "mac_user5 ''", 21},
           {"mac_label_user5 '500'", "mac_label_user5 'a -p'", 22},
           {"mac_user5 'm1'", "mac_user5 'b -g c'", 21},
           {"mac_label_user5 '501'", "mac_label_user5 'b !'", 22},
           {"mac_label_user5 '502'", "mac_label_user5 'c --goto d'", 18},
           {"label_user5 '50'", "label_user5 '5 -4'", 59},
           {"mac_set_user6 'phones'", "mac_set_user6 'b -j'", 76},
           {"label_user6 '60'", "label_user6 '6 '", 55}}};
}

BrokenProgram nat() {
  return {"Nat",
          tavrix::kovsel::natPreroutingProgram,
          {{"label_user5 '50'", "label_user5 ''", 106},
           {"blacklist_v4_user5 'b4'", "blacklist_v4_user5 'a -j X'", 114},
           {"blacklist_v4_user5 'b4'", "blacklist_v4_user5 'a -p tcp'", 123},
           {"blacklist_v6_user5 'b6'", "blacklist_v6_user5 'b -g X'", 132},
           {"blacklist_v6_user5 'b6'", "blacklist_v6_user5 'b -s c'", 141},
           {"keywords_user5 'hosts'", "keywords_user5 ''", 154},
           {"host_counter_user5 '1'", "host_counter_user5 '1 -j'", 177},
           // The exceptions of a class with another name are others, so its value is broken by
           // what stands after its number.
           {"class_reject_user5 '3'", "class_reject_user5 '3 -j'", 160},
           {"class_3_except_user5 '31'", "class_3_except_user5 ''", 165},
           {"class_3_except_user5 '32'", "class_3_except_user5 'a !'", 165},
           {"class_reject_user5 '4'", "class_reject_user5 '4 '", 160},
           {"class_4_except_user5 '41'", "class_4_except_user5 '! !'", 165},
           {"label_user6 '60'", "label_user6 '6 -j'", 106}}};
}

BrokenProgram filter(const char* name, Program program) {
  return {name,
          program,
          {{"label_user5 '50'", "label_user5 '5 -j'", 106},
           {"keywords_user5 'hosts'", "keywords_user5 'k !'", 154},
           {"blacklist_v4_user5 'b4'", "blacklist_v4_user5 'a -p tcp'", 123},
           {"blacklist_v6_user5 'b6'", "blacklist_v6_user5 'b -s c'", 141},
           {"host_counter_user5 '1'", "host_counter_user5 '1 -j'", 177},
           {"class_reject_user5 '3'", "class_reject_user5 ''", 160},
           {"class_3_except_user5 '31'", "class_3_except_user5 ''", 165},
           {"class_reject_user5 '4'", "class_reject_user5 '4 !'", 160},
           {"app_counter_user5 '2'", "app_counter_user5 '2 -i'", 177},
           {"class_user5 '7'", "class_user5 '7 -g'", 217},
           {"class_7_except_user5 '71'", "class_7_except_user5 ''", 222},
           {"class_label_user5 '607'", "class_label_user5 '607 -f'", 227},
           {"class_user5 '8'", "class_user5 ''", 217},
           {"class_8_except_user5 '81'", "class_8_except_user5 'a '", 222},
           {"class_label_user5 '608'", "class_label_user5 '608 !'", 227},
           {"label_user6 '60'", "label_user6 '6 '", 106}}};
}

class BadValues : public testing::TestWithParam<BrokenProgram> {};

TEST_P(BadValues, AreAbsentFromTheHousehold) {
  configure(kHousehold);
  EXPECT_EQ(errorOf(GetParam().program), "none");
}

TEST_P(BadValues, AreReportedWithTheTextThatTheyBreak) {
  for (const BadValue& bad : GetParam().badValues) {
    configureWith({bad});
    const std::string error = errorOf(GetParam().program);
    EXPECT_TRUE(isOfLine(error, bad.number)) << bad.broken << ": " << error;
  }
}

TEST_P(BadValues, AreReportedInReadingOrder) {
  const std::vector<BadValue>& badValues = GetParam().badValues;
  for (std::size_t earlier = 0; earlier < badValues.size(); ++earlier) {
    const BadValue& first = badValues[earlier];
    configureWith({first});
    const std::string alone = errorOf(GetParam().program);
    for (std::size_t later = earlier + 1; later < badValues.size(); ++later) {
      const BadValue& second = badValues[later];
      if (first.line == second.line) continue;
      configureWith({second, first});
      EXPECT_EQ(errorOf(GetParam().program), alone) << first.broken << ", then " << second.broken;
    }
  }
}

INSTANTIATE_TEST_SUITE_P(, BadValues,
                         testing::Values(mangle(), nat(),
                                         filter("Forward", tavrix::kovsel::filterForwardProgram),
                                         filter("Input", tavrix::kovsel::filterInputProgram)),
                         [](const auto& test) { return std::string(test.param.name); });

// Values of two texts are always refused earlier, or taken, by another text that has them; the
// other texts have no value.
TEST(RuleTexts, HaveTheirLines) {
  namespace text = tavrix::kovsel::text;
  const std::vector<std::pair<tavrix::kovsel::RuleText, int>> texts = {
      {text::kSetLabelAndMark, 61},
      {text::kIsLabelledAndMarked, 68},
      {text::kMarkClass, 36},
      {text::kUdp, 40},
      {text::kTcp, 40},
      {text::kUdpLowPort, 41},
      {text::kTcpLowPort, 42},
      {text::kFewPackets, 46},
      {text::kShortTcp, 245},
      {text::kMarkShortTcp, 246},
      {text::kRedirectable, 146},
      {text::kRedirect, 146},
      {text::kToRedirectService, 288},
      {text::kResettable, 252},
      {text::kReset, 252},
      {text::kReject, 253},
      {tavrix::kovsel::kBlacklistV4.isOriginal, 122},
      {tavrix::kovsel::kBlacklistV6.isOriginal, 140},
  };
  for (const auto& [text, line] : texts) EXPECT_EQ(text.line, line) << text.before;
}

// A user who is rejected, or whose rules can never apply, has texts like any other.
TEST(BadValuesOfAUserWithoutRules, AreReportedAllTheSame) {
  configure(
      "list user_list 5\noption label_user5 50\noption reject_user5 1\n"
      "option keywords_user5 ''\n");
  EXPECT_TRUE(isOfLine(errorOf(tavrix::kovsel::natPreroutingProgram), 154));
  configure("list user_list 5\noption label_user5 ''\n");
  EXPECT_TRUE(isOfLine(errorOf(tavrix::kovsel::mangleProgram), 55));
}

constexpr const char* kNobodysLabel = R"(
option keywords_user8 ''
option blacklist_v4_user8 'a -p tcp'
option class_reject_user8 ''
list class_user8 ''
list class_label_user8 'a -p'
)";

class MissingLabel : public testing::TestWithParam<Program> {};
INSTANTIATE_TEST_SUITE_P(, MissingLabel,
                         testing::Values(tavrix::kovsel::filterForwardProgram,
                                         tavrix::kovsel::filterInputProgram));

TEST_P(MissingLabel, IsReportedBeforeAnyTextOfThatUser) {
  configure("list user_list 8\noption mac_set_user8 s\n" + std::string(kNobodysLabel));
  EXPECT_EQ(errorOf(GetParam()), "kovsel: user 8 is in user_list but has no label_user8.");
}

TEST_P(MissingLabel, IsReportedAfterTheUsersBeforeIt) {
  const std::string users = "list user_list 5\nlist user_list 8\nlist user_list 9\n";
  configure(users + "option label_user5 50\n" + kNobodysLabel);
  EXPECT_EQ(errorOf(GetParam()), "kovsel: user 8 is in user_list but has no label_user8.");
  configure(users + "option label_user5 50\noption keywords_user5 ''\n");
  EXPECT_TRUE(isOfLine(errorOf(GetParam()), 154));
}

}  // namespace
