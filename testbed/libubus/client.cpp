// Stands in for libubus: one connection with synchronous requests. libubus.h says what is left out.
// What the daemon's bytes mean is decided in message.cpp.
#include <libubus.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <memory>
#include <optional>
#include <string>

#include "testbed/libubus/bus_socket.h"
#include "testbed/libubus/message.h"

namespace {

using testbed::BodyId;
using testbed::BusStatus;
using testbed::Message;
using testbed::MessageBody;
using testbed::MessageHeader;
using testbed::MessageType;
using testbed::MessageWriter;
using testbed::ReadBytes;

struct Connection : ubus_context {
  std::uint16_t lastSequence = 0;
};

constexpr int toInt(BusStatus status) {
  return static_cast<int>(status);
}

MessageHeader nextHeader(ubus_context* context, MessageType type, std::uint32_t peer) {
  auto& sequence = static_cast<Connection*>(context)->lastSequence;
  return {.type = type, .sequence = ++sequence, .peer = peer};
}

ReadBytes readerOf(const ubus_context* context) {
  return [context](std::span<char> bytes) { return testbed::receiveAll(context->sock.fd, bytes); };
}

int runRequest(const ubus_context* context, MessageWriter& writer, const MessageHeader& header,
               const testbed::DataHandler& handler) {
  const std::optional<std::string> bytes = writer.finish();
  if (!bytes) return toInt(BusStatus::InvalidArgument);
  if (!testbed::sendAll(context->sock.fd, *bytes)) return toInt(BusStatus::ConnectionFailed);
  return testbed::readAnswer(readerOf(context), header, handler);
}

constexpr std::array<const char*, 14> statusTexts = {
    "Success",
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
    "System error",
};

}  // namespace

ubus_context* ubus_connect(const char* path) {
  const int fd = testbed::connectBus(path == nullptr ? testbed::defaultBusSocket : path);
  if (fd < 0) return nullptr;
  auto connection = std::make_unique<Connection>();
  connection->sock.fd = fd;
  // The daemon speaks first.
  const std::optional<Message> hello = testbed::readMessage(readerOf(connection.get()));
  if (hello && hello->header.type == MessageType::Hello) return connection.release();
  close(fd);
  return nullptr;
}

void ubus_free(ubus_context* ctx) {
  close(ctx->sock.fd);
  delete static_cast<Connection*>(ctx);
}

int ubus_lookup_id(ubus_context* ctx, const char* path, uint32_t* id) {
  const MessageHeader header = nextHeader(ctx, MessageType::Lookup, 0);
  MessageWriter writer(header);
  writer.addString(BodyId::ObjectPath, path);
  std::optional<std::uint32_t> found;
  const int status = runRequest(ctx, writer, header, [&found](const MessageBody& body) {
    if (body.objectId) found = body.objectId;
    return body.objectId.has_value();
  });
  if (status == 0 && !found) return toInt(BusStatus::NotFound);
  if (status == 0) *id = *found;
  return status;
}

// An exception in the handler ends the process, as it does in a C library.
int ubus_invoke_fd(ubus_context* ctx, uint32_t id, const char* method, blob_attr* msg,
                   ubus_data_handler_t cb, void* priv, int timeout_ms, int fd) {
  if (timeout_ms != 0 || fd != -1) return toInt(BusStatus::NotSupported);
  const MessageHeader header = nextHeader(ctx, MessageType::Invoke, id);
  MessageWriter writer(header);
  writer.addNumber(BodyId::ObjectId, id);
  writer.addString(BodyId::Method, method);
  writer.addBytes(BodyId::Data, {static_cast<const char*>(blob_data(msg)), blob_len(msg)});
  const auto takeReply = [cb, priv](const MessageBody& body) noexcept {
    if (body.data == nullptr) return false;
    ubus_request request{priv};
    cb(&request, static_cast<int>(MessageType::Data), body.data);
    return true;
  };
  return runRequest(ctx, writer, header, takeReply);
}

const char* ubus_strerror(int status) {
  static std::array<char, 32> unknown;
  if (status >= 0 && static_cast<std::size_t>(status) < statusTexts.size()) {
    return statusTexts[static_cast<std::size_t>(status)];
  }
  std::snprintf(unknown.data(), unknown.size(), "Unknown error: %d", status);
  return unknown.data();
}
