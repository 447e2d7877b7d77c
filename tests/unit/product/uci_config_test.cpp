// The configuration store, read from a bus of the test's own. The start-up objects are the
// program's.
#include "wrt_cppwrap/uci_config.h"

#include <gtest/gtest.h>

#include <csignal>
#include <cstddef>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "tests/support/fake_bus.h"
#include "tests/support/wire_bytes.h"
#include "tests/unit/product/error_text.h"

namespace tavrix {
namespace {

using test_support::errorText;
using test_support::FakeBus;
using test_support::fakeBus;
using test_support::uciReply;
using Values = std::vector<std::string_view>;

class UciConfigTest : public testing::Test {
 protected:
  UciConfigTest() { fakeBus() = FakeBus(); }

  static void setReply(const std::string& message) { fakeBus().replies = {message}; }
  static void setText(std::string_view uciText) { setReply(uciReply(uciText)); }

  // A reply whose "values" are these section elements.
  static std::string replyOf(const std::string& sections) {
    return wire::plain(0, wire::table("values", sections));
  }

  static std::string namedSection(const std::string& name, const std::string& members) {
    return wire::table(name, wire::text(".name", name) + members);
  }
};

TEST_F(UciConfigTest, AsksTheServiceForThePackage) {
  const UciConfig config(std::string_view("firewall_cpp, and more").substr(0, 12));
  EXPECT_EQ(fakeBus().calls, (std::vector<std::string>{
                                 "ubus_lookup_id uci",
                                 "ubus_invoke_fd 17 get config:3=firewall_cpp timeout=0 fd=-1"}));
}

TEST_F(UciConfigTest, HoldsOptionsAndListsInOrder) {
  setText(R"(
config t nfnlq
  option queue_first 2
  list matches '-p tcp'
  list matches OR
  list matches ''
  list matches '-p tcp'
  option empty ''
config t kovsel
  list user_list 1
)");
  const UciConfig config("p");
  EXPECT_EQ(config.size(), 2U);
  EXPECT_EQ(config["nfnlq"]["queue_first"], (Values{"2"}));
  EXPECT_EQ(config["nfnlq"]["matches"], (Values{"-p tcp", "OR", "", "-p tcp"}));
  EXPECT_EQ(config["nfnlq"]["empty"], (Values{""}));
  EXPECT_EQ(config["kovsel"]["user_list"], (Values{"1"}));
}

// The bus carries messages of up to 1 MiB. The library's buffer is gone after the call: views point
// into the store's own copy.
TEST_F(UciConfigTest, HoldsNearlyAMessageOfValues) {
  constexpr std::size_t count = 16'000;
  constexpr std::size_t limit = std::size_t{1024} * 1024;
  std::string text = "config t nfnlq\n list long '" + std::string(300'000, 'x') + "'\n";
  for (std::size_t i = 0; i < count; ++i) {
    text += " list many 'a value of some thirty bytes " + std::to_string(10'000 + i) + "'\n";
  }
  const std::string reply = uciReply(text);
  ASSERT_GT(reply.size(), limit - 64 * 1024);
  ASSERT_LT(reply.size(), limit);
  setReply(reply);
  const UciConfig config("p");
  EXPECT_EQ(config["nfnlq"]["long"], (Values{std::string(300'000, 'x')}));
  const Values& many = config["nfnlq"]["many"];
  ASSERT_EQ(many.size(), count);
  EXPECT_EQ(many.front(), "a value of some thirty bytes 10000");
  EXPECT_EQ(many.back(), "a value of some thirty bytes 25999");
}

TEST_F(UciConfigTest, ReadsWhatIsMissingAsEmpty) {
  setText("config t nfnlq");
  const UciConfig config("p");
  EXPECT_EQ(&config["absent"], &UciConfig::defaultMap);
  EXPECT_EQ(&config["nfnlq"]["absent"], &UciConfig::defaultVec);
  EXPECT_EQ(&config["absent"]["absent"], &UciConfig::defaultVec);
  EXPECT_EQ(&config["nfnlq "], &UciConfig::defaultMap);
  EXPECT_TRUE(UciConfig::defaultMap.empty());
  EXPECT_TRUE(UciConfig::defaultVec.empty());
  EXPECT_EQ(config.size(), 1U);
}

TEST_F(UciConfigTest, IsLookedUpByAnyKindOfText) {
  setText("config t nfnlq\n option option x");
  const UciConfig config("p");
  const char* const terminated = "option";
  const Values& values = config["nfnlq"]["option"];
  EXPECT_EQ(values, (Values{"x"}));
  EXPECT_EQ(&config[std::string("nfnlq")][std::string("option")], &values);
  EXPECT_EQ(&config[std::string_view("nfnlq")][std::string_view("options", 6)], &values);
  EXPECT_EQ(&config["nfnlq"][terminated], &values);
}

TEST_F(UciConfigTest, MakesNoEntryForAnEmptyList) {
  setReply(replyOf(namedSection("s", wire::array("list", ""))));
  const UciConfig config("p");
  EXPECT_EQ(&config["s"]["list"], &UciConfig::defaultVec);
  EXPECT_EQ(config["s"].count("list"), 0U);
}

TEST_F(UciConfigTest, CollectsMembersOfOneNameInOrder) {
  setReply(replyOf(namedSection(
      "s", wire::text("o", "1") + wire::array("o", wire::text("", "2") + wire::text("", "3")) +
               wire::text("o", "4"))));
  EXPECT_EQ(UciConfig("p")["s"]["o"], (Values{"1", "2", "3", "4"}));
}

TEST_F(UciConfigTest, AddsASecondSectionOfTheSameNameToTheFirst) {
  setReply(replyOf(namedSection("s", wire::text("o", "1")) + namedSection("other", "") +
                   namedSection("s", wire::text("o", "2") + wire::text("p", "3"))));
  const UciConfig config("p");
  EXPECT_EQ(config.size(), 2U);
  EXPECT_EQ(config["s"]["o"], (Values{"1", "2"}));
  EXPECT_EQ(config["s"]["p"], (Values{"3"}));
  EXPECT_EQ(config["s"][".name"], (Values{"s", "s"}));
}

TEST_F(UciConfigTest, TakesSectionNamesFromTheirNameMember) {
  setReply(replyOf(wire::table(
      "element", wire::int32(".name", 1) + wire::text(".name", "real") + wire::text("o", "1"))));
  const UciConfig config("p");
  EXPECT_EQ(config["real"]["o"], (Values{"1"}));
  EXPECT_EQ(&config["element"], &UciConfig::defaultMap);
}

TEST_F(UciConfigTest, StoresReservedStringsAndNothingButStringsAndLists) {
  setText("config type s");
  const UciConfig config("p");
  EXPECT_EQ(config["s"][".name"], (Values{"s"}));
  EXPECT_EQ(config["s"][".type"], (Values{"type"}));
  EXPECT_EQ(config["s"].size(), 2U);

  setReply(replyOf(namedSection("s", wire::table("table", wire::text("a", "b")) +
                                         wire::named(4, "int64", std::string(8, '\0')) +
                                         wire::named(8, "double", std::string(8, 'x')) +
                                         wire::named(0, "unspecified", "xyz"))));
  EXPECT_EQ(UciConfig("p")["s"].size(), 1U);
}

// The second copy may move the first one, which the views of the store point into.
TEST_F(UciConfigTest, KeepsTheFirstOfSeveralRepliesAndValidViews) {
  fakeBus().replies = {uciReply("config t s\n option o 1"),
                       uciReply("config t s\n option o " + std::string(100'000, 'x')),
                       uciReply("config t s\n option o 3")};
  EXPECT_EQ(UciConfig("p")["s"]["o"], (Values{"1"}));
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
  setText("");
  fakeBus().invokeStatus = -1;
  EXPECT_EQ(errorText<std::runtime_error>([] { UciConfig("p"); }), "Ubus: text of status -1");
}

// Reads replies without a bus call around them, so that an error comes out.
class Store : public UciConfig {
 public:
  Store() : UciConfig("p") {}
  using UciConfig::readReply;
};

std::string replyError(const std::string& reply) {
  return errorText<std::invalid_argument>([&] {
    wire::Block message(reply);
    Store().readReply(message.attribute());
  });
}

TEST_F(UciConfigTest, RefusesAReplyOfAnotherShape) {
  const std::string cannotFind = "Cannot find the element named ";
  const std::string list = wire::text("", "x");
  const std::vector<std::pair<std::string, std::string>> cases = {
      {wire::plain(0, ""), cannotFind + "values"},
      {wire::plain(0, wire::array("values", "")), cannotFind + "values"},
      {wire::plain(0, wire::text("values", "x")), cannotFind + "values"},
      {wire::plain(0, wire::named(3, "values", "")), "Invalid format."},
      {replyOf(wire::text("s", "x")), "Invalid type."},
      {replyOf(wire::array("s", "")), "Invalid type."},
      {replyOf(wire::named(7, "s", "ab")), "Invalid format."},
      {replyOf(namedSection("s", "") + wire::text("s", "x")), "Invalid type."},
      {replyOf(wire::table("s", "")), cannotFind + ".name"},
      {replyOf(wire::table("s", wire::int32(".name", 1))), cannotFind + ".name"},
      {replyOf(namedSection("s", wire::array("list", wire::int32("", 1)))), "Invalid type."},
      {replyOf(namedSection("s", wire::array("list", list + wire::array("", list)))),
       "Invalid type."},
      {replyOf(namedSection("s", wire::array("list", wire::named(3, "", "")))), "Invalid format."},
      {replyOf(namedSection("s", wire::named(5, "bad", ""))), "Invalid format."},
  };
  for (const auto& [reply, message] : cases) {
    EXPECT_EQ(replyError(reply), "BlobMsgParser: " + message) << testing::PrintToString(reply);
  }
}

// Every byte of a good reply with every value in its place: an error or not, but nothing is read
// past its end.
TEST_F(UciConfigTest, NeverReadsPastABrokenReply) {
  const std::string list = wire::array("l", wire::text("", "x") + wire::text("", "yz"));
  const std::string good = replyOf(namedSection("s", list));
  for (std::size_t i = 4; i < good.size(); ++i) {
    for (int value = 0; value < 256; ++value) {
      std::string broken = good;
      broken[i] = static_cast<char>(value);
      const std::string error = replyError(broken);
      ASSERT_TRUE(error == "(no error)" || error.starts_with("BlobMsgParser: "))
          << i << ' ' << value << ' ' << error;
    }
  }
}

// The call of the bus library is not left by an exception, be it in the first reply or a later one.
TEST_F(UciConfigTest, EndsTheProcessForAReplyThatItRefuses) {
  testing::FLAGS_gtest_death_test_style = "fast";
  fakeBus().replies = {uciReply(""), wire::plain(0, "")};
  EXPECT_EXIT(UciConfig("p"), testing::KilledBySignal(SIGABRT),
              // The libraries of C++ print the two in different ways.
              "std::invalid_argument('\n  what\\(\\):  |: )BlobMsgParser: Cannot find the element "
              "named values\n");
}

}  // namespace
}  // namespace tavrix
