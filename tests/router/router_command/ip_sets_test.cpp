// The IP sets that a run has in its kernel tables, and what becomes of it without them.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/router_under_test.h"
#include "tests/support/temp_dir.h"

namespace {

using router_test::kFilesLine;
using router_test::kLegacyLine;
using router_test::kRouter;
using test_support::ProcessResult;
using test_support::TempDir;

// Of a list the first set counts; other options and sections name none. A set of the same name and
// type is the same.
const std::string kConfig =
    "config kovsel 'kovsel'\n"
    "  list mac_set_user1 'macs'\n"
    "  list mac_set_user1 'second'\n"
    "  option blacklist_v4_user1 \"four\"\n"
    "  option blacklist_v4_user2 'four'\n"
    "  option blacklist_v6_user4294967295 six\n"
    "  option blacklist_v6_user2 ''\n"
    "  option mac_set_userx 'a'\n"
    "config kovsel 'other'\n"
    "  option mac_set_user1 'b'\n"
    "config kovsel\n"
    "  option mac_set_user1 'c'\n";

// A line for each set: its name, type and family. For MAC addresses the kernel decides the type.
const std::string kListSets = R"sh(
for set in $(ipset list -name | sort); do
  ipset list $set | sed -n 's/^Type: \(hash:mac\|list:set\)$/macs/p; s/^Type: //p
    s/^Header: family \([^ ]*\).*/\1/p' | xargs echo $set
done
ipset save | grep ^add || true)sh";

class RouterIpSets : public router_test::KernelTablesTest {
 protected:
  void SetUp() override {
    KernelTablesTest::SetUp();
    if (IsSkipped()) return;
    const ProcessResult result =
        router_test::runScript({"--no-bus", "--tables=legacy"}, "ipset create probe list:set");
    if (result.exitStatus == 1) GTEST_SKIP() << "the kernel has no IP sets: " << result.err;
    ASSERT_EQ(result.exitStatus, 0) << result.err;
  }

  static ProcessResult runWith(const std::string& config, std::vector<std::string> options,
                               const std::string& script) {
    const TempDir directory;
    test_support::writeFile(directory / "config", config);
    options.insert(options.end(), {"--no-bus", "--config=" + (directory / "config")});
    return router_test::runScript(options, script);
  }
};

TEST_F(RouterIpSets, AreThereEmptyWhenTheCommandStarts) {
  const ProcessResult result = runWith(kConfig, {"--tables=legacy"}, kListSets);
  EXPECT_EQ(result.out, "four hash:ip inet\nmacs macs\nsix hash:ip inet6\n");
  EXPECT_EQ(result.err, kLegacyLine);
}

TEST_F(RouterIpSets, ThatCannotBeMadeAreReported) {
  const std::string config =
      "config kovsel 'kovsel'\n"
      "  option blacklist_v4_user1 'four'\n"
      "  option mac_set_user2 'four'\n"
      "  option blacklist_v6_user3 'a_name_of_more_than_31_characters'\n"
      "  option blacklist_v6_user4 'six'\n";
  const ProcessResult result = runWith(config, {"--tables=legacy"}, "ipset list -name | sort");
  EXPECT_EQ(result.out, "four\nsix\n");
  EXPECT_THAT(result.err,
              testing::MatchesRegex("router: no IP set four: ipset v[0-9.]*: Set cannot be "
                                    "created: set with the same name already exists\n"
                                    "router: no IP set a_name_of_more_than_31_characters: "
                                    "ipset v[0-9.]*: Syntax error: setname "
                                    "'a_name_of_more_than_31_characters' is longer than 31 "
                                    "characters\n"
                                    "router: tables in the kernel .legacy tools., namespaces of "
                                    "its own\n"));
}

// The machine without the tool is the private one of an outer run.
TEST_F(RouterIpSets, WithoutTheToolTablesAreInFilesOrRefused) {
  const ProcessResult result = runWith(kConfig, {"--tables=files"}, "router='" + kRouter + R"sh('
mkdir /run/sbin
cp -d /usr/sbin/*tables* /run/sbin
mount --bind /run/sbin /usr/sbin
config=$TESTBED_CONFIG_DIR/firewall_cpp
$router --no-bus --config=$config echo auto
$router --no-bus --config=$config --tables=legacy echo legacy || echo $?
$router --no-bus --config=$config --tables=legacy --no-ip-sets echo left out
$router --no-bus --tables=legacy echo none named)sh");
  const std::string reason =
      "the configuration names IP sets, and ipset fails here: setpriv: failed to execute ipset: "
      "No such file or directory\n";
  EXPECT_EQ(result.out, "auto\n125\nleft out\nnone named\n");
  EXPECT_EQ(result.err, kFilesLine + "router: tables in files, namespaces of its own, because " +
                            reason + "router: " + reason + kLegacyLine + kLegacyLine);
}

}  // namespace
