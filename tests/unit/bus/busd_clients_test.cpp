// Several clients of one daemon, some of which die, send rubbish or never take their answers: the
// others must not notice.
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "testbed/busd/message_answer.h"
#include "tests/support/wire_bytes.h"
#include "tests/unit/bus/running_busd.h"

namespace {

using std::string_literals::operator""s;
using bus_test::RawClient;
using bus_test::RunningBusd;

constexpr std::uint32_t object = testbed::uciObjectId;

std::string get(std::uint32_t sequence, const std::string& package) {
  return wire::invoke(sequence, object, "get", wire::text("config", package));
}

std::string answer(std::uint32_t sequence, const std::string& members) {
  return wire::data(sequence, object, members) + wire::objectStatus(sequence, object, 0);
}

const std::string emptyPackage = wire::table("values", "");

class BusdClients : public testing::Test {
 protected:
  BusdClients() { busd_.writeConfig("empty", ""); }

  // The daemon still serves a client as it should.
  void expectServing() const {
    const bus_test::GetResult result = busd_.get("empty");
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.members, emptyPackage);
  }

  RunningBusd busd_;
};

TEST_F(BusdClients, EachHasAnIdAndAnswersOfItsOwn) {
  std::vector<std::unique_ptr<RawClient>> clients;
  for (std::uint32_t i = 0; i < 50; ++i) {
    clients.push_back(std::make_unique<RawClient>(busd_));
    EXPECT_EQ(clients.back()->id(), i + 1);
  }
  for (std::uint32_t i = 0; i < 50; ++i) ASSERT_TRUE(clients[i]->send(get(100 + i, "empty")));
  for (std::uint32_t i = 50; i-- > 0;) {
    const std::string expected = answer(100 + i, emptyPackage);
    EXPECT_EQ(clients[i]->read(expected.size()), expected);
  }
}

TEST_F(BusdClients, RequestsInOnePieceOrByteByByteAreAnsweredInOrder) {
  const RawClient client(busd_);
  std::string requests;
  std::string expected;
  for (std::uint32_t i = 0; i < 500; ++i) {
    requests += get(i, "empty");
    expected += answer(i, emptyPackage);
  }
  std::thread sender([&] { EXPECT_TRUE(client.send(requests)); });
  EXPECT_EQ(client.read(expected.size()), expected);
  sender.join();
  for (const char byte : get(7, "empty")) ASSERT_TRUE(client.send(std::string(1, byte)));
  client.finish();
  EXPECT_EQ(client.readToEnd(), answer(7, emptyPackage));
}

TEST_F(BusdClients, OneThatDiesInTheMiddleOfAMessageIsForgotten) {
  const std::string request = get(1, "empty");
  for (std::size_t length = 0; length <= request.size(); ++length) {
    const RawClient client(busd_);
    ASSERT_TRUE(client.send(request.substr(0, length)));
  }
  expectServing();
}

TEST_F(BusdClients, OneThatSendsNoMessagesIsCutOff) {
  const std::vector<std::string> rubbish = {
      "GET / HTTP/1.1\r\nHost: router\r\n\r\n",
      std::string(100000, '\xff'),
      std::string(100000, '\0'),
      wire::big32(0x00050001) + wire::big32(0) + "\0\xff\xff\xff"s,
      wire::big32(0x00050001) + wire::big32(0) + "\0\x10\0\x01"s,
      wire::big32(0x00050001) + wire::big32(0) + "\0\0\0\x03"s,
      wire::big32(0x01050001) + wire::big32(0) + "\0\0\0\x04"s,
  };
  const RawClient bystander(busd_);
  for (const std::string& bytes : rubbish) {
    const RawClient client(busd_);
    client.send(bytes);  // may be cut off before it has sent all
    EXPECT_EQ(client.readToEnd(), "") << testing::PrintToString(bytes.substr(0, 12));
  }
  const std::string expected = answer(1, emptyPackage);
  ASSERT_TRUE(bystander.send(get(1, "empty")));
  EXPECT_EQ(bystander.read(expected.size()), expected);
  expectServing();
}

