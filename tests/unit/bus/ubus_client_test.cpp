// The bus client over a real socket, against a daemon that the test scripts.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <libubus.h>
#include <pthread.h>

#include <atomic>
#include <csignal>
#include <memory>
#include <string>
#include <vector>

#include "testbed/libubox/blob_buffer.h"
#include "tests/support/wire_bytes.h"
#include "tests/unit/bus/fake_daemon.h"

namespace {

using bus_test::FakeDaemon;
using Context = std::unique_ptr<ubus_context, decltype(&ubus_free)>;

constexpr std::uint32_t foundObject = 0x55667788;

Context connectTo(const FakeDaemon& daemon) {
  return {ubus_connect(daemon.path().c_str()), ubus_free};
}

void collect(ubus_request* request, int, blob_attr* msg) {
  static_cast<std::vector<std::string>*>(request->priv)
      ->emplace_back(static_cast<const char*>(blob_data(msg)), blob_len(msg));
}

struct Outcome {
  int status = -1;
  std::vector<std::string> replies;
};

Outcome invokeGet(ubus_context* context, int timeoutMs = 0) {
  testbed::BlobBuffer arguments;
  EXPECT_EQ(blobmsg_add_field(arguments.get(), 3, "config", "firewall_cpp", 13), 0);
  Outcome outcome;
  outcome.status = ubus_invoke_fd(context, foundObject, "get", arguments.get()->head, collect,
                                  &outcome.replies, timeoutMs, -1);
  return outcome;
}

// The first request of a new connection.
Outcome invokeGet(const FakeDaemon& daemon) {
  const Context context = connectTo(daemon);
  EXPECT_NE(context, nullptr);
  return invokeGet(context.get());
}

std::string lookupReply(std::uint32_t sequence) {
  return wire::found(sequence, "uci", foundObject) + wire::status(sequence, 0, 0);
}

TEST(UbusConnect, TakesTheClientsIdFromTheHello) {
  FakeDaemon daemon(wire::hello(0x01020304));
  const Context context = connectTo(daemon);
  ASSERT_NE(context, nullptr);
  EXPECT_EQ(context->local_id, 0x01020304U);
  EXPECT_NE(fcntl(context->sock.fd, F_GETFD) & FD_CLOEXEC, 0);
}

TEST(UbusConnect, FailsWithoutADaemon) {
  const test_support::TempDir dir;
  EXPECT_EQ(ubus_connect((dir / "none").c_str()), nullptr);
  test_support::writeFile(dir / "file", "");
  EXPECT_EQ(ubus_connect((dir / "file").c_str()), nullptr);
  EXPECT_EQ(ubus_connect(std::string(200, 'x').c_str()), nullptr);
}

TEST(UbusConnect, FailsWhenTheFirstMessageIsNoHelloOrIsCut) {
  const std::string hello = wire::hello(7);
  for (std::size_t length = 0; length < hello.size(); ++length) {
    const FakeDaemon daemon(hello.substr(0, length));
    EXPECT_EQ(connectTo(daemon), nullptr) << length;
  }
  EXPECT_EQ(connectTo(FakeDaemon(wire::status(0, 7, 0))), nullptr);
  EXPECT_EQ(connectTo(FakeDaemon("HTTP/1.1 400 Bad Request\r\n\r\n")), nullptr);
}

TEST(UbusFree, AllowsNull) {
  ubus_free(nullptr);
  SUCCEED();
}

TEST(UbusLookup, SendsThePathAndStoresTheId) {
  FakeDaemon daemon(wire::hello(1) + lookupReply(1));
  Context context = connectTo(daemon);
  ASSERT_NE(context, nullptr);
  std::uint32_t id = 0;
  EXPECT_EQ(ubus_lookup_id(context.get(), "uci", &id), 0);
  EXPECT_EQ(id, foundObject);
  context.reset();
  EXPECT_EQ(daemon.received(), wire::lookup(1, "uci"));
}

TEST(UbusLookup, LeavesTheIdAloneWhenItFails) {
  const std::vector<std::pair<std::string, int>> table = {
      {wire::status(1, 0, 4), 4},
      {wire::status(1, 0, 0), 4},
      {wire::status(1, 0, 6), 6},
      {wire::message(1, 1, 0, ""), 5},
      {wire::message(2, 1, 0, wire::plain(2, std::string("uci") + '\0')), 12},
      {"", 10},
  };
  for (const auto& [answer, status] : table) {
    const FakeDaemon daemon(wire::hello(1) + answer);
    const Context context = connectTo(daemon);
    ASSERT_NE(context, nullptr);
    std::uint32_t id = 99;
    EXPECT_EQ(ubus_lookup_id(context.get(), "uci", &id), status);
    EXPECT_EQ(id, 99U);
  }
}

TEST(UbusInvoke, SendsObjectMethodAndArgumentsAndNumbersItsRequests) {
  FakeDaemon daemon(wire::hello(1) + wire::data(1, foundObject, "abcd") +
                    wire::objectStatus(1, foundObject, 0) + lookupReply(2) +
                    wire::objectStatus(3, foundObject, 3));
  Context context = connectTo(daemon);
  ASSERT_NE(context, nullptr);
  const Outcome first = invokeGet(context.get());
  EXPECT_EQ(first.status, 0);
  EXPECT_EQ(first.replies, std::vector<std::string>{"abcd"});
  std::uint32_t id = 0;
  EXPECT_EQ(ubus_lookup_id(context.get(), "uci", &id), 0);
  EXPECT_EQ(ubus_invoke_fd(context.get(), id, "put", nullptr, nullptr, nullptr, 0, -1), 3);
  context.reset();
  EXPECT_EQ(daemon.received(),
            wire::invoke(1, foundObject, "get", wire::text("config", "firewall_cpp")) +
                wire::lookup(2, "uci") +
                wire::message(5, 3, foundObject,
                              wire::plain(3, wire::big32(foundObject)) +
                                  wire::plain(4, std::string("put") + '\0')));
}

TEST(UbusInvoke, PassesEveryStatusOn) {
  for (std::uint32_t status = 0; status <= 20; ++status) {
    const FakeDaemon daemon(wire::hello(1) + wire::objectStatus(1, foundObject, status));
    EXPECT_EQ(invokeGet(daemon).status, static_cast<int>(status));
  }
}

TEST(UbusInvoke, ReadsAnswersInPiecesOfAnySize) {
  const std::string large(200000, 'x');
  const std::string stream =
      wire::hello(1) + wire::data(1, foundObject, large) + wire::objectStatus(1, foundObject, 0);
  for (const std::size_t pieceSize : {7U, 1000U, 65536U, 1000000U}) {
    const FakeDaemon daemon(stream, FakeDaemon::End::Silent, pieceSize);
    const Outcome outcome = invokeGet(daemon);
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.replies, std::vector<std::string>{large});
  }
}

