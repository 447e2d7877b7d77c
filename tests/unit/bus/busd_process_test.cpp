// The bus daemon from outside: its answers byte for byte, its errors, its start and its end.
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <string>
#include <vector>

#include "testbed/busd/message_answer.h"
#include "tests/support/wire_bytes.h"
#include "tests/unit/bus/running_busd.h"

namespace {

using std::string_literals::operator""s;
using bus_test::RawClient;
using bus_test::RunningBusd;
using test_support::ProcessResult;
using test_support::runProcess;

constexpr std::uint32_t uciObject = testbed::uciObjectId;

std::string config(const std::string& package) {
  return wire::text("config", package);
}

// The members of the reply to a package of one section with one option.
std::string smallReply(const std::string& value) {
  return wire::table("values",
                     wire::table("s", wire::int8(".anonymous", 0) + wire::text(".type", "t") +
                                          wire::text(".name", "s") + wire::int32(".index", 0) +
                                          wire::text("o", value)));
}

TEST(Busd, AnswersALookupWithTheObjectAndAStatus) {
  const RunningBusd busd;
  const std::string uci = wire::plain(2, "uci\0"s) + wire::plain(3, wire::big32(uciObject)) +
                          wire::plain(5, wire::big32(testbed::uciObjectType)) +
                          wire::plain(6, wire::table("get", wire::int32("config", 3)));
  const std::vector<std::pair<std::string, std::string>> table = {
      {wire::lookup(7, "uci"), wire::message(2, 7, 0, uci) + wire::status(7, 0, 0)},
      {wire::message(4, 8, 0, ""), wire::message(2, 8, 0, uci) + wire::status(8, 0, 0)},
      {wire::lookup(9, "network"), wire::status(9, 0, 4)},
      {wire::lookup(10, ""), wire::status(10, 0, 4)},
  };
  for (const auto& [question, answer] : table) {
    const RawClient client(busd);
    ASSERT_TRUE(client.send(question));
    client.finish();
    EXPECT_EQ(client.readToEnd(), answer);
  }
}

TEST(Busd, AnswersAGetWithThePackageAndAStatus) {
  const RunningBusd busd;
  busd.writeConfig("small", "config t 's'\n\toption o 'v'\n");
  const RawClient client(busd);
  ASSERT_TRUE(client.send(wire::invoke(1, uciObject, "get", config("small"))));
  client.finish();
  EXPECT_EQ(client.readToEnd(),
            wire::data(1, uciObject, smallReply("v")) + wire::objectStatus(1, uciObject, 0));
}

TEST(Busd, RefusesWhatItDoesNotServeWithTheFittingStatus) {
  const RunningBusd busd;
  busd.writeConfig("small", "config t 's'\n");
  busd.writeConfig(".hidden", "config t 's'\n");
  std::filesystem::create_directory(busd.configPath("directory"));
  const std::string id = wire::plain(3, wire::big32(uciObject));
  const std::string get = wire::plain(4, "get\0"s);
  const std::vector<std::pair<std::string, std::string>> table = {
      {wire::invoke(1, uciObject, "set", config("small")), wire::objectStatus(1, uciObject, 3)},
      {wire::invoke(1, uciObject, "", config("small")), wire::objectStatus(1, uciObject, 3)},
      {wire::invoke(1, uciObject + 1, "get", config("small")),
       wire::objectStatus(1, uciObject + 1, 4)},
      {wire::message(5, 1, uciObject, get), wire::status(1, uciObject, 2)},
      {wire::message(5, 1, uciObject, id), wire::status(1, uciObject, 2)},
      {wire::message(5, 1, uciObject, id + get), wire::objectStatus(1, uciObject, 2)},
      {wire::message(5, 1, uciObject, id + id), wire::status(1, uciObject, 2)},
      {wire::invoke(1, uciObject, "get", ""), wire::objectStatus(1, uciObject, 2)},
      {wire::invoke(1, uciObject, "get", config("none")), wire::objectStatus(1, uciObject, 4)},
      {wire::invoke(1, uciObject, "get", config("")), wire::objectStatus(1, uciObject, 2)},
      {wire::invoke(1, uciObject, "get", config("../config/small")),
       wire::objectStatus(1, uciObject, 2)},
      {wire::invoke(1, uciObject, "get", config("/etc/passwd")),
       wire::objectStatus(1, uciObject, 2)},
      {wire::invoke(1, uciObject, "get", config(".hidden")), wire::objectStatus(1, uciObject, 2)},
      {wire::invoke(1, uciObject, "get", config("..")), wire::objectStatus(1, uciObject, 2)},
      {wire::invoke(1, uciObject, "get", wire::int32("config", 1)),
       wire::objectStatus(1, uciObject, 2)},
      {wire::invoke(1, uciObject, "get", wire::text("package", "small")),
       wire::objectStatus(1, uciObject, 2)},
      {wire::invoke(1, uciObject, "get", config("small") + config("small")),
       wire::objectStatus(1, uciObject, 2)},
      {wire::invoke(1, uciObject, "get", config("small") + wire::text("section", "s")),
       wire::objectStatus(1, uciObject, 2)},
      {wire::invoke(1, uciObject, "get", wire::named(3, "config", "small")),
       wire::objectStatus(1, uciObject, 2)},
      {wire::invoke(1, uciObject, "get", "\x83\0\0\x40\0\6con"s),
       wire::objectStatus(1, uciObject, 2)},
      {wire::invoke(1, uciObject, "get", config("directory")), wire::objectStatus(1, uciObject, 9)},
      {wire::message(0, 1, 2, ""), wire::status(1, 2, 1)},
      {wire::message(1, 1, 2, wire::plain(1, "abcd")), wire::status(1, 2, 1)},
      {wire::message(3, 1, 2, ""), wire::status(1, 2, 1)},
      {wire::message(200, 1, 2, ""), wire::status(1, 2, 1)},
  };
  for (const auto& [question, answer] : table) {
    const RawClient client(busd);
    ASSERT_TRUE(client.send(question));
    client.finish();
    EXPECT_EQ(client.readToEnd(), answer) << testing::PrintToString(question);
  }
}

TEST(Busd, ReadsTheFileAnewForEachCall) {
  const RunningBusd busd;
  EXPECT_EQ(busd.get("changing").status, 4);
  busd.writeConfig("changing", "config t s\n option o 1\n");
  EXPECT_EQ(busd.get("changing").members, smallReply("1"));
  busd.writeConfig("changing", "config t s\n option o 2\n");
  EXPECT_EQ(busd.get("changing").members, smallReply("2"));
  std::filesystem::remove(busd.configPath("changing"));
  EXPECT_EQ(busd.get("changing").status, 4);
}

TEST(Busd, ReportsBadFilesOnStandardErrorAndAnswersUnknownError) {
  RunningBusd busd;
  busd.writeConfig("broken", "config t s\n\toption o 'v\n");
  busd.writeConfig("large",
                   "config t s\n\toption o '" + std::string(17 * 1024 * 1024, 'v') + "'\n");
  ASSERT_EQ(mkfifo(busd.configPath("pipe").c_str(), 0600), 0);
  ASSERT_EQ(symlink("loop", busd.configPath("loop").c_str()), 0);
  for (const std::string name : {"broken", "large", "pipe", "loop"}) {
    const bus_test::GetResult result = busd.get(name);
    EXPECT_EQ(result.status, 9) << name;
    EXPECT_EQ(result.members, "") << name;
  }
  const ProcessResult end = busd.stop(SIGTERM);
  EXPECT_EQ(end.err,
            "ubusd: " + busd.configPath("broken") + ":2: the quote ' is not closed\n" +
                "ubusd: " + busd.configPath("large") + ": File too large\n" +
                "ubusd: " + busd.configPath("pipe") + ": not a regular file: Invalid argument\n" +
                "ubusd: " + busd.configPath("loop") + ": Too many levels of symbolic links\n");
}

TEST(Busd, ServesUpToTheMessageLimitAndReportsWhatIsOverIt) {
  RunningBusd busd;
  // Outer word, object id, data word: what a message needs around the members.
  const std::size_t room = 1024 * 1024 - 4 - 8 - 4 - smallReply("").size();
  // smallReply("") ends in a NUL and three bytes of padding, which a value may use.
  const std::string largest(room + 3, 'v');
  busd.writeConfig("largest", "config t s\n option o '" + largest + "'\n");
  busd.writeConfig("over", "config t s\n option o '" + largest + "v'\n");
  busd.writeConfig("far_over", "config t s\n option o '" + std::string(16777000, 'v') + "'\n");
  EXPECT_EQ(busd.get("largest").members, smallReply(largest));
  EXPECT_EQ(busd.get("over").status, 9);
  EXPECT_EQ(busd.get("far_over").status, 9);
  EXPECT_EQ(busd.stop(SIGTERM).err,
            "ubusd: " + busd.configPath("over") + ": too long for a bus message\n" +
                "ubusd: " + busd.configPath("far_over") + ": too long for a bus message\n");
}

TEST(Busd, RemovesItsSocketAndTheDirectoriesThatItMadeOnEitherSignal) {
  for (const int signal : {SIGTERM, SIGINT}) {
    RunningBusd busd;
    const RawClient client(busd);
    struct stat status {};
    ASSERT_EQ(stat(busd.socketPath().c_str(), &status), 0);
    EXPECT_TRUE(S_ISSOCK(status.st_mode));
    const ProcessResult end = busd.stop(signal);
    EXPECT_EQ(end.exitStatus, 0);
    EXPECT_EQ(end.out, "");
    EXPECT_EQ(end.err, "");
    EXPECT_FALSE(std::filesystem::exists(busd.dir() / "run"));
    EXPECT_TRUE(std::filesystem::exists(busd.dir() / "config"));
    EXPECT_EQ(client.readToEnd(), "");
  }
}

TEST(Busd, LeavesADirectoryThatSomebodyElseUses) {
  RunningBusd busd;
  test_support::writeFile(busd.dir() / "run/lock", "");
  EXPECT_EQ(busd.stop(SIGTERM).exitStatus, 0);
  EXPECT_FALSE(std::filesystem::exists(busd.dir() / "run/ubus"));
  EXPECT_TRUE(std::filesystem::exists(busd.dir() / "run/lock"));
}

TEST(Busd, LeavesASocketThatHasReplacedItsOwn) {
  RunningBusd busd;
  std::filesystem::remove(busd.socketPath());
  test_support::writeFile(busd.socketPath(), "another's");
  EXPECT_EQ(busd.stop(SIGTERM).exitStatus, 0);
  EXPECT_EQ(test_support::readFile(busd.socketPath()), "another's");
}

TEST(Busd, ReplacesTheSocketOfADeadDaemonOnly) {
  RunningBusd busd;
  const ProcessResult second = runProcess({UBUSD_PATH, "--socket=" + busd.socketPath()});
  EXPECT_EQ(second.exitStatus, 1);
  EXPECT_EQ(second.err, "ubusd: a daemon listens on " + busd.socketPath() + " already\n");
  EXPECT_EQ(busd.get("none").status, 4);  // the first is as well as before

  EXPECT_EQ(busd.stop(SIGKILL).signal, SIGKILL);
  EXPECT_TRUE(std::filesystem::exists(busd.socketPath()));
  test_support::BackgroundProcess third(
      {UBUSD_PATH, "--socket=" + busd.socketPath(), "--ready-fd=1"});
  std::string line;
  EXPECT_TRUE(third.readLine(line));
  third.sendSignal(SIGTERM);
  EXPECT_EQ(third.wait().exitStatus, 0);
  EXPECT_FALSE(std::filesystem::exists(busd.socketPath()));
}

TEST(Busd, SaysWhyItCannotStart) {
  const test_support::TempDir dir;
  test_support::writeFile(dir / "file", "kept");
  const std::string longPath = "/tmp/" + std::string(200, 'x');
  const std::vector<std::pair<std::string, std::string>> table = {
      {dir / "file", (dir / "file") + " exists and is no socket"},
      {longPath, "not a usable socket path: \"" + longPath + "\""},
      {"", "not a usable socket path: \"\""},
  };
  for (const auto& [path, reason] : table) {
    const ProcessResult result = runProcess({UBUSD_PATH, "--socket=" + path});
    EXPECT_EQ(result.exitStatus, 1);
    EXPECT_EQ(result.err, "ubusd: " + reason + "\n");
  }
  EXPECT_EQ(test_support::readFile(dir / "file"), "kept");
  const ProcessResult result =
      runProcess({UBUSD_PATH, "--socket=" + (dir / "new/s"), "--ready-fd=99"});
  EXPECT_EQ(result.exitStatus, 1);
  EXPECT_EQ(result.err, "ubusd: --ready-fd: Bad file descriptor\n");
  EXPECT_FALSE(std::filesystem::exists(dir / "new"));
}

TEST(Busd, RefusesUnknownArguments) {
  for (const std::string argument :
       {"--sockets=x", "socket", "--ready-fd=", "--ready-fd=x", "--ready-fd=-1", "--ready-fd=1x",
        "--ready-fd=99999999999", "--help"}) {
    const ProcessResult result = runProcess({UBUSD_PATH, argument});
    EXPECT_EQ(result.exitStatus, 2) << argument;
    EXPECT_EQ(result.out, "") << argument;
    EXPECT_EQ(result.err, "usage: ubusd [--socket=PATH] [--config-dir=DIR] [--ready-fd=N]\n");
  }
}

}  // namespace