TEST_F(BusdClients, MessagesBeforeTheRubbishAreStillAnswered) {
  const RawClient client(busd_);
  ASSERT_TRUE(client.send(get(1, "empty") + std::string(12, '\xff')));
  EXPECT_EQ(client.readToEnd(), answer(1, emptyPackage));
}

TEST_F(BusdClients, EveryInvertedByteOfARequestIsAnsweredOrEndsTheConnection) {
  const std::string request = get(1, "empty");
  for (std::size_t byte = 0; byte < request.size(); ++byte) {
    std::string changed = request;
    changed[byte] = static_cast<char>(~changed[byte]);
    const RawClient client(busd_);
    ASSERT_TRUE(client.send(changed));
    client.finish();
    const std::string reply = client.readToEnd();
    // Another version or length: no answer. Else the answer has the request's sequence and peer.
    const bool isFraming = byte == 0 || (byte >= 9 && byte < 12);
    if (isFraming) {
      EXPECT_EQ(reply, "") << byte;
    } else {
      EXPECT_EQ(reply.substr(2, 6), changed.substr(2, 6)) << byte;
    }
  }
  expectServing();
}

TEST_F(BusdClients, OneThatNeverTakesItsAnswersHoldsUpNobodyAndIsNotReadFrom) {
  const std::string value(1000000, 'v');
  busd_.writeConfig("large", "config t s\n option o '" + value + "'\n");
  const std::string members = wire::table(
      "values", wire::table("s", wire::int8(".anonymous", 0) + wire::text(".type", "t") +
                                     wire::text(".name", "s") + wire::int32(".index", 0) +
                                     wire::text("o", value)));
  const RawClient lazy(busd_);
  // The first answer fills the socket. What is sent behind it piles up there, not in the daemon.
  ASSERT_TRUE(lazy.send(get(0, "large")));
  const std::string request = get(1, "large");
  std::size_t sent = 0;
  std::string rest;
  for (int i = 0; i < 1000000; ++i) {
    rest = request;
    const std::size_t count = lazy.sendSome(request);
    rest.erase(0, count);
    sent += count;
    if (!rest.empty()) break;
    if (i % 1000 == 0) expectServing();
  }
  EXPECT_LT(sent, 50U * 1000 * 1000);
  expectServing();
  const std::string expected = answer(0, members);
  EXPECT_TRUE(lazy.read(expected.size()) == expected);
  expectServing();
}

TEST(BusdWithFewDescriptors, TakesTheClientsThatHadToWaitOnceOthersHaveGone) {
  const RunningBusd busd(16);
  busd.writeConfig("empty", "");
  std::vector<std::unique_ptr<RawClient>> first;
  for (int i = 0; i < 40; ++i) {
    first.push_back(std::make_unique<RawClient>(busd, RawClient::Greeting::Ignore));
  }
  // The first ones are served; nothing can be read from those that are not accepted yet.
  EXPECT_EQ(first.front()->read(wire::hello(1).size()), wire::hello(1));
  const RawClient last(busd, RawClient::Greeting::Ignore);
  ASSERT_TRUE(last.send(wire::lookup(1, "none")));
  first.resize(1);
  EXPECT_EQ(last.read(wire::hello(41).size()), wire::hello(41));
  EXPECT_EQ(last.read(wire::status(1, 0, 4).size()), wire::status(1, 0, 4));
  EXPECT_EQ(busd.get("empty").members, emptyPackage);
}

TEST_F(BusdClients, OneThatDiesWithItsAnswerUntakenIsForgotten) {
  busd_.writeConfig("large", "config t s\n option o '" + std::string(1000000, 'v') + "'\n");
  for (int i = 0; i < 5; ++i) {
    const RawClient client(busd_);
    ASSERT_TRUE(client.send(get(1, "large")));
    EXPECT_EQ(client.read(1), "\0"s);
  }
  expectServing();
}

}  // namespace
