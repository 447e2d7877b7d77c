// message.h says what this stands in for.
#include "testbed/libubus/message.h"

#include <array>
#include <cstring>

namespace testbed {
namespace {

constexpr std::size_t headerSize = 8;
// The largest attribute that may follow a message header.
constexpr std::size_t maximumSize = std::size_t{1024} * 1024;

std::uint32_t readBig32(const char* bytes) {
  std::uint32_t value = 0;
  std::memcpy(&value, bytes, sizeof(value));
  return be32toh(value);
}

void appendBig32(std::string& bytes, std::uint32_t value) {
  value = htobe32(value);
  bytes.append(reinterpret_cast<const char*>(&value), sizeof(value));
}

bool readNumber(const blob_attr* attr, std::optional<std::uint32_t>& number) {
  if (number || blob_len(attr) != sizeof(std::uint32_t)) return false;
  number = readBig32(attr->data);
  return true;
}

bool readString(const blob_attr* attr, std::optional<std::string_view>& text) {
  const std::size_t length = blob_len(attr);
  if (text || length == 0 || attr->data[length - 1] != '\0') return false;
  // Up to the first NUL: what any C program on the bus would see.
  text = std::string_view(attr->data);
  return true;
}

bool readAttribute(blob_attr* attr, MessageBody& body) {
  // Nothing on this level has a name. A data attribute that claims one would make a reader skip the
  // first bytes of the members.
  const bool isPlain = !blob_is_extended(attr);
  switch (static_cast<BodyId>(blob_id(attr))) {
    case BodyId::Status:
      return isPlain && readNumber(attr, body.status);
    case BodyId::ObjectPath:
      return isPlain && readString(attr, body.objectPath);
    case BodyId::ObjectId:
      return isPlain && readNumber(attr, body.objectId);
    case BodyId::Method:
      return isPlain && readString(attr, body.method);
    case BodyId::Data:
      if (!isPlain || body.data != nullptr) return false;
      body.data = attr;
      return true;
  }
  return true;
}

}  // namespace

bool parseBody(std::span<char> attribute, MessageBody& body) {
  if (attribute.size() < sizeof(blob_attr)) return false;
  const auto* outer = reinterpret_cast<const blob_attr*>(attribute.data());
  if (blob_is_extended(outer) || blob_id(outer) != 0 || blob_raw_len(outer) != attribute.size()) {
    return false;
  }
  std::span<char> rest = attribute.subspan(sizeof(blob_attr));
  while (!rest.empty()) {
    if (rest.size() < sizeof(blob_attr)) return false;
    auto* attr = reinterpret_cast<blob_attr*>(rest.data());
    if (blob_raw_len(attr) < sizeof(blob_attr) || blob_pad_len(attr) > rest.size()) return false;
    if (!readAttribute(attr, body)) return false;
    rest = rest.subspan(blob_pad_len(attr));
  }
  return true;
}

std::optional<Message> readMessage(const ReadBytes& read) {
  std::array<char, headerSize + sizeof(blob_attr)> start{};
  if (!read(start)) return std::nullopt;
  const std::size_t length = readBig32(&start[headerSize]) & 0x00ffffffU;
  if (start[0] != 0 || length < sizeof(blob_attr) || length > maximumSize) return std::nullopt;
  Message message;
  message.header = {.type = static_cast<MessageType>(start[1]),
                    .sequence = static_cast<std::uint16_t>(readBig32(start.data()) & 0xffffU),
                    .peer = readBig32(&start[4])};
  message.attribute.assign(start.begin() + headerSize, start.end());
  message.attribute.resize(length);
  if (!read(std::span<char>(message.attribute).subspan(sizeof(blob_attr)))) return std::nullopt;
  return message;
}

int readAnswer(const ReadBytes& read, const MessageHeader& request, const DataHandler& handler) {
  bool answered = false;
  while (std::optional<Message> message = readMessage(read)) {
    const MessageHeader& header = message->header;
    if (header.sequence != request.sequence || header.peer != request.peer) continue;
    if (header.type != MessageType::Data && header.type != MessageType::Status) continue;
    MessageBody body;
    if (!parseBody(message->attribute, body)) return static_cast<int>(BusStatus::ParseError);
    if (header.type == MessageType::Status) {
      if (body.status) return static_cast<int>(*body.status);
      return static_cast<int>(answered ? BusStatus::Ok : BusStatus::NoResponse);
    }
    if (!handler(body)) return static_cast<int>(BusStatus::ParseError);
    answered = true;
  }
  return static_cast<int>(BusStatus::ConnectionFailed);
}

MessageWriter::MessageWriter(const MessageHeader& header) {
  appendBig32(bytes_, static_cast<std::uint32_t>(header.type) << 16 | header.sequence);
  appendBig32(bytes_, header.peer);
  appendBig32(bytes_, 0);  // the outer attribute's word: finish() knows the length
}

void MessageWriter::addNumber(BodyId id, std::uint32_t value) {
  value = htobe32(value);
  addBytes(id, {reinterpret_cast<const char*>(&value), sizeof(value)});
}

void MessageWriter::addString(BodyId id, std::string_view text) {
  const std::string terminated(text);
  addBytes(id, {terminated.c_str(), terminated.size() + 1});
}

void MessageWriter::addBytes(BodyId id, std::span<const char> bytes) {
  // A length that does not fit its 24 bits makes the whole message too long, which finish() sees.
  const auto length = static_cast<std::uint32_t>(sizeof(blob_attr) + bytes.size());
  appendBig32(bytes_, static_cast<std::uint32_t>(id) << 24 | (length & 0x00ffffffU));
  bytes_.append(bytes.data(), bytes.size());
  bytes_.resize((bytes_.size() + 3) & ~std::size_t{3}, '\0');
}

std::optional<std::string> MessageWriter::finish() {
  const std::size_t length = bytes_.size() - headerSize;
  if (length > maximumSize) return std::nullopt;
  std::string word;
  appendBig32(word, static_cast<std::uint32_t>(length));
  bytes_.replace(headerSize, word.size(), word);
  return std::move(bytes_);
}

}  // namespace testbed
