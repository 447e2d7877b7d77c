// The configuration store, read from a bus of the test's own. The start-up objects are the
// program's.
#include "wrt_cppwrap/uci_config.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "tests/unit/product/blob_bytes.h"
#include "tests/unit/product/error_text.h"
#include "tests/unit/product/fake_bus.h"

namespace tavrix {
namespace {

using test_support::attribute;
using test_support::bigEndian;
using test_support::errorText;
using test_support::FakeBus;
using test_support::fakeBus;
using test_support::plainAttribute;
using test_support::stringAttribute;
using test_support::uciReply;
using Values = std::vector<std::string_view>;

class UciConfigTest : public testing::Test {
 protected:
  UciConfigTest() { fakeBus() = FakeBus(); }

  static void setReply(const std::string& message) { fakeBus().replies = {message}; }

  // A reply whose "values" are these section elements.
  static std::string replyOf(const std::string& sections) {
    return plainAttribute(0, attribute(2, "values", sections));
  }

  static std::string namedSection(const std::string& name, const std::string& members) {
    return attribute(2, name, stringAttribute(".name", name) + members);
  }
};

TEST_F(UciConfigTest, AsksTheServiceForThePackage) {
  setReply(uciReply({}));
  const UciConfig config("firewall_cpp");
  EXPECT_EQ(fakeBus().calls, (std::vector<std::string>{
                                 "ubus_lookup_id uci",
                                 "ubus_invoke_fd 17 get config:3=firewall_cpp timeout=0 fd=-1"}));
  EXPECT_TRUE(config.empty());
}

TEST_F(UciConfigTest, TakesTheWholeNameFromAView) {
  setReply(uciReply({}));
  const UciConfig config(std::string_view("package-and-more").substr(0, 7));
  EXPECT_EQ(fakeBus().calls.back(), "ubus_invoke_fd 17 get config:3=package timeout=0 fd=-1");
}

TEST_F(UciConfigTest, HoldsOptionsAndListsInOrder) {
  setReply(uciReply({{"nfnlq",
                      {{"queue_first", "2"},
                       {"matches", std::vector<std::string>{"-p tcp", "OR", "", "-p tcp"}},
                       {"empty", ""}}},
                     {"kovsel", {{"user_list", std::vector<std::string>{"1"}}}}}));
  const UciConfig config("p");
  EXPECT_EQ(config.size(), 2U);
  EXPECT_EQ(config["nfnlq"]["queue_first"], (Values{"2"}));
  EXPECT_EQ(config["nfnlq"]["matches"], (Values{"-p tcp", "OR", "", "-p tcp"}));
  EXPECT_EQ(config["nfnlq"]["empty"], (Values{""}));
  EXPECT_EQ(config["kovsel"]["user_list"], (Values{"1"}));
}

TEST_F(UciConfigTest, ReadsWhatIsMissingAsEmpty) {
  setReply(uciReply({{"nfnlq", {}}}));
  const UciConfig config("p");
  EXPECT_EQ(&config["absent"], &UciConfig::defaultMap);
  EXPECT_EQ(&config["nfnlq"]["absent"], &UciConfig::defaultVec);
  EXPECT_EQ(&config["absent"]["absent"], &UciConfig::defaultVec);
  EXPECT_EQ(&config["nfnl"], &UciConfig::defaultMap);
  EXPECT_EQ(&config["nfnlq "], &UciConfig::defaultMap);
  EXPECT_EQ(&config["NFNLQ"], &UciConfig::defaultMap);
  EXPECT_EQ(&config[""], &UciConfig::defaultMap);
  EXPECT_TRUE(UciConfig::defaultMap.empty());
  EXPECT_TRUE(UciConfig::defaultVec.empty());
  EXPECT_EQ(config.size(), 1U);
}

TEST_F(UciConfigTest, IsLookedUpByAnyKindOfText) {
  setReply(uciReply({{"nfnlq", {{"option", "x"}}}}));
  const UciConfig config("p");
  const char* const terminated = "option";
  const Values& values = config["nfnlq"]["option"];
  EXPECT_EQ(values, (Values{"x"}));
  EXPECT_EQ(&config[std::string("nfnlq")][std::string("option")], &values);
  EXPECT_EQ(&config[std::string_view("nfnlq")][std::string_view("options", 6)], &values);
  EXPECT_EQ(&config["nfnlq"][terminated], &values);
}

TEST_F(UciConfigTest, MakesNoEntryForAnEmptyList) {
  setReply(uciReply({{"s", {{"list", std::vector<std::string>{}}}}}));
  const UciConfig config("p");
  EXPECT_EQ(&config["s"]["list"], &UciConfig::defaultVec);
  EXPECT_EQ(config["s"].count("list"), 0U);
}

TEST_F(UciConfigTest, CollectsMembersOfOneNameInOrder) {
  setReply(uciReply({{"s", {{"o", "1"}, {"o", std::vector<std::string>{"2", "3"}}, {"o", "4"}}}}));
  EXPECT_EQ(UciConfig("p")["s"]["o"], (Values{"1", "2", "3", "4"}));
}

TEST_F(UciConfigTest, AddsASecondSectionOfTheSameNameToTheFirst) {
  setReply(uciReply({{"s", {{"o", "1"}}}, {"other", {}}, {"s", {{"o", "2"}, {"p", "3"}}}}));
  const UciConfig config("p");
  EXPECT_EQ(config.size(), 2U);
  EXPECT_EQ(config["s"]["o"], (Values{"1", "2"}));
  EXPECT_EQ(config["s"]["p"], (Values{"3"}));
  EXPECT_EQ(config["s"][".name"], (Values{"s", "s"}));
}

TEST_F(UciConfigTest, TakesSectionNamesFromTheirNameMember) {
  setReply(replyOf(attribute(2, "element",
                             attribute(5, ".name", bigEndian(1)) +
                                 stringAttribute(".name", "real") + stringAttribute("o", "1"))));
  const UciConfig config("p");
  EXPECT_EQ(config["real"]["o"], (Values{"1"}));
  EXPECT_EQ(&config["element"], &UciConfig::defaultMap);
}

TEST_F(UciConfigTest, StoresReservedStringsAndNothingButStringsAndLists) {
  setReply(uciReply({{"s", {}}}));
  const UciConfig config("p");
  EXPECT_EQ(config["s"][".name"], (Values{"s"}));
  EXPECT_EQ(config["s"][".type"], (Values{"type"}));
  EXPECT_EQ(config["s"].size(), 2U);

  setReply(replyOf(namedSection("s", attribute(2, "table", stringAttribute("a", "b")) +
                                         attribute(4, "int64", bigEndian(0) + bigEndian(1)) +
                                         attribute(8, "double", std::string(8, 'x')) +
                                         attribute(0, "unspecified", "xyz"))));
  EXPECT_EQ(UciConfig("p")["s"].size(), 1U);
}

TEST_F(UciConfigTest, FindsTheValuesAmongOtherElements) {
  setReply(
      plainAttribute(0, stringAttribute("before", "x") +
                            attribute(2, "values", namedSection("s", stringAttribute("o", "1"))) +
                            stringAttribute("after", "x")));
  EXPECT_EQ(UciConfig("p")["s"]["o"], (Values{"1"}));
}

// The library's buffer is gone after the call; so are those of large replies that moved.
TEST_F(UciConfigTest, OwnsWhatItsViewsPointInto) {
  std::vector<test_support::UciSection> sections;
  for (int i = 0; i < 500; ++i) {
    sections.push_back({"section" + std::to_string(i), {{"option", std::string(100, 'v')}}});
  }
  setReply(uciReply(sections));
  const UciConfig config("p");
  EXPECT_EQ(config.size(), 500U);
  for (int i = 0; i < 500; ++i) {
    const UciConfig::Section& section = config["section" + std::to_string(i)];
    ASSERT_EQ(section["option"], (Values{std::string(100, 'v')}));
  }
}

// The second copy may move the first one, which the views of the store point into.
TEST_F(UciConfigTest, KeepsValidViewsWhenTheServiceRepliesTwice) {
  fakeBus().replies = {uciReply({{"s", {{"o", "1"}}}}),
                       uciReply({{"s", {{"o", std::string(100'000, 'x')}}}})};
  const UciConfig config("p");
  ASSERT_FALSE(config["s"]["o"].empty());
  EXPECT_EQ(config["s"]["o"].front(), "1");
}

TEST_F(UciConfigTest, IsEmptyWithoutAReply) {
  EXPECT_TRUE(UciConfig("p").empty());
}

TEST_F(UciConfigTest, FailsWithTheStatusOfTheLookup) {
  fakeBus().lookupStatus = 4;
  EXPECT_EQ(errorText<std::runtime_error>([] { UciConfig("p"); }), "Ubus: text of status 4");
  EXPECT_EQ(fakeBus().calls, (std::vector<std::string>{"ubus_lookup_id uci"}));
}

TEST_F(UciConfigTest, FailsWithTheStatusOfTheCallEvenAfterAReply) {
  fakeBus().invokeStatus = 7;
  EXPECT_EQ(errorText<std::runtime_error>([] { UciConfig("p"); }), "Ubus: text of status 7");
  setReply(uciReply({}));
  EXPECT_EQ(errorText<std::runtime_error>([] { UciConfig("p"); }), "Ubus: text of status 7");
}

// A reply that cannot be read ends the process inside the library's callback.
TEST_F(UciConfigTest, EndsTheProcessForAReplyOfAnotherShape) {
  testing::FLAGS_gtest_death_test_style = "fast";
  const std::string cannotFind = "Cannot find the element named ";
  const std::vector<std::pair<std::string, std::string>> cases = {
      {plainAttribute(0, ""), cannotFind + "values"},
      {plainAttribute(0, attribute(1, "values", "")), cannotFind + "values"},
      {plainAttribute(0, stringAttribute("values", "x")), cannotFind + "values"},
      {plainAttribute(0, attribute(3, "values", "")), "Invalid format."},
      {replyOf(stringAttribute("s", "x")), "Invalid type."},
      {replyOf(attribute(1, "s", "")), "Invalid type."},
      {replyOf(attribute(2, "s", "")), cannotFind + ".name"},
      {replyOf(attribute(2, "s", attribute(5, ".name", bigEndian(1)))), cannotFind + ".name"},
      {replyOf(namedSection("s", attribute(1, "list", attribute(5, "", bigEndian(1))))),
       "Invalid type."},
      {replyOf(namedSection("s", attribute(1, "list", attribute(3, "", "")))), "Invalid format."},
      {replyOf(namedSection("s", attribute(5, "bad", ""))), "Invalid format."},
      {replyOf(attribute(7, "s", "ab")), "Invalid format."},
  };
  for (const auto& [reply, message] : cases) {
    setReply(reply);
    EXPECT_EXIT(UciConfig("p"), testing::KilledBySignal(SIGABRT),
                "std::invalid_argument'\n  what\\(\\):  BlobMsgParser: " + message + "\n");
  }
}

}  // namespace
}  // namespace tavrix
