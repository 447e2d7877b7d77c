#include "tests/support/fake_bus.h"

#include <cstring>
#include <memory>
#include <sstream>

#include "testbed/libubox/blob_buffer.h"
#include "testbed/uci/uci_parser.h"
#include "testbed/uci/uci_reply.h"
#include "tests/support/wire_bytes.h"
#include "wrt_cppwrap/platform_headers.h"

namespace test_support {
namespace {

template <class... Parts>
void logCall(const Parts&... parts) {
  std::ostringstream text;
  (text << ... << parts);
  fakeBus().calls.push_back(text.str());
}

// The strings in a request, as " NAME:TYPE=VALUE".
std::string elementTexts(blob_attr* message) {
  std::string text;
  for (std::size_t offset = 0; offset < blob_len(message);) {
    const auto* const element =
        reinterpret_cast<blob_attr*>(static_cast<char*>(blob_data(message)) + offset);
    text += std::string(" ") + blobmsg_name(element) + ":" + std::to_string(blob_id(element)) +
            "=" + static_cast<const char*>(blobmsg_data(element));
    offset += blob_pad_len(element);
  }
  return text;
}

}  // namespace

// Never destroyed: the start-up objects use it until the very end.
FakeBus& fakeBus() {
  static FakeBus* const bus = [] {
    auto* made = new FakeBus;
    made->replies = {uciReply("")};
    return made;
  }();
  return *bus;
}

std::string uciReply(std::string_view uciText) {
  testbed::BlobBuffer reply;
  testbed::writeReply(testbed::parseUci(uciText, "firewall_cpp"), reply.get());
  return wire::plain(0, {reply.members().data(), reply.members().size()});
}

}  // namespace test_support

using test_support::fakeBus;

// What the platform's libraries define; see their headers for the contracts.
extern "C" {

bool uloop_handle_sigchld = false;
#ifdef HAVE_ULOOP_SUPPORT_PARAMTIMER
bool uloop_support_paramtimer = false;
#endif

int uloop_init() {
#ifdef HAVE_ULOOP_SUPPORT_PARAMTIMER
  const bool paramtimer = uloop_support_paramtimer;
#else
  const bool paramtimer = true;
#endif
  test_support::logCall("uloop_init sigchld=", uloop_handle_sigchld, " paramtimer=", paramtimer);
  return fakeBus().loopResult;
}

void uloop_done() {
  test_support::logCall("uloop_done");
}

int uloop_fd_add(uloop_fd* record, unsigned int flags) {
  test_support::logCall("uloop_fd_add descriptor=", record->fd, " flags=", flags);
  return 0;
}

ubus_context* ubus_connect(const char* path) {
  test_support::logCall("ubus_connect ", path == nullptr ? "(default)" : path);
  if (!fakeBus().daemonRuns) return nullptr;
  auto context = std::make_unique<ubus_context>();
  context->sock.fd = 1234;
  return context.release();
}

void ubus_free(ubus_context* context) {
  test_support::logCall("ubus_free");
  const std::unique_ptr<ubus_context> owner(context);
}

int ubus_lookup_id(ubus_context*, const char* path, std::uint32_t* id) {
  test_support::logCall("ubus_lookup_id ", path);
  if (fakeBus().lookupStatus == 0) *id = 17;
  return fakeBus().lookupStatus;
}

int ubus_invoke_fd(ubus_context*, std::uint32_t id, const char* method, blob_attr* message,
                   ubus_data_handler_t handler, void* priv, int timeout, int descriptor) {
  test_support::logCall("ubus_invoke_fd ", id, ' ', method, test_support::elementTexts(message),
                        " timeout=", timeout, " fd=", descriptor);
  for (const std::string& reply : fakeBus().replies) {
    wire::Block block(reply);
    ubus_request request{};
    request.priv = priv;
    handler(&request, 2, block.attribute());
    std::memset(block.attribute(), '#', reply.size());
  }
  return fakeBus().invokeStatus;
}

const char* ubus_strerror(int status) {
  static std::string text;
  text = "text of status " + std::to_string(status);
  return text.c_str();
}
}
