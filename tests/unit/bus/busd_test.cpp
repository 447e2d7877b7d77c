// The bus daemon as a process: its answers byte for byte, clients that die, send rubbish or never
// take their answers, its errors, its start and its end.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <memory>
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

// A client of plain bytes.
class RawClient {
 public:
  explicit RawClient(const std::string& socketPath) : fd_(testbed::connectBus(socketPath)) {
    if (fd_ < 0) throw std::runtime_error("no connection to " + socketPath);
  }
  ~RawClient() { close(fd_); }
  RawClient(const RawClient&) = delete;
  RawClient& operator=(const RawClient&) = delete;

  // False when the daemon has closed the connection.
  bool send(const std::string& bytes) const { return testbed::sendAll(fd_, bytes); }
  // Reads this many bytes, fewer at the end of the stream.
  std::string read(std::size_t size) const {
    std::string bytes;
    std::array<char, 65536> buffer;
    while (bytes.size() < size) {
      const ssize_t got = recv(fd_, buffer.data(), std::min(buffer.size(), size - bytes.size()), 0);
      if (got <= 0) break;
      bytes.append(buffer.data(), static_cast<std::size_t>(got));
    }
    return bytes;
  }
  std::string readToEnd() const { return read(std::string::npos); }
  void skipHello() const {
    EXPECT_EQ(read(4), wire::big32(0));
    read(8);
  }
  // Says that no more will be sent, and gives back all that the daemon still says.
  std::string finish() const {
    shutdown(fd_, SHUT_WR);
    return readToEnd();
  }

 private:
  int fd_;
};

std::string getRequest(std::uint32_t sequence, const std::string& package) {
  return wire::invoke(sequence, uciObject, "get", wire::text("config", package));
}

std::string getAnswer(std::uint32_t sequence, const std::string& members) {
  return wire::data(sequence, uciObject, members) + wire::objectStatus(sequence, uciObject, 0);
}

// The members of the reply to a package of one section with one option.
std::string smallReply(const std::string& value) {
  return wire::table("values",
                     wire::table("s", wire::int8(".anonymous", 0) + wire::text(".type", "t") +
                                          wire::text(".name", "s") + wire::int32(".index", 0) +
                                          wire::text("o", value)));
}

// A daemon with a socket and a configuration directory of the test's own.
class Busd : public testing::Test {
 protected:
  Busd() {
    std::filesystem::create_directory(dir_ / "config");
    process_ = std::make_unique<test_support::BackgroundProcess>(std::vector<std::string>{
        UBUSD_PATH, "--socket=" + socket_, "--config-dir=" + (dir_ / "config"), "--ready-fd=1"});
    std::string line;
    if (!process_->readLine(line) || !line.empty()) {
      throw std::runtime_error("the daemon did not start: " + line + process_->wait().err);
    }
    write("small", "v");
  }

  std::string path(const std::string& package) const { return dir_ / ("config/" + package); }
  void write(const std::string& package, const std::string& value) const {
    test_support::writeFile(path(package), "config t 's'\n\toption o '" + value + "'\n");
  }

  // What a client of its own gets for a request, after the hello.
  std::string answerTo(const std::string& request) const {
    const RawClient client(socket_);
    client.skipHello();
    EXPECT_TRUE(client.send(request));
    return client.finish();
  }
  void expectServing() const {
    EXPECT_EQ(answerTo(getRequest(7, "small")), getAnswer(7, smallReply("v")));
  }
  void expectStatus(const std::string& package, std::uint32_t status) const {
    EXPECT_EQ(answerTo(getRequest(1, package)), wire::objectStatus(1, uciObject, status));
  }

  ProcessResult stop(int signal) {
    process_->sendSignal(signal);
    return process_->wait();
  }

  test_support::TempDir dir_;
  std::string socket_ = dir_ / "ubus.sock";
  std::unique_ptr<test_support::BackgroundProcess> process_;
};

TEST_F(Busd, GreetsEachClientWithAnIdOfItsOwn) {
  const RawClient first(socket_);
  const RawClient second(socket_);
  const std::vector<std::string> both = {first.read(12), second.read(12)};
  EXPECT_THAT(both, testing::UnorderedElementsAre(wire::hello(1), wire::hello(2)));
}

TEST_F(Busd, AnswersLookupAndGet) {
  const std::string uci = wire::plain(2, "uci\0"s) + wire::plain(3, wire::big32(uciObject));
  EXPECT_EQ(answerTo(wire::lookup(7, "uci")), wire::message(2, 7, 0, uci) + wire::status(7, 0, 0));
  EXPECT_EQ(answerTo(wire::lookup(9, "network")), wire::status(9, 0, 4));
  EXPECT_EQ(answerTo(getRequest(1, "small")), getAnswer(1, smallReply("v")));
}

