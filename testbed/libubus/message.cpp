#include "testbed/libubus/message.h"

#include <cstring>

namespace testbed {
namespace {

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

bool readBlob(blob_attr* attr, blob_attr*& place) {
  if (place != nullptr) return false;
  place = attr;
  return true;
}

bool readAttribute(blob_attr* attr, MessageBody& body) {
  const unsigned int id = blob_id(attr);
  if (id < static_cast<unsigned int>(BodyId::Status) ||
      id > static_cast<unsigned int>(BodyId::Data)) {
    return true;
  }
  // Nothing on this level has a name. A data attribute that claims one would make a reader skip the
  // first bytes of the members.
  if (blob_is_extended(attr)) return false;
  switch (static_cast<BodyId>(id)) {
    case BodyId::Status:
      return readNumber(attr, body.status);
    case BodyId::ObjectPath:
      return readString(attr, body.objectPath);
    case BodyId::ObjectId:
      return readNumber(attr, body.objectId);
    case BodyId::Method:
      return readString(attr, body.method);
    case BodyId::ObjectType:
      return readNumber(attr, body.objectType);
    case BodyId::Signature:
      return readBlob(attr, body.signature);
    case BodyId::Data:
      return readBlob(attr, body.data);
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

void MessageReader::append(std::span<const char> bytes) {
  // The consumed front goes only when it is the larger half, so that many small messages in one
  // piece are not moved once for each.
  if (consumed_ > buffer_.size() / 2) {
    buffer_.erase(buffer_.begin(), buffer_.begin() + static_cast<std::ptrdiff_t>(consumed_));
    consumed_ = 0;
  }
  buffer_.insert(buffer_.end(), bytes.begin(), bytes.end());
}

std::optional<Message> MessageReader::next() {
  if (broken_) return std::nullopt;
  const std::span<const char> rest = std::span<const char>(buffer_).subspan(consumed_);
  if (rest.size() < messageHeaderSize + sizeof(blob_attr)) return std::nullopt;
  const char* attribute = rest.data() + messageHeaderSize;
  const std::size_t length = readBig32(attribute) & 0x00ffffffU;
  if (rest[0] != 0 || length < sizeof(blob_attr) || length > maximumMessageSize) {
    broken_ = true;
    return std::nullopt;
  }
  if (rest.size() - messageHeaderSize < length) return std::nullopt;
  Message message;
  const std::uint32_t first = readBig32(rest.data());
  message.header.type = static_cast<MessageType>(first >> 16 & 0xffU);
  message.header.sequence = static_cast<std::uint16_t>(first & 0xffffU);
  message.header.peer = readBig32(rest.data() + 4);
  message.attribute.assign(attribute, attribute + length);
  consumed_ += messageHeaderSize + length;
  return message;
}

MessageWriter::MessageWriter(const MessageHeader& header) {
  appendBig32(bytes_, std::uint32_t{header.version} << 24 |
                          static_cast<std::uint32_t>(header.type) << 16 | header.sequence);
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
  const std::size_t length = bytes_.size() - messageHeaderSize;
  if (length > maximumMessageSize) return std::nullopt;
  std::string word;
  appendBig32(word, static_cast<std::uint32_t>(length));
  bytes_.replace(messageHeaderSize, word.size(), word);
  return std::move(bytes_);
}

}  // namespace testbed
