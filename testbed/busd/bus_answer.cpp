// bus_answer.h says what this stands in for.
#include "testbed/busd/bus_answer.h"

#include <cstdio>
#include <fstream>
#include <optional>
#include <sstream>
#include <stdexcept>
#include <string_view>

#include "testbed/libubox/blob_buffer.h"
#include "testbed/uci/uci_parser.h"
#include "testbed/uci/uci_reply.h"

namespace testbed {
namespace {

namespace fs = std::filesystem;

constexpr std::string_view uciObject = "uci";
constexpr std::uint32_t uciObjectId = 0x75636901;

// Answers carry the sequence and peer of what they answer.
MessageWriter answerTo(const Message& question, MessageType type) {
  MessageHeader header = question.header;
  header.type = type;
  return MessageWriter(header);
}

std::string makeStatus(const Message& question, BusStatus status,
                       std::optional<std::uint32_t> objectId = std::nullopt) {
  MessageWriter writer = answerTo(question, MessageType::Status);
  writer.addNumber(BodyId::Status, static_cast<std::uint32_t>(status));
  if (objectId) writer.addNumber(BodyId::ObjectId, *objectId);
  return writer.finish().value();
}

std::string answerLookup(const Message& question, const MessageBody& body) {
  if (body.objectPath != uciObject) return makeStatus(question, BusStatus::NotFound);
  MessageWriter writer = answerTo(question, MessageType::Data);
  writer.addString(BodyId::ObjectPath, uciObject);
  writer.addNumber(BodyId::ObjectId, uciObjectId);
  return writer.finish().value() + makeStatus(question, BusStatus::Ok);
}

// The value of the one argument; nullopt if there is another one, or none.
std::optional<std::string> findConfig(const blob_attr* arguments) {
  if (arguments == nullptr || blob_len(arguments) < sizeof(blob_attr)) return std::nullopt;
  const auto* config = static_cast<const blob_attr*>(blob_data(arguments));
  if (blob_pad_len(config) != blob_len(arguments) || !blobmsg_check_attr(config, true) ||
      blob_id(config) != blobString || std::string_view(blobmsg_name(config)) != "config") {
    return std::nullopt;
  }
  return static_cast<const char*>(blobmsg_data(config));
}

bool isPlainFileName(std::string_view name) {
  return !name.empty() && name.front() != '.' && name.find('/') == std::string_view::npos;
}

// Nullopt if there is no such file.
std::optional<std::string> readConfig(const fs::path& path) {
  const fs::file_type type = fs::status(path).type();
  if (type == fs::file_type::not_found) return std::nullopt;
  // The reading of a named pipe would never end.
  if (type != fs::file_type::regular) throw std::runtime_error(path.string() + ": not a file");
  std::ifstream file(path, std::ios::binary);
  if (!file) throw std::runtime_error(path.string() + ": cannot be opened");
  std::ostringstream text;
  text << file.rdbuf();
  return text.str();
}

std::string answerGet(const Message& question, const fs::path& path) {
  try {
    const std::optional<std::string> text = readConfig(path);
    if (!text) return makeStatus(question, BusStatus::NotFound, uciObjectId);
    MessageWriter writer = answerTo(question, MessageType::Data);
    writer.addNumber(BodyId::ObjectId, uciObjectId);
    BlobBuffer reply;
    const bool fits = writeReply(parseUci(*text, path), reply.get());
    writer.addBytes(BodyId::Data, reply.members());
    const std::optional<std::string> data = fits ? writer.finish() : std::nullopt;
    if (data) return *data + makeStatus(question, BusStatus::Ok, uciObjectId);
    throw std::runtime_error(path.string() + ": too long for a bus message");
  } catch (const std::exception& error) {
    std::fprintf(stderr, "ubusd: %s\n", error.what());
  }
  return makeStatus(question, BusStatus::UnknownError, uciObjectId);
}

std::string answerInvoke(const Message& question, const MessageBody& body,
                         const fs::path& configDirectory) {
  if (!body.objectId || !body.method) return makeStatus(question, BusStatus::InvalidArgument);
  BusStatus refusal = BusStatus::InvalidArgument;
  if (*body.objectId != uciObjectId) {
    refusal = BusStatus::NotFound;
  } else if (*body.method != "get") {
    refusal = BusStatus::MethodNotFound;
  } else if (const auto config = findConfig(body.data); config && isPlainFileName(*config)) {
    return answerGet(question, configDirectory / *config);
  }
  return makeStatus(question, refusal, body.objectId);
}

}  // namespace

std::string makeHello(std::uint32_t clientId) {
  return MessageWriter({.type = MessageType::Hello, .peer = clientId}).finish().value();
}

std::string answerMessage(Message& question, const fs::path& configDirectory) {
  const MessageType type = question.header.type;
  if (type != MessageType::Lookup && type != MessageType::Invoke) {
    return makeStatus(question, BusStatus::InvalidCommand);
  }
  MessageBody body;
  if (!parseBody(question.attribute, body)) {
    return makeStatus(question, BusStatus::InvalidArgument);
  }
  return type == MessageType::Lookup ? answerLookup(question, body)
                                     : answerInvoke(question, body, configDirectory);
}

}  // namespace testbed
