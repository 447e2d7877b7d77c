// The command line: what is accepted, and the whole message for what is not.
#include "testbed/router/options.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/unit/router_command/router_under_test.h"

namespace testbed::router {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

std::string errorOf(const std::vector<std::string_view>& arguments) {
  try {
    parseOptions(arguments);
  } catch (const UsageError& error) {
    return error.what();
  }
  return "accepted";
}

TEST(RouterOptions, ACommandAloneGetsTheDefaults) {
  const Options options = parseOptions({"ls", "-l"});
  EXPECT_EQ(options.tables, TablesChoice::Auto);
  EXPECT_EQ(options.configFile, "");
  EXPECT_EQ(options.tableDirectory, "");
  EXPECT_TRUE(options.bus);
  EXPECT_TRUE(options.ipSets);
  EXPECT_TRUE(options.machinePaths);
  EXPECT_FALSE(options.help);
  EXPECT_THAT(options.command, ElementsAre("ls", "-l"));
}

TEST(RouterOptions, EveryOptionIsReadUpToTheCommand) {
  const Options options =
      parseOptions({"--tables=nft", "--config=a=b", "--table-files=dir", "--no-bus", "--no-ip-sets",
                    "--no-machine-paths", "sh", "--tables=legacy"});
  EXPECT_EQ(options.tables, TablesChoice::Nft);
  EXPECT_EQ(options.configFile, "a=b");
  EXPECT_EQ(options.tableDirectory, "dir");
  EXPECT_FALSE(options.bus);
  EXPECT_FALSE(options.ipSets);
  EXPECT_FALSE(options.machinePaths);
  EXPECT_THAT(options.command, ElementsAre("sh", "--tables=legacy"));
}

TEST(RouterOptions, EveryKindOfTablesHasItsWord) {
  EXPECT_EQ(parseOptions({"--tables=auto", "x"}).tables, TablesChoice::Auto);
  EXPECT_EQ(parseOptions({"--tables=legacy", "x"}).tables, TablesChoice::Legacy);
  EXPECT_EQ(parseOptions({"--tables=files", "x"}).tables, TablesChoice::Files);
}

TEST(RouterOptions, TwoDashesEndTheOptions) {
  EXPECT_THAT(parseOptions({"--", "--no-bus"}).command, ElementsAre("--no-bus"));
}

TEST(RouterOptions, HelpNeedsNoCommand) {
  const Options options = parseOptions({"--help"});
  EXPECT_TRUE(options.help);
  EXPECT_THAT(options.command, IsEmpty());
}

TEST(RouterOptions, EveryMistakeHasItsMessage) {
  EXPECT_EQ(errorOf({}), "no command given");
  EXPECT_EQ(errorOf({"--no-bus", "--"}), "no command given");
  EXPECT_EQ(errorOf({"--table=nft", "x"}), "unknown option --table=nft");
  EXPECT_EQ(errorOf({"--config", "x"}), "unknown option --config");
  EXPECT_EQ(errorOf({"--config=", "x"}), "--config needs a value");
  EXPECT_EQ(errorOf({"--tables=ipset", "x"}),
            "--tables is \"ipset\"; it must be auto, legacy, nft or files");
}

TEST(RouterOptions, TheProgramPrintsItsUsage) {
  const auto result = test_support::runProcess({router_test::kRouter, "--help"});
  EXPECT_EQ(result.exitStatus, 0);
  EXPECT_EQ(result.out, usageText());
  EXPECT_EQ(result.err, "");
}

TEST(RouterOptions, TheProgramRefusesAMistakeWithStatus125) {
  const auto result = test_support::runProcess({router_test::kRouter, "--quiet", "true"});
  EXPECT_EQ(result.exitStatus, 125);
  EXPECT_EQ(result.out, "");
  EXPECT_EQ(result.err, "router: unknown option --quiet\nTry --help.\n");
}

TEST(RouterOptions, AConfigurationThatCannotBeReadIsNamed) {
  for (const std::string file : {"/nonexistent/file", "/"}) {
    const auto result =
        test_support::runProcess({router_test::kRouter, "--config=" + file, "true"});
    EXPECT_EQ(result.exitStatus, 125);
    EXPECT_EQ(result.err, "router: cannot read " + file + "\n");
  }
}

}  // namespace
}  // namespace testbed::router
