#include "testbed/busd/message_answer.h"

#include <optional>
#include <span>

#include "testbed/libubus/status.h"

namespace testbed {
namespace {

// Answers carry the sequence and peer of what they answer.
MessageHeader answerHeader(const Message& message, MessageType type) {
  MessageHeader header = message.header;
  header.type = type;
  return header;
}

// No answer of this file can be over the limit, so finish() always has a value.
std::string makeStatus(const Message& message, BusStatus status,
                       std::optional<std::uint32_t> objectId = std::nullopt) {
  MessageWriter writer(answerHeader(message, MessageType::Status));
  writer.addNumber(BodyId::Status, static_cast<std::uint32_t>(status));
  if (objectId) writer.addNumber(BodyId::ObjectId, *objectId);
  return writer.finish().value();
}

// A lookup without a path asks for every object.
std::string answerLookup(const Message& message, const MessageBody& body) {
  if (body.objectPath && *body.objectPath != UciService::objectPath) {
    return makeStatus(message, BusStatus::NotFound);
  }
  MessageWriter writer(answerHeader(message, MessageType::Data));
  writer.addString(BodyId::ObjectPath, UciService::objectPath);
  writer.addNumber(BodyId::ObjectId, uciObjectId);
  writer.addNumber(BodyId::ObjectType, uciObjectType);
  writer.addBytes(BodyId::Signature, UciService::signature());
  return writer.finish().value() + makeStatus(message, BusStatus::Ok);
}

std::string answerInvoke(const Message& message, const MessageBody& body, const UciService& uci) {
  if (!body.objectId || !body.method) return makeStatus(message, BusStatus::InvalidArgument);
  if (*body.objectId != uciObjectId) {
    return makeStatus(message, BusStatus::NotFound, body.objectId);
  }
  std::span<char> arguments;
  if (body.data != nullptr) {
    arguments = {static_cast<char*>(blob_data(body.data)), blob_len(body.data)};
  }
  const UciService::Reply reply = uci.call(*body.method, arguments);
  if (reply.status != BusStatus::Ok) return makeStatus(message, reply.status, uciObjectId);
  MessageWriter writer(answerHeader(message, MessageType::Data));
  writer.addNumber(BodyId::ObjectId, uciObjectId);
  writer.addBytes(BodyId::Data, reply.members);
  return writer.finish().value() + makeStatus(message, BusStatus::Ok, uciObjectId);
}

}  // namespace

std::string makeHello(std::uint32_t clientId) {
  MessageWriter writer({.version = 0, .type = MessageType::Hello, .sequence = 0, .peer = clientId});
  return writer.finish().value();
}

std::string answerMessage(Message& message, const UciService& uci) {
  MessageBody body;
  if (!parseBody(message.attribute, body)) return makeStatus(message, BusStatus::InvalidArgument);
  switch (message.header.type) {
    case MessageType::Lookup:
      return answerLookup(message, body);
    case MessageType::Invoke:
      return answerInvoke(message, body, uci);
    case MessageType::Hello:
    case MessageType::Status:
    case MessageType::Data:
    case MessageType::Ping:
      break;
  }
  return makeStatus(message, BusStatus::InvalidCommand);
}

}  // namespace testbed
