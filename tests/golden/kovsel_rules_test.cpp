// Section "kovsel" in, restore texts out: whole runs for households, each in a directory of its own
// with its configuration and what the three tables of a family get.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/golden/golden_run.h"
#include "tests/support/temp_dir.h"

namespace golden {
namespace {

std::string householdFile(const std::string& household, std::string_view name) {
  return test_support::readFile(GOLDEN_SOURCE_DIR "/kovsel/" + household + "/" + std::string(name));
}

// The same programs are made for both families: the texts differ in the name of the tool that saved
// the table.
std::vector<std::string> householdTexts(const std::string& household) {
  std::vector<std::string> texts;
  for (const PassName& pass : kPasses) {
    std::string text = householdFile(household, pass.table);
    for (std::size_t at = 0; (at = text.find("TOOL", at)) != std::string::npos;) {
      text.replace(at, 4, pass.tool);
    }
    texts.push_back(text);
  }
  return texts;
}

// The table's text with these lines behind the declaration of the chain.
std::string afterDeclaration(const std::string& chain, const std::string& lines,
                             std::string table) {
  const std::string declaration = ":" + chain + " ACCEPT [0:0]\n";
  return table.insert(table.find(declaration) + declaration.size(), lines);
}

class KovselHousehold : public testing::TestWithParam<const char*> {};

TEST_P(KovselHousehold, GetsTheTextsThatAreWrittenDownBesideItAndKeepsThem) {
  const std::string config = householdFile(GetParam(), "config");
  Scenario scenario;
  scenario.configs = {config, config, ""};
  const std::vector<RunRecord> runs = runAll(scenario);
  EXPECT_EQ(runs[0].restoreTexts, householdTexts(GetParam()));
  EXPECT_EQ(runs[1].restoreTexts, runs[0].restoreTexts);
  EXPECT_EQ(runs[1].tables, runs[0].tables);
  EXPECT_EQ(runs[2].restoreTexts, restoreTextsWith(""));
  for (const RunRecord& run : runs) {
    EXPECT_EQ(run.calls, expectedCalls());
    EXPECT_EQ(programError(run.err), "");
    EXPECT_EQ(run.status, 0);
  }
}

INSTANTIATE_TEST_SUITE_P(, KovselHousehold,
                         testing::Values("guest", "parent", "child", "keywords_and_queue", "family",
                                         "two_classes"),
                         [](const auto& test) { return std::string(test.param); });

TEST(KovselUserList, IsReadAsNumbersUpToTheFirstOtherCharacter) {
  const RunRecord run = runOnce(std::string(R"(
config kovsel 'kovsel'
	list user_list '7'
	list user_list '07'
	list user_list '7abc'
	list user_list '-1'
	list user_list 'x'
	option label_user7 '70'
	option reject_user7 '1'
	option label_user4294967295 '80'
	option reject_user4294967295 '1'
	option label_user0 '90'
	option reject_user0 '1'
)"));
  std::string rules;
  for (const char* label : {"70", "70", "70", "80", "90"}) {
    rules += "-A PREROUTING -p tcp -m tavrix-connlabel --label " + std::string(label) +
             " -j REDIRECT --to-ports 8099 -m comment --comment ipt_compiler\n";
  }
  for (const std::size_t nat : {std::size_t{1}, std::size_t{4}}) {
    EXPECT_EQ(run.restoreTexts.at(nat),
              afterDeclaration("PREROUTING", rules, emptyTable(kPasses.at(nat))));
  }
  EXPECT_EQ(programError(run.err), "");
  EXPECT_EQ(run.status, 0);
}

TEST(KovselError, OfAMissingLabelEndsTheRunInFilterWithTheEarlierTablesRestored) {
  const RunRecord run = runOnce(std::string(R"(
config kovsel 'kovsel'
	list user_list '1'
	list user_list '12'
	option label_user1 '10'
	option reject_user1 '1'
	option mac_set_user12 'macs'
	option reject_user12 '1'
)"));
  EXPECT_EQ(programError(run.err),
            uncaught("std::invalid_argument",
                     "kovsel: user 12 is in user_list but has no label_user12."));
  EXPECT_EQ(run.status, kAborted);
  // The tables of the two passes before are restored; filter was saved, and its text begun.
  EXPECT_EQ(run.calls, expectedCalls(5));
  const std::string redirect =
      "-A PREROUTING -p tcp -m tavrix-connlabel --label 10 -j REDIRECT --to-ports 8099 -m comment "
      "--comment ipt_compiler\n";
  const std::vector<std::string> texts = {
      emptyTable(kPasses[0]), afterDeclaration("PREROUTING", redirect, emptyTable(kPasses[1]))};
  EXPECT_EQ(run.restoreTexts, texts);
}

TEST(KovselError, OfARuleTextNamesItsPlaceInTheRuleSet) {
  const RunRecord run = runOnce(std::string(R"(
config kovsel 'kovsel'
	list user_list '1'
	option label_user1 '10'
	option keywords_user1 'words -p tcp -j DROP'
)"));
  EXPECT_EQ(programError(run.err),
            uncaught("tavrix::IptCompileFailed",
                     "firewall_cpp/kovsel/kovsel:154: failed to parse '-j DROP' as matches. not a "
                     "valid match of iptables."));
  EXPECT_EQ(run.status, kAborted);
  EXPECT_EQ(run.calls, expectedCalls(3));
  EXPECT_EQ(run.restoreTexts, std::vector<std::string>{emptyTable(kPasses[0])});
}

// Users of four kinds in turn.
std::string largeHousehold(int userCount) {
  std::string list;
  std::string options;
  for (int i = 1; i <= userCount; ++i) {
    const std::string user = std::to_string(i);
    const auto option = [&options, &user](const char* name, const std::string& value) {
      options.append("\tlist ").append(name).append(user).append(" '").append(value).append("'\n");
    };
    list += "\tlist user_list '" + user + "'\n";
    option("mac_set_user", "macs_" + user);
    option("label_user", user);
    if (i % 4 == 0) option("reject_user", "1");
    if (i % 4 == 1) {
      for (int device = 1; device <= 3; ++device) {
        option("mac_user", "02:00:00:00:00:0" + std::to_string(device));
        option("mac_label_user", std::to_string(1000 * device + i));
      }
    }
    if (i % 4 == 2) {
      option("blacklist_v4_user", "v4_" + user);
      option("blacklist_v6_user", "v6_" + user);
      option("host_counter_user", user);
      option("class_reject_user", "3");
      option("class_user", "7");
      option("class_label_user", user);
    }
    if (i % 4 >= 2) option("keywords_user", "hosts_" + user);
  }
  return "config kovsel 'kovsel'\n" + list + options;
}

std::size_t countOf(const std::string& text, const std::string& piece) {
  std::size_t count = 0;
  for (std::size_t at = 0; (at = text.find(piece, at)) != std::string::npos; ++at) ++count;
  return count;
}

TEST(KovselHouseholdOfThreeHundred, RunsToTheEndAndASecondRunChangesNothing) {
  constexpr int kUsers = 300;
  const std::string config = largeHousehold(kUsers);
  Scenario scenario;
  scenario.configs = {config, config};
  const std::vector<RunRecord> runs = runAll(scenario);
  EXPECT_EQ(runs[1].restoreTexts, runs[0].restoreTexts);
  EXPECT_EQ(runs[1].tables, runs[0].tables);
  for (const RunRecord& run : runs) {
    EXPECT_EQ(run.calls, expectedCalls());
    EXPECT_EQ(programError(run.err), "");
    EXPECT_EQ(run.status, 0);
  }
  for (const std::string family : {"iptables", "ip6tables"}) {
    const std::string& mangle = runs[1].tables.at(family + ".mangle");
    const std::string& nat = runs[1].tables.at(family + ".nat");
    const std::string& filter = runs[1].tables.at(family + ".filter");
    for (int i = 1; i <= kUsers; ++i) {
      const std::string user = std::to_string(i);
      EXPECT_EQ(countOf(mangle, "--match-set macs_" + user + " src "), 1U) << user;
      // A user who is only counted has nothing to do in nat.
      EXPECT_EQ(countOf(nat, "--label " + user + " "), i % 4 == 1 ? 0U : 1U) << user;
      // The label of everyone in INPUT and FORWARD, with the mark bit unless rejected.
      EXPECT_EQ(countOf(filter, "--label " + user + " "), i % 4 == 0 ? 2U : 4U) << user;
    }
  }
}

}  // namespace
}  // namespace golden
