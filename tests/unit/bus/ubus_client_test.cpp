// The bus client over a real socket, against a daemon that the test scripts. What becomes of a
// daemon's faults is seen in whole runs of the program.
#include <gtest/gtest.h>
#include <libubus.h>

#include <future>
#include <string>
#include <vector>

#include "testbed/libubox/blob_buffer.h"
#include "tests/support/scripted_bus.h"
#include "tests/support/temp_dir.h"
#include "tests/support/wire_bytes.h"

namespace {

using test_support::kScriptedObject;

void collect(ubus_request* request, int type, blob_attr* msg) {
  static_cast<std::vector<std::string>*>(request->priv)
      ->push_back(std::to_string(type) + " " +
                  std::string(static_cast<const char*>(blob_data(msg)), blob_len(msg)));
}

TEST(UbusClient, SaysWhatTheWireFormatAsksForAndHandsTheReplyOn) {
  const std::string large(200000, 'x');
  const test_support::Conversation conversation = {wire::hello(1), test_support::objectFound(),
                                                   wire::data(2, kScriptedObject, large) +
                                                       wire::data(2, kScriptedObject, "abcd") +
                                                       wire::objectStatus(2, kScriptedObject, 0)};
  const test_support::TempDir directory;
  test_support::ScriptedBus bus(directory / "ubus.sock");
  auto said = std::async(std::launch::async, [&] { return bus.serve({conversation}).front(); });
  ubus_context* const context = ubus_connect((directory / "ubus.sock").c_str());
  ASSERT_NE(context, nullptr);
  std::uint32_t id = 0;
  EXPECT_EQ(ubus_lookup_id(context, "uci", &id), 0);
  EXPECT_EQ(id, kScriptedObject);

  testbed::BlobBuffer arguments;
  EXPECT_EQ(blobmsg_add_field(arguments.get(), 3, "config", "firewall_cpp", 13), 0);
  std::vector<std::string> replies;
  const auto invokeGet = [&](int timeout, int descriptor) {
    return ubus_invoke_fd(context, id, "get", arguments.get()->head, collect, &replies, timeout,
                          descriptor);
  };
  EXPECT_EQ(invokeGet(0, -1), 0);
  EXPECT_EQ(replies, (std::vector<std::string>{"2 " + large, "2 abcd"}));
  // What is left out is refused and not sent.
  EXPECT_EQ(invokeGet(1, -1), 8);
  EXPECT_EQ(invokeGet(0, 0), 8);
  ubus_free(context);
  EXPECT_EQ(said.get(),
            wire::lookup(1, "uci") +
                wire::invoke(2, kScriptedObject, "get", wire::text("config", "firewall_cpp")));
}

TEST(UbusStrerror, HasATextForEveryNumber) {
  EXPECT_STREQ(ubus_strerror(0), "Success");
  EXPECT_STREQ(ubus_strerror(13), "System error");
  EXPECT_STREQ(ubus_strerror(14), "Unknown error: 14");
  EXPECT_STREQ(ubus_strerror(-2147483647 - 1), "Unknown error: -2147483648");
}

}  // namespace