TEST(UbusInvoke, EndsWithConnectionFailedWhereverTheAnswerIsCut) {
  const std::string reply = wire::data(1, foundObject, wire::text("name", "value"));
  const std::string stream = reply + wire::objectStatus(1, foundObject, 0);
  for (std::size_t length = 0; length < stream.size(); ++length) {
    const FakeDaemon daemon(wire::hello(1) + stream.substr(0, length));
    const Outcome outcome = invokeGet(daemon);
    EXPECT_EQ(outcome.status, 10) << length;
    EXPECT_EQ(outcome.replies.size(), length < reply.size() ? 0U : 1U) << length;
  }
}

// The status that must come out when one byte of the reply is inverted, by its place: header, outer
// word, then word and value of the foundObject id, word and value of the data.
int statusForInvertedReply(std::size_t byte) {
  if (byte == 0) return 10;   // another version
  if (byte < 8) return 0;     // an answer to nobody; the status still comes
  if (byte == 8) return 12;   // no plain attribute
  if (byte < 12) return 10;   // too long, or longer than all that comes
  if (byte == 12) return 0;   // an unknown attribute in place of the foundObject id
  if (byte < 16) return 12;   // a length that does not fit
  if (byte < 20) return 0;    // the foundObject id's value: nobody asks
  return byte < 24 ? 12 : 0;  // no data, a wrong length; the members are not the bus's
}

// The same for the status message: its values are the status and the foundObject id.
int statusForInvertedStatus(std::size_t byte) {
  if (byte < 8) return 10;  // broken, or an answer to nobody: then comes the end
  if (byte == 8) return 12;
  if (byte < 12) return 10;
  if (byte == 12) return 0;  // no status, but a reply
  if (byte < 16) return 12;
  if (byte < 20) return static_cast<int>(0xffU << ((19 - byte) * 8));
  return byte > 20 && byte < 24 ? 12 : 0;
}

TEST(UbusInvoke, EndsAsItShouldForEveryInvertedByte) {
  const std::string reply = wire::data(1, foundObject, wire::text("name", "value"));
  const std::string stream = reply + wire::objectStatus(1, foundObject, 0);
  for (std::size_t byte = 0; byte < stream.size(); ++byte) {
    std::string changed = stream;
    changed[byte] = static_cast<char>(~changed[byte]);
    const FakeDaemon daemon(wire::hello(1) + changed);
    EXPECT_EQ(invokeGet(daemon).status, byte < reply.size()
                                            ? statusForInvertedReply(byte)
                                            : statusForInvertedStatus(byte - reply.size()))
        << byte;
  }
}

