#include "tests/unit/product/fake_bus.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <sstream>
#include <string_view>

#include "wrt_cppwrap/platform_headers.h"

namespace test_support {
namespace {

bool printCalls = false;

template <class... Parts>
void logCall(const Parts&... parts) {
  std::ostringstream text;
  (text << ... << parts);
  fakeBus().calls.push_back(text.str());
  if (printCalls) {
    std::puts(text.str().c_str());
    std::fflush(stdout);
  }
}

FakeBus* makeBus() {
  auto* bus = new FakeBus;
  const char* const variable = std::getenv("FAKE_BUS");
  const std::string_view setUp = variable == nullptr ? "" : variable;
  printCalls = setUp == "trace";
  bus->daemonRuns = setUp != "absent";
  if (setUp == "no-object") bus->lookupStatus = 4;
  if (setUp == "no-package") bus->invokeStatus = 4;
  bus->replies = {setUp == "rubbish" ? messageBytes([](blob_buf&) {}) : uciReply({})};
  return bus;
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
  static FakeBus* const bus = makeBus();
  return *bus;
}

std::string messageBytes(const std::function<void(blob_buf&)>& fill) {
  blob_buf buffer{};
  blob_buf_init(&buffer, 0);
  fill(buffer);
  const std::string bytes(reinterpret_cast<const char*>(buffer.head), blob_pad_len(buffer.head));
  blob_buf_free(&buffer);
  return bytes;
}

void addString(blob_buf& buffer, const char* name, const std::string& value) {
  blobmsg_add_field(&buffer, 3, name, value.c_str(), static_cast<unsigned>(value.size() + 1));
}

std::string uciReply(const std::vector<UciSection>& sections) {
  return messageBytes([&sections](blob_buf& buffer) {
    void* const values = blobmsg_open_nested(&buffer, "values", false);
    for (const UciSection& section : sections) {
      void* const table = blobmsg_open_nested(&buffer, section.name.c_str(), false);
      const char anonymous = 0;
      const char index[4] = {};
      blobmsg_add_field(&buffer, 7, ".anonymous", &anonymous, 1);
      addString(buffer, ".type", "type");
      addString(buffer, ".name", section.name);
      blobmsg_add_field(&buffer, 5, ".index", index, 4);
      for (const UciOption& option : section.options) {
        if (const auto* text = std::get_if<std::string>(&option.value)) {
          addString(buffer, option.name.c_str(), *text);
          continue;
        }
        void* const list = blobmsg_open_nested(&buffer, option.name.c_str(), true);
        for (const std::string& item : std::get<1>(option.value)) addString(buffer, "", item);
        blob_nest_end(&buffer, list);
      }
      blob_nest_end(&buffer, table);
    }
    blob_nest_end(&buffer, values);
  });
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
  auto* context = static_cast<ubus_context*>(std::calloc(1, sizeof(ubus_context)));
  context->sock.fd = 1234;
  return context;
}

void ubus_free(ubus_context* context) {
  test_support::logCall("ubus_free");
  std::free(context);
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
    const auto buffer = std::make_unique<char[]>(reply.size());
    std::memcpy(buffer.get(), reply.data(), reply.size());
    ubus_request request{};
    request.priv = priv;
    handler(&request, 2, reinterpret_cast<blob_attr*>(buffer.get()));
    std::memset(buffer.get(), '#', reply.size());
  }
  return fakeBus().invokeStatus;
}

const char* ubus_strerror(int status) {
  static std::string text;
  text = "text of status " + std::to_string(status);
  return text.c_str();
}
}
