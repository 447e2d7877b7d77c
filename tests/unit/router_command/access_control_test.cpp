// What is read from a configuration of access control.
#include "testbed/router/access_control.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace testbed::router {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

using Members = IpSet::Members;

AccessControl readSection(const std::string& options) {
  return readAccessControl("config kovsel 'kovsel'\n" + options);
}

TEST(AccessControlRead, EveryKindOfSetIsFoundInTheOrderOfTheFile) {
  EXPECT_THAT(readSection("  option blacklist_v6_user1 'six'\n"
                          "  option mac_set_user4294967295 'macs'\n"
                          "  option blacklist_v4_user1 'four'\n")
                  .ipSets,
              ElementsAre(IpSet{"six", Members::Ipv6Addresses}, IpSet{"macs", Members::SourceMacs},
                          IpSet{"four", Members::Ipv4Addresses}));
}

TEST(AccessControlRead, OfAListTheFirstSetCounts) {
  EXPECT_THAT(readSection("  list mac_set_user1 'first'\n  list mac_set_user1 'second'\n").ipSets,
              ElementsAre(IpSet{"first", Members::SourceMacs}));
}

TEST(AccessControlRead, OtherOptionsAndEmptyNamesAreNoSets) {
  EXPECT_THAT(readSection("  option mac_set_user 'a'\n  option mac_set_userx 'b'\n"
                          "  option mac_set_user1x 'c'\n  option mac_user1 'd'\n"
                          "  option keywords_user1 'e'\n  option blacklist_v4_user1 ''\n")
                  .ipSets,
              IsEmpty());
}

TEST(AccessControlRead, OtherSectionsNameNoSets) {
  const AccessControl read = readAccessControl(
      "config kovsel 'other'\n  option mac_set_user1 'a'\n  list user_list '1'\n"
      "config kovsel\n  option mac_set_user1 'a'\n  list user_list '1'\n");
  EXPECT_THAT(read.ipSets, IsEmpty());
  EXPECT_FALSE(read.hasUsers);
}

TEST(AccessControlRead, AListOfUsersMeansUsers) {
  EXPECT_TRUE(readSection("  list user_list '1'\n").hasUsers);
  EXPECT_TRUE(readSection("  option user_list '1'\n").hasUsers);
  EXPECT_FALSE(readSection("  option label_user1 '1'\n").hasUsers);
}

TEST(AccessControlRead, AFileWithASyntaxErrorSaysNothing) {
  const AccessControl read = readSection("  list user_list '1'\n  option mac_set_user1 'a'\n  'x");
  EXPECT_THAT(read.ipSets, IsEmpty());
  EXPECT_FALSE(read.hasUsers);
}

TEST(MatchPlugins, AreRequiredForUsersOnly) {
  TestbedFiles none;
  TestbedFiles built;
  built.matchPlugins = "/somewhere";
  AccessControl users;
  users.hasUsers = true;
  EXPECT_NO_THROW(requireMatchPlugins(none, {}));
  EXPECT_NO_THROW(requireMatchPlugins(built, users));
  try {
    requireMatchPlugins(none, users);
    FAIL() << "accepted";
  } catch (const std::runtime_error& error) {
    EXPECT_STREQ(error.what(),
                 "the configuration has users, and the plugins for their matches were not built");
  }
}

}  // namespace
}  // namespace testbed::router