TEST(UbusInvoke, GivesUpAfterItsTimeLimit) {
  const FakeDaemon daemon(wire::hello(1), FakeDaemon::End::Silent);
  const Context context = connectTo(daemon);
  ASSERT_NE(context, nullptr);
  EXPECT_EQ(invokeGet(context.get(), 1).status, 7);
}

TEST(UbusInvoke, AnswersToAnEarlierRequestAreNotTakenForThisOnes) {
  const FakeDaemon daemon(wire::hello(1) + wire::objectStatus(1, foundObject, 4) +
                          wire::objectStatus(1, foundObject, 6) +
                          wire::data(1, foundObject, "old") + wire::data(2, foundObject, "new") +
                          wire::objectStatus(2, foundObject, 0));
  const Context context = connectTo(daemon);
  ASSERT_NE(context, nullptr);
  EXPECT_EQ(invokeGet(context.get()).status, 4);
  const Outcome second = invokeGet(context.get());
  EXPECT_EQ(second.status, 0);
  EXPECT_EQ(second.replies, std::vector<std::string>{"new"});
}

TEST(UbusInvoke, RefusesADescriptorAndAMessageOverTheLimitWithoutSending) {
  FakeDaemon daemon(wire::hello(1));
  Context context = connectTo(daemon);
  ASSERT_NE(context, nullptr);
  EXPECT_EQ(ubus_invoke_fd(context.get(), foundObject, "get", nullptr, nullptr, nullptr, 0, 0), 8);
  testbed::BlobBuffer arguments;
  const std::string large(1024 * 1024, 'x');
  ASSERT_EQ(blobmsg_add_field(arguments.get(), 3, "config", large.c_str(),
                              static_cast<unsigned int>(large.size() + 1)),
            0);
  EXPECT_EQ(ubus_invoke_fd(context.get(), foundObject, "get", arguments.get()->head, nullptr,
                           nullptr, 0, -1),
            2);
  context.reset();
  EXPECT_EQ(daemon.received(), "");
}

TEST(UbusInvoke, SendsALargeRequestWhole) {
  FakeDaemon daemon(wire::hello(1) + wire::objectStatus(1, foundObject, 0));
  Context context = connectTo(daemon);
  ASSERT_NE(context, nullptr);
  testbed::BlobBuffer arguments;
  const std::string large(900000, 'x');
  ASSERT_EQ(blobmsg_add_field(arguments.get(), 3, "config", large.c_str(),
                              static_cast<unsigned int>(large.size() + 1)),
            0);
  EXPECT_EQ(ubus_invoke_fd(context.get(), foundObject, "get", arguments.get()->head, nullptr,
                           nullptr, 0, -1),
            0);
  context.reset();
  EXPECT_EQ(daemon.received(), wire::invoke(1, foundObject, "get", wire::text("config", large)));
}

// Writing to such a connection raises SIGPIPE in a careless client.
TEST(UbusInvoke, OnAConnectionThatTheDaemonHasClosedEndsWithConnectionFailed) {
  const FakeDaemon daemon(wire::hello(1), FakeDaemon::End::HangUp);
  const Context context = connectTo(daemon);
  ASSERT_NE(context, nullptr);
  EXPECT_EQ(invokeGet(context.get()).status, 10);
  EXPECT_EQ(invokeGet(context.get()).status, 10);
}

std::atomic<int> interruptions = 0;
void countInterruption(int) {
  ++interruptions;
}

TEST(UbusInvoke, GoesOnWaitingAfterAnInterruptingSignal) {
  struct sigaction action {};
  struct sigaction before {};
  action.sa_handler = countInterruption;  // without SA_RESTART
  sigemptyset(&action.sa_mask);
  ASSERT_EQ(sigaction(SIGUSR1, &action, &before), 0);
  const FakeDaemon daemon(wire::hello(1), FakeDaemon::End::Silent);
  const Context context = connectTo(daemon);
  ASSERT_NE(context, nullptr);
  const pthread_t waiting = pthread_self();
  std::atomic<bool> done = false;
  std::thread interrupter([&] {
    while (!done) {
      pthread_kill(waiting, SIGUSR1);
      std::this_thread::yield();
    }
  });
  // An interruption taken for a failure would end a call with another status than the limit's.
  while (interruptions < 100) EXPECT_EQ(invokeGet(context.get(), 1).status, 7);
  done = true;
  interrupter.join();
  sigaction(SIGUSR1, &before, nullptr);
}

}  // namespace
