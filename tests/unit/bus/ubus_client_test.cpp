// The bus client over a real socket, against a daemon that the test scripts.
#include <gtest/gtest.h>
#include <libubus.h>

#include <future>
#include <memory>
#include <string>
#include <vector>

#include "testbed/libubox/blob_buffer.h"
#include "tests/support/scripted_bus.h"
#include "tests/support/temp_dir.h"
#include "tests/support/wire_bytes.h"

namespace {

using test_support::kScriptedObject;
using test_support::objectFound;

// The daemon beside a client in this process.
class Daemon {
 public:
  explicit Daemon(test_support::Conversation conversation)
      : said_(std::async(std::launch::async, [this, conversation = std::move(conversation)] {
          return bus_.serve({conversation}).front();
        })) {}

  ubus_context* connect() const { return ubus_connect(path_.c_str()); }
  // All that the client said; waits until it has gone.
  std::string said() { return said_.get(); }

 private:
  test_support::TempDir dir_;
  std::string path_ = dir_ / "ubus.sock";
  test_support::ScriptedBus bus_{path_};
  std::future<std::string> said_;
};

void collect(ubus_request* request, int type, blob_attr* msg) {
  static_cast<std::vector<std::string>*>(request->priv)
      ->push_back(std::to_string(type) + " " +
                  std::string(static_cast<const char*>(blob_data(msg)), blob_len(msg)));
}

struct Outcome {
  int status = -1;
  std::vector<std::string> replies;
};

Outcome invokeGet(ubus_context* context, int timeout = 0, int descriptor = -1) {
  testbed::BlobBuffer arguments;
  EXPECT_EQ(blobmsg_add_field(arguments.get(), 3, "config", "firewall_cpp", 13), 0);
  Outcome outcome;
  outcome.status = ubus_invoke_fd(context, kScriptedObject, "get", arguments.get()->head, collect,
                                  &outcome.replies, timeout, descriptor);
  return outcome;
}

TEST(UbusClient, SaysWhatTheWireFormatAsksForAndHandsTheReplyOn) {
  const std::string large(200000, 'x');
  Daemon daemon({wire::hello(1), objectFound(),
                 wire::data(2, kScriptedObject, large) + wire::data(2, kScriptedObject, "abcd") +
                     wire::objectStatus(2, kScriptedObject, 0)});
  ubus_context* const context = daemon.connect();
  ASSERT_NE(context, nullptr);
  std::uint32_t id = 0;
  EXPECT_EQ(ubus_lookup_id(context, "uci", &id), 0);
  EXPECT_EQ(id, kScriptedObject);
  const Outcome outcome = invokeGet(context);
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(outcome.replies, (std::vector<std::string>{"2 " + large, "2 abcd"}));
  // What is left out is refused and not sent.
  EXPECT_EQ(invokeGet(context, 1).status, 8);
  EXPECT_EQ(invokeGet(context, 0, 0).status, 8);
  ubus_free(context);
  EXPECT_EQ(daemon.said(),
            wire::lookup(1, "uci") +
                wire::invoke(2, kScriptedObject, "get", wire::text("config", "firewall_cpp")));
}

TEST(UbusClient, LeavesTheIdAloneWhenALookupFails) {
  const std::vector<std::pair<std::string, int>> table = {
      {wire::status(1, 0, 4), 4},
      {wire::status(1, 0, 0), 4},
      {wire::message(2, 1, 0, wire::plain(2, std::string("uci") + '\0')), 12},
      {"", 10},
  };
  for (const auto& [answer, status] : table) {
    Daemon daemon({wire::hello(1), answer});
    ubus_context* const context = daemon.connect();
    ASSERT_NE(context, nullptr);
    std::uint32_t id = 99;
    EXPECT_EQ(ubus_lookup_id(context, "uci", &id), status);
    EXPECT_EQ(id, 99U);
    ubus_free(context);
  }
}

TEST(UbusClient, DoesNotConnectWithoutAHello) {
  EXPECT_EQ(ubus_connect((test_support::TempDir() / "none").c_str()), nullptr);
  EXPECT_EQ(Daemon({wire::hello(7).substr(0, 11)}).connect(), nullptr);
  EXPECT_EQ(Daemon({wire::status(0, 7, 0)}).connect(), nullptr);
}

TEST(UbusStrerror, KnowsEveryStatus) {
  const std::vector<std::string> texts = {"Success",
                                          "Invalid command",
                                          "Invalid argument",
                                          "Method not found",
                                          "Not found",
                                          "No response",
                                          "Permission denied",
                                          "Request timed out",
                                          "Operation not supported",
                                          "Unknown error",
                                          "Connection failed",
                                          "Out of memory",
                                          "Parsing message data failed",
                                          "System error"};
  for (std::size_t status = 0; status < texts.size(); ++status) {
    EXPECT_EQ(ubus_strerror(static_cast<int>(status)), texts[status]);
  }
  EXPECT_STREQ(ubus_strerror(14), "Unknown error: 14");
  EXPECT_STREQ(ubus_strerror(-2147483647 - 1), "Unknown error: -2147483648");
}

}  // namespace
