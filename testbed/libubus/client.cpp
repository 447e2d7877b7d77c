// The C interface of the bus client: one connection, synchronous requests. What the daemon's bytes
// mean is decided in request.cpp and message.cpp.
#include <libubus.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <climits>
#include <cstring>
#include <memory>
#include <new>
#include <optional>
#include <string>

#include "testbed/libubus/message.h"
#include "testbed/libubus/request.h"
#include "testbed/libubus/socket_errors.h"
#include "testbed/libubus/status.h"

namespace testbed {
namespace {

using Clock = std::chrono::steady_clock;
using Deadline = std::optional<Clock::time_point>;

struct Connection : ubus_context {
  MessageReader reader;
  std::uint16_t lastSequence = 0;
};

constexpr int toInt(BusStatus status) {
  return static_cast<int>(status);
}

// Waits until the socket has `events`, has failed, or a signal has come: the next call on it tells
// which. False when the deadline has passed.
bool waitFor(int fd, short events, const Deadline& deadline) {
  while (true) {
    int timeout = -1;
    if (deadline) {
      // Rounded up, so that the last round does not spin until the deadline.
      const auto left = std::chrono::ceil<std::chrono::milliseconds>(*deadline - Clock::now());
      if (left.count() <= 0) return false;
      timeout = static_cast<int>(std::min<std::chrono::milliseconds::rep>(left.count(), INT_MAX));
    }
    pollfd polled{fd, events, 0};
    if (poll(&polled, 1, timeout) != 0) return true;
  }
}

BusStatus sendAll(int fd, std::string_view bytes, const Deadline& deadline) {
  while (!bytes.empty()) {
    if (!waitFor(fd, POLLOUT, deadline)) return BusStatus::TimedOut;
    const ssize_t sent = send(fd, bytes.data(), bytes.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
    if (sent < 0 && !isTemporary(errno)) return BusStatus::ConnectionFailed;
    if (sent > 0) bytes.remove_prefix(static_cast<std::size_t>(sent));
  }
  return BusStatus::Ok;
}

// Appends what has arrived to the connection's reader, waiting for at least one byte.
BusStatus receive(Connection& connection, const Deadline& deadline) {
  std::array<char, 65536> buffer{};
  while (true) {
    if (!waitFor(connection.sock.fd, POLLIN, deadline)) return BusStatus::TimedOut;
    const ssize_t got = recv(connection.sock.fd, buffer.data(), buffer.size(), MSG_DONTWAIT);
    if (got > 0) {
      connection.reader.append({buffer.data(), static_cast<std::size_t>(got)});
      return BusStatus::Ok;
    }
    if (got == 0 || !isTemporary(errno)) return BusStatus::ConnectionFailed;
  }
}

// Sends one request and feeds everything that arrives to it until it ends.
int runRequest(Connection& connection, MessageWriter& writer, const MessageHeader& header,
               PendingRequest::DataHandler handler, int timeoutMs) {
  Deadline deadline;
  if (timeoutMs > 0) deadline = Clock::now() + std::chrono::milliseconds(timeoutMs);
  const std::optional<std::string> bytes = writer.finish();
  if (!bytes) return toInt(BusStatus::InvalidArgument);
  const BusStatus sent = sendAll(connection.sock.fd, *bytes, deadline);
  if (sent != BusStatus::Ok) return toInt(sent);
  PendingRequest request(header.sequence, header.peer, std::move(handler));
  while (true) {
    if (const std::optional<int> status = handleAvailable(connection.reader, request)) {
      return *status;
    }
    const BusStatus received = receive(connection, deadline);
    if (received != BusStatus::Ok) return toInt(received);
  }
}

// Returns a connected socket, -1 on failure.
int connectSocket(const std::string& path) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  if (path.size() >= sizeof(address.sun_path)) return -1;
  std::memcpy(address.sun_path, path.data(), path.size());
  const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (fd < 0) return -1;
  if (connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) != 0) {
    close(fd);
    return -1;
  }
  return fd;
}

// The daemon speaks first: its hello tells the client its id.
bool awaitHello(Connection& connection) {
  while (true) {
    if (const std::optional<Message> hello = connection.reader.next()) {
      connection.local_id = hello->header.peer;
      return hello->header.type == MessageType::Hello;
    }
    if (connection.reader.isBroken()) return false;
    if (receive(connection, std::nullopt) != BusStatus::Ok) return false;
  }
}

MessageHeader nextHeader(Connection& connection, MessageType type, std::uint32_t peer) {
  return {.version = 0, .type = type, .sequence = ++connection.lastSequence, .peer = peer};
}

int lookupId(Connection& connection, const char* path, std::uint32_t* id) {
  const MessageHeader header = nextHeader(connection, MessageType::Lookup, 0);
  MessageWriter writer(header);
  writer.addString(BodyId::ObjectPath, path);
  std::optional<std::uint32_t> found;
  const auto takeId = [&found](const MessageBody& body) {
    if (!body.objectId) return false;
    found = body.objectId;
    return true;
  };
  const int status = runRequest(connection, writer, header, takeId, 0);
  if (status != toInt(BusStatus::Ok)) return status;
  if (!found) return toInt(BusStatus::NotFound);
  *id = *found;
  return status;
}

int invoke(Connection& connection, std::uint32_t object, const char* method, const blob_attr* msg,
           ubus_data_handler_t callback, void* priv, int timeoutMs) {
  const MessageHeader header = nextHeader(connection, MessageType::Invoke, object);
  MessageWriter writer(header);
  writer.addNumber(BodyId::ObjectId, object);
  writer.addString(BodyId::Method, method);
  if (msg != nullptr) {
    writer.addBytes(BodyId::Data, {static_cast<const char*>(blob_data(msg)), blob_len(msg)});
  }
  const auto takeReply = [callback, priv](const MessageBody& body) {
    return callDataHandler(callback, priv, body);
  };
  return runRequest(connection, writer, header, takeReply, timeoutMs);
}

}  // namespace
}  // namespace testbed

ubus_context* ubus_connect(const char* path) try {
  auto connection = std::make_unique<testbed::Connection>();
  connection->sock.fd = testbed::connectSocket(path == nullptr ? testbed::defaultBusSocket : path);
  if (connection->sock.fd < 0) return nullptr;
  if (!testbed::awaitHello(*connection)) {
    close(connection->sock.fd);
    return nullptr;
  }
  return connection.release();
} catch (const std::bad_alloc&) {
  return nullptr;
}

void ubus_free(ubus_context* ctx) {
  if (ctx == nullptr) return;
  close(ctx->sock.fd);
  delete static_cast<testbed::Connection*>(ctx);
}

int ubus_lookup_id(ubus_context* ctx, const char* path, uint32_t* id) try {
  return testbed::lookupId(static_cast<testbed::Connection&>(*ctx), path, id);
} catch (const std::bad_alloc&) {
  return testbed::toInt(testbed::BusStatus::OutOfMemory);
}

int ubus_invoke_fd(ubus_context* ctx, uint32_t id, const char* method, blob_attr* msg,
                   ubus_data_handler_t cb, void* priv, int timeout_ms, int fd) try {
  if (fd != -1) return testbed::toInt(testbed::BusStatus::NotSupported);
  return testbed::invoke(static_cast<testbed::Connection&>(*ctx), id, method, msg, cb, priv,
                         timeout_ms);
} catch (const std::bad_alloc&) {
  return testbed::toInt(testbed::BusStatus::OutOfMemory);
}