TEST_F(Busd, RefusesWhatItDoesNotServeWithTheFittingStatus) {
  write(".hidden", "v");
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
      {wire::invoke(1, uciObject, "set", config), refused(3)},
      {wire::invoke(1, uciObject + 1, "get", config), wire::objectStatus(1, uciObject + 1, 4)},
      {wire::message(5, 1, uciObject, get), wire::status(1, uciObject, 2)},
      {wire::message(5, 1, uciObject, id), wire::status(1, uciObject, 2)},
      {wire::message(5, 1, uciObject, id + get), refused(2)},
      {wire::message(5, 1, uciObject, id + id), wire::status(1, uciObject, 2)},
      {invoke(""), refused(2)},
      {invoke(wire::text("config", "none")), refused(4)},
      {invoke(wire::text("config", "")), refused(2)},
      {invoke(wire::text("config", "../config/small")), refused(2)},
      {invoke(wire::text("config", ".hidden")), refused(2)},
      {invoke(wire::int32("config", 1)), refused(2)},
      {invoke(wire::text("package", "small")), refused(2)},
      {invoke(config + config), refused(2)},
      {invoke(wire::named(3, "config", "small")), refused(2)},
      {invoke("\x83\0\0\x40\0\6con"s), refused(2)},
      {wire::message(3, 1, 2, ""), wire::status(1, 2, 1)},
      {wire::message(200, 1, 2, ""), wire::status(1, 2, 1)},
  };
  for (const auto& [question, answer] : table) {
    EXPECT_EQ(answerTo(question), answer) << testing::PrintToString(question);
  }
}

TEST_F(Busd, ReadsTheFileAnewForEachCall) {
  expectStatus("changing", 4);
  for (const std::string value : {"1", "2"}) {
    write("changing", value);
    EXPECT_EQ(answerTo(getRequest(1, "changing")), getAnswer(1, smallReply(value)));
  }
  std::filesystem::remove(path("changing"));
  expectStatus("changing", 4);
}

TEST_F(Busd, ReportsWhatItCannotReadOrSendAndAnswersUnknownError) {
  // Outer word, object id, data word: what a message needs around the members, whose last three
  // bytes are padding that a value may use.
  const std::size_t room = 1024 * 1024 - 4 - 8 - 4 - smallReply("").size() + 3;
  write("largest", std::string(room, 'v'));
  EXPECT_EQ(answerTo(getRequest(1, "largest")), getAnswer(1, smallReply(std::string(room, 'v'))));
  write("over", std::string(room + 1, 'v'));
  write("far_over", std::string(0xffffff, 'v'));
  write("broken", "'");
  ASSERT_EQ(mkfifo(path("pipe").c_str(), 0600), 0);
  const std::string tooLong = ": too long for a bus message\n";
  std::string reports;
  for (const auto& [package, report] :
       {std::pair{"over"s, tooLong}, std::pair{"far_over"s, tooLong},
        std::pair{"broken"s, ":2: the quote ' is not closed\n"s},
        std::pair{"pipe"s, ": not a file\n"s}}) {
    expectStatus(package, 9);
    reports += "ubusd: " + path(package) + report;
  }
  EXPECT_EQ(stop(SIGTERM).err, reports);
}

TEST_F(Busd, AnswersRequestsInOnePieceOrByteByByteInOrder) {
  std::string requests;
  std::string answers;
  for (std::uint32_t i = 0; i < 100; ++i) {
    requests += getRequest(i, "small");
    answers += getAnswer(i, smallReply("v"));
  }
  EXPECT_EQ(answerTo(requests), answers);
  const RawClient client(socket_);
  client.skipHello();
  for (const char byte : getRequest(7, "small")) ASSERT_TRUE(client.send(std::string(1, byte)));
  EXPECT_EQ(client.finish(), getAnswer(7, smallReply("v")));
}

TEST_F(Busd, ForgetsAClientThatDiesAnywhereInItsRequestOrAnswer) {
  write("large", std::string(1000000, 'v'));
  const std::string request = getRequest(1, "large");
  for (std::size_t length = 0; length <= request.size(); ++length) {
    const RawClient client(socket_);
    ASSERT_TRUE(client.send(request.substr(0, length)));
  }
  const RawClient client(socket_);
  client.skipHello();
  ASSERT_TRUE(client.send(request));
  EXPECT_EQ(client.read(1), "\0"s);
  expectServing();
}

