// The bus daemon as a process: what it refuses, its errors and its end. Its answers, and that it
// outlives clients, serves several and replaces a dead one's socket, are seen in runs on the
// router.
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <vector>

#include "testbed/libubus/bus_socket.h"
#include "tests/support/process.h"
#include "tests/support/temp_dir.h"
#include "tests/support/wire_bytes.h"

namespace {

using std::string_literals::operator""s;
using test_support::ProcessResult;
using test_support::runProcess;

constexpr std::uint32_t uciObject = 0x75636901;

std::string getRequest(const std::string& package) {
  return wire::invoke(1, uciObject, "get", wire::text("config", package));
}

// A daemon with a socket and a configuration directory of the test's own.
class Busd : public testing::Test {
 protected:
  Busd() {
    std::string line;
    if (!process_.readLine(line) || !line.empty()) {
      throw std::runtime_error("the daemon did not start: " + line + process_.wait().err);
    }
  }

  void write(const std::string& package, const std::string& value) const {
    test_support::writeFile(dir_ / package, "config t 's'\n\toption o '" + value + "'\n");
  }

  // All that a client of its own gets for a request; the daemon numbers its clients.
  std::string answerTo(const std::string& request) {
    const int client = testbed::connectBus(socket_);
    EXPECT_TRUE(testbed::sendAll(client, request));
    shutdown(client, SHUT_WR);
    std::string answer;
    std::array<char, 4096> buffer;
    for (ssize_t got = 0; (got = recv(client, buffer.data(), buffer.size(), 0)) > 0;) {
      answer.append(buffer.data(), static_cast<std::size_t>(got));
    }
    close(client);
    const std::string hello = wire::hello(++clients_);
    EXPECT_EQ(answer.substr(0, hello.size()), hello);
    return answer.substr(hello.size());
  }

  test_support::TempDir dir_;
  std::string socket_ = dir_ / "ubus.sock";
  test_support::BackgroundProcess process_{
      {UBUSD_PATH, "--socket=" + socket_, "--config-dir=" + dir_.path().string(), "--ready-fd=1"}};
  std::uint32_t clients_ = 0;
};

TEST_F(Busd, RefusesWhatItDoesNotServeWithTheFittingStatus) {
  write("small", "v");
  const std::string id = wire::plain(3, wire::big32(uciObject));
  const std::string get = wire::plain(4, "get\0"s);
  const std::string config = wire::text("config", "small");
  const auto invoke = [](const std::string& arguments) {
    return wire::invoke(1, uciObject, "get", arguments);
  };
  const auto refused = [](std::uint32_t status) {
    return wire::objectStatus(1, uciObject, status);
  };
  const std::vector<std::pair<std::string, std::string>> table = {
      {wire::lookup(9, "network"), wire::status(9, 0, 4)},
      {getRequest("large"), refused(4)},
      {wire::invoke(1, uciObject, "set", config), refused(3)},
      {wire::invoke(1, uciObject + 1, "get", config), wire::objectStatus(1, uciObject + 1, 4)},
      {wire::message(5, 1, uciObject, get), wire::status(1, uciObject, 2)},
      {wire::message(5, 1, uciObject, id), wire::status(1, uciObject, 2)},
      {wire::message(5, 1, uciObject, id + get), refused(2)},
      {wire::message(5, 1, uciObject, id + id), wire::status(1, uciObject, 2)},
      {invoke(""), refused(2)},
      {invoke(wire::text("config", "../small")), refused(2)},
      {invoke(wire::int32("config", 1)), refused(2)},
      {invoke(wire::text("package", "small")), refused(2)},
      {invoke(config + config), refused(2)},
      {invoke(wire::named(3, "config", "small")), refused(2)},
      {wire::message(3, 1, 2, ""), wire::status(1, 2, 1)},
  };
  for (const auto& [question, answer] : table) {
    EXPECT_EQ(answerTo(question), answer) << testing::PrintToString(question);
  }
}

TEST_F(Busd, ReportsWhatItCannotReadAndRemovesItsSocketAtTheEnd) {
  write("broken", "'");
  std::filesystem::create_directory(dir_ / "directory");
  for (const char* package : {"broken", "directory"}) {
    EXPECT_EQ(answerTo(getRequest(package)), wire::objectStatus(1, uciObject, 9));
  }
  process_.sendSignal(SIGTERM);
  const ProcessResult end = process_.wait();
  EXPECT_EQ(end.exitStatus, 0);
  EXPECT_EQ(end.out, "");
  EXPECT_EQ(end.err, "ubusd: " + (dir_ / "broken") + ":2: the quote ' is not closed\n" +
                         "ubusd: " + (dir_ / "directory") + ": not a file\n");
  EXPECT_FALSE(std::filesystem::exists(socket_));
}

TEST_F(Busd, SaysWhyItDoesNotStart) {
  test_support::writeFile(dir_ / "file", "kept");
  const std::string usage = "usage: ubusd [--socket=PATH] [--config-dir=DIR] [--ready-fd=N]\n";
  struct Failure {
    std::string argument;
    int status;
    std::string err;
  };
  const std::vector<Failure> rows = {
      {"--socket=" + socket_, 1, "ubusd: a daemon listens on " + socket_ + " already\n"},
      {"--socket=" + (dir_ / "file"), 1,
       "ubusd: " + (dir_ / "file") + ": " + std::strerror(EADDRINUSE) + "\n"},
      {"--socket=", 1, "ubusd: not a usable socket path: \"\"\n"},
      {"--sockets=x", 2, usage},
      {"--ready-fd=1x", 2, usage},
  };
  for (const Failure& row : rows) {
    const ProcessResult result = runProcess({UBUSD_PATH, row.argument});
    EXPECT_EQ(result.exitStatus, row.status) << row.argument;
    EXPECT_EQ(result.out + result.err, row.err);
  }
  EXPECT_EQ(test_support::readFile(dir_ / "file"), "kept");
}

}  // namespace
