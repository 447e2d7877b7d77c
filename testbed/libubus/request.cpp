#include "testbed/libubus/request.h"

#include "testbed/libubus/status.h"

namespace testbed {

std::optional<int> PendingRequest::handle(Message& message) {
  const MessageHeader& header = message.header;
  if (header.sequence != sequence_ || header.peer != peer_) return std::nullopt;
  if (header.type != MessageType::Data && header.type != MessageType::Status) return std::nullopt;
  MessageBody body;
  if (!parseBody(message.attribute, body)) return static_cast<int>(BusStatus::ParseError);
  if (header.type == MessageType::Data) {
    answered_ = true;
    if (handler_(body)) return std::nullopt;
    return static_cast<int>(BusStatus::ParseError);
  }
  if (body.status) return static_cast<int>(*body.status);
  return static_cast<int>(answered_ ? BusStatus::Ok : BusStatus::NoResponse);
}

std::optional<int> handleAvailable(MessageReader& reader, PendingRequest& request) {
  while (std::optional<Message> message = reader.next()) {
    if (const std::optional<int> status = request.handle(*message)) return status;
  }
  if (reader.isBroken()) return static_cast<int>(BusStatus::ConnectionFailed);
  return std::nullopt;
}

bool callDataHandler(ubus_data_handler_t callback, void* priv, const MessageBody& body) noexcept {
  if (body.data == nullptr) return false;
  if (callback == nullptr) return true;
  ubus_request request{priv};
  callback(&request, static_cast<int>(MessageType::Data), body.data);
  return true;
}

}  // namespace testbed
