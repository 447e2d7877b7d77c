// What the kernel would refuse when it is given a whole table.
#include "testbed/file_tables/commit_checks.h"

#include <gtest/gtest.h>

#include <string>

#include "testbed/file_tables/restore_text.h"

namespace file_tables {
namespace {

// "accepted", or the restore's message about the COMMIT line.
std::string commit(const std::string& table, const std::string& lines) {
  try {
    parseRestoreText(Family::Ipv4, "*" + table + "\n" + lines + "COMMIT\n");
  } catch (const RestoreFailure& failure) {
    return failure.what();
  }
  return "accepted";
}

std::string failedAt(int line) {
  return "iptables-restore: line " + std::to_string(line) + " failed";
}

TEST(CommitChecks, ALoopThatABuiltInChainLeadsToIsRefused) {
  const std::string chains = ":a - [0:0]\n:b - [0:0]\n";
  EXPECT_EQ(commit("filter", chains + "-A INPUT -j a\n-A a -j b\n-A b -j a\n"), failedAt(7));
  EXPECT_EQ(commit("filter", chains + "-A INPUT -g a\n-A a -g b\n-A b -g a\n"), failedAt(7));
  EXPECT_EQ(commit("filter", chains + "-A INPUT -p tcp -j a\n-A a -i lo -j a\n"), failedAt(6));
}

TEST(CommitChecks, ALoopThatNothingLeadsToIsAccepted) {
  const std::string loop = ":a - [0:0]\n:b - [0:0]\n-A a -j b\n-A b -j a\n";
  EXPECT_EQ(commit("filter", loop), "accepted");
  EXPECT_EQ(commit("filter", loop + "-A INPUT -j ACCEPT\n-A INPUT -j a\n"), "accepted");
  EXPECT_EQ(commit("filter", loop + "-A INPUT -p all -j RETURN\n-A INPUT -j a\n"), "accepted");
  EXPECT_EQ(commit("filter", loop + "-A INPUT -p tcp -j RETURN\n-A INPUT -j a\n"), failedAt(8));
}

TEST(CommitChecks, AChainReachedOnTwoWaysIsNoLoop) {
  EXPECT_EQ(commit("filter",
                   ":a - [0:0]\n:b - [0:0]\n-A INPUT -j a\n-A INPUT -j b\n-A a -j b\n"
                   "-A FORWARD -g b\n-A b -j RETURN\n"),
            "accepted");
}

TEST(CommitChecks, HooksArePassedOnThroughChains) {
  const std::string chains =
      ":a - [0:0]\n:b - [0:0]\n-A a -j b\n-A b -p tcp -j REDIRECT --to-ports 8099\n";
  EXPECT_EQ(commit("nat", chains), "accepted");
  EXPECT_EQ(commit("nat", chains + "-A PREROUTING -j a\n-A OUTPUT -g b\n"), "accepted");
  EXPECT_EQ(commit("nat", chains + "-A POSTROUTING -j a\n"), failedAt(7));
  EXPECT_EQ(commit("nat", chains + "-A PREROUTING -j a\n-A INPUT -g a\n"), failedAt(8));
}

TEST(CommitChecks, ARuleBehindAnUnconditionalVerdictHasNoHook) {
  EXPECT_EQ(commit("nat", "-A POSTROUTING -j ACCEPT\n-A POSTROUTING -j REDIRECT\n"), "accepted");
  EXPECT_EQ(commit("nat", "-A POSTROUTING -j MARK --set-mark 1\n-A POSTROUTING -j REDIRECT\n"),
            failedAt(4));
}

TEST(CommitChecks, ATargetsTableCountsEvenWhereNothingLeadsTo) {
  EXPECT_EQ(commit("mangle", ":a - [0:0]\n-A a -j REJECT\n"), failedAt(4));
  EXPECT_EQ(commit("filter", ":a - [0:0]\n-A a -j REDIRECT\n"), failedAt(4));
}

TEST(CommitChecks, AChainOfManyLinksTakesNoStackOfItsDepth) {
  constexpr int kLinks = 20000;
  std::string lines;
  for (int link = 0; link <= kLinks; ++link) {
    lines += ":c" + std::to_string(link) + " - [0:0]\n";
  }
  lines += "-A INPUT -j c0\n";
  for (int link = 0; link < kLinks; ++link) {
    lines += "-A c" + std::to_string(link) + " -j c" + std::to_string(link + 1) + "\n";
  }
  EXPECT_EQ(commit("filter", lines), "accepted");
  EXPECT_EQ(commit("filter", lines + "-A c" + std::to_string(kLinks) + " -j c0\n"),
            failedAt(2 * kLinks + 5));
}

}  // namespace
}  // namespace file_tables
