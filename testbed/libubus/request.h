// One request under way, as a function from the daemon's messages to handler calls and a status.
// The connection's side, with its socket and clock, is in client.cpp.
#pragma once

#include <libubus.h>

#include <cstdint>
#include <functional>
#include <optional>

#include "testbed/libubus/message.h"

namespace testbed {

class PendingRequest {
 public:
  // Receives the body of each data message that belongs to the request; false says that the body
  // lacks what the request asked for.
  using DataHandler = std::function<bool(const MessageBody&)>;

  PendingRequest(std::uint16_t sequence, std::uint32_t peer, DataHandler handler)
      : sequence_(sequence), peer_(peer), handler_(std::move(handler)) {}

  // Takes the next message. The result is the request's status once it has ended:
  //   the daemon's own number from a status message;
  //   NoResponse for a status message without a status when no data came before it, else Ok;
  //   ParseError for a malformed message or one that the handler refused.
  // Messages of another sequence or peer, and of other types, are passed over.
  std::optional<int> handle(Message& message);

 private:
  std::uint16_t sequence_;
  std::uint32_t peer_;
  DataHandler handler_;
  bool answered_ = false;
};

// Lets every whole message in `reader` reach the request. The result is its status once it has
// ended; ConnectionFailed when the stream is broken.
std::optional<int> handleAvailable(MessageReader& reader, PendingRequest& request);

// Calls a handler of the C interface, which may be null, with the reply in `body`. False when there
// is no reply in it. An exception in the handler ends the process, as it does in a C library.
bool callDataHandler(ubus_data_handler_t callback, void* priv, const MessageBody& body) noexcept;

}  // namespace testbed