TEST_F(Busd, CutsOffAClientThatSendsNoMessages) {
  const std::string start = wire::big32(0x00050001) + wire::big32(0);
  const std::vector<std::string> rubbish = {
      "GET / HTTP/1.1\r\nHost: router\r\n\r\n",
      std::string(100000, '\xff'),
      std::string(100000, '\0'),
      start + "\0\xff\xff\xff"s,
      start + "\0\x10\0\x01"s,
      start + "\0\0\0\x03"s,
  };
  const RawClient bystander(socket_);
  bystander.skipHello();
  for (const std::string& bytes : rubbish) {
    const RawClient client(socket_);
    client.skipHello();
    client.send(getRequest(1, "small") + bytes);  // may be cut off before it has sent all
    EXPECT_EQ(client.readToEnd(), getAnswer(1, smallReply("v")))
        << testing::PrintToString(bytes.substr(0, 12));
  }
  ASSERT_TRUE(bystander.send(getRequest(1, "small")));
  EXPECT_EQ(bystander.finish(), getAnswer(1, smallReply("v")));
}

TEST_F(Busd, AnswersOrCutsOffARequestWithAnyInvertedByte) {
  const std::string request = getRequest(1, "small");
  for (std::size_t byte = 0; byte < request.size(); ++byte) {
    std::string changed = request;
    changed[byte] = static_cast<char>(~changed[byte]);
    const std::string answer = answerTo(changed);
    // Another version or length: no answer. Else the answer has the request's sequence and peer.
    const bool isFraming = byte == 0 || (byte >= 9 && byte < 12);
    EXPECT_EQ(isFraming ? answer : answer.substr(2, 6), isFraming ? "" : changed.substr(2, 6))
        << byte;
  }
  expectServing();
}

TEST_F(Busd, ServesOthersBesideClientsThatAreSilentOrNeverTakeTheirAnswers) {
  write("large", std::string(1000000, 'v'));
  std::vector<std::unique_ptr<RawClient>> lazy;
  for (int i = 0; i < 20; ++i) {
    lazy.push_back(std::make_unique<RawClient>(socket_));
    ASSERT_TRUE(lazy.back()->send(i % 2 == 0 ? getRequest(1, "large") : ""));
  }
  expectServing();
  lazy.front()->skipHello();
  EXPECT_EQ(lazy.front()->finish(), getAnswer(1, smallReply(std::string(1000000, 'v'))));
}

TEST_F(Busd, TakesClientsThatHadToWaitOnceOthersHaveGone) {
  std::vector<std::unique_ptr<RawClient>> clients;
  for (int i = 0; i < 100; ++i) clients.push_back(std::make_unique<RawClient>(socket_));
  const RawClient last(socket_);
  ASSERT_TRUE(last.send(getRequest(1, "small")));
  clients.clear();
  last.skipHello();
  EXPECT_EQ(last.finish(), getAnswer(1, smallReply("v")));
}

TEST_F(Busd, RemovesItsSocketAtTheEnd) {
  const RawClient client(socket_);
  client.skipHello();
  const ProcessResult end = stop(SIGTERM);
  EXPECT_EQ(end.exitStatus, 0);
  EXPECT_EQ(end.out, "");
  EXPECT_EQ(end.err, "");
  EXPECT_FALSE(std::filesystem::exists(socket_));
  EXPECT_EQ(client.readToEnd(), "");
}

TEST_F(Busd, ReplacesTheSocketOfADeadDaemonOnly) {
  const ProcessResult second = runProcess({UBUSD_PATH, "--socket=" + socket_});
  EXPECT_EQ(second.exitStatus, 1);
  EXPECT_EQ(second.err, "ubusd: a daemon listens on " + socket_ + " already\n");
  expectServing();

  EXPECT_EQ(stop(SIGKILL).signal, SIGKILL);
  EXPECT_TRUE(std::filesystem::is_socket(socket_));
  test_support::BackgroundProcess third({UBUSD_PATH, "--socket=" + socket_, "--ready-fd=1"});
  std::string line;
  EXPECT_TRUE(third.readLine(line));
  third.sendSignal(SIGINT);
  EXPECT_EQ(third.wait().exitStatus, 0);
}

TEST(BusdStart, SaysWhyItFails) {
  const test_support::TempDir dir;
  test_support::writeFile(dir / "file", "kept");
  const std::string usage = "usage: ubusd [--socket=PATH] [--config-dir=DIR] [--ready-fd=N]\n";
  struct Failure {
    std::string argument;
    int status;
    std::string err;
  };
  const std::vector<Failure> rows = {
      {"--socket=" + (dir / "file"), 1,
       "ubusd: " + (dir / "file") + ": " + std::strerror(EADDRINUSE) + "\n"},
      {"--socket=", 1, "ubusd: not a usable socket path: \"\"\n"},
      {"--sockets=x", 2, usage},
      {"--ready-fd=1x", 2, usage},
      {"socket", 2, usage},
  };
  for (const Failure& row : rows) {
    const ProcessResult result = runProcess({UBUSD_PATH, row.argument});
    EXPECT_EQ(result.exitStatus, row.status) << row.argument;
    EXPECT_EQ(result.err, row.err);
    EXPECT_EQ(result.out, "");
  }
  EXPECT_EQ(test_support::readFile(dir / "file"), "kept");
}

}  // namespace
