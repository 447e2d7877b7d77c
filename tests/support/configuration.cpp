// The bus library's functions, as far as the start-up objects call them. They stand in the file of
// setConfiguration, which every test calls that links this: so the linker has them before it looks
// into the bus library.
#include "tests/support/configuration.h"

#include <libubus.h>

#include <cstdint>
#include <memory>
#include <new>

#include "testbed/uci/uci_parser.h"
#include "testbed/uci/uci_reply.h"
#include "wrt_cppwrap/uci_config.h"

namespace {

constexpr int kDataMessage = 2;

testbed::UciPackage& package() {
  static testbed::UciPackage current;
  return current;
}

}  // namespace

extern "C" {

ubus_context* ubus_connect(const char* /*path*/) {
  auto context = std::make_unique<ubus_context>();
  context->sock.fd = -1;  // there is nothing for the loop to watch
  return context.release();
}

void ubus_free(ubus_context* ctx) {
  const std::unique_ptr<ubus_context> owner(ctx);
}

int ubus_lookup_id(ubus_context* /*ctx*/, const char* /*path*/, std::uint32_t* id) {
  *id = 1;
  return 0;
}

int ubus_invoke_fd(ubus_context* /*ctx*/, std::uint32_t /*id*/, const char* /*method*/,
                   blob_attr* /*msg*/, ubus_data_handler_t cb, void* priv, int /*timeout_ms*/,
                   int /*fd*/) {
  blob_buf reply{};
  blob_buf_init(&reply, 0);
  testbed::writeReply(package(), &reply);
  ubus_request request{};
  request.priv = priv;
  cb(&request, kDataMessage, reply.head);
  blob_buf_free(&reply);
  return 0;
}

const char* ubus_strerror(int /*status*/) {
  return "an error";  // no function here gives one
}

}  // extern "C"

namespace test_support {

// The store can only be loaded when it is constructed.
void setConfiguration(std::string_view uciText) {
  package() = testbed::parseUci(uciText, "firewall_cpp");
  std::destroy_at(&tavrix::params);
  std::construct_at(&tavrix::params, "firewall_cpp");
}

}  // namespace test_support
