// The bus's wire format: messages cut out of a byte stream, taken apart and put together. Pure
// functions over bytes, shared by the client library and the daemon; nothing here knows a socket.
#pragma once

#include <libubox/blob.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace testbed {

inline constexpr const char* defaultBusSocket = "/var/run/ubus/ubus.sock";

// The largest attribute that may follow a message header.
inline constexpr std::size_t maximumMessageSize = std::size_t{1024} * 1024;
inline constexpr std::size_t messageHeaderSize = 8;

enum class MessageType : std::uint8_t {
  Hello = 0,
  Status = 1,
  Data = 2,
  Ping = 3,
  Lookup = 4,
  Invoke = 5,
};

enum class BodyId : std::uint8_t {
  Status = 1,
  ObjectPath = 2,
  ObjectId = 3,
  Method = 4,
  ObjectType = 5,
  Signature = 6,
  Data = 7,
};

struct MessageHeader {
  std::uint8_t version = 0;
  MessageType type = MessageType::Hello;
  std::uint16_t sequence = 0;
  std::uint32_t peer = 0;
};

// The attributes of one message; views and pointers lead into the message's bytes.
struct MessageBody {
  std::optional<std::uint32_t> status;
  std::optional<std::string_view> objectPath;
  std::optional<std::uint32_t> objectId;
  std::optional<std::string_view> method;
  std::optional<std::uint32_t> objectType;
  blob_attr* signature = nullptr;
  blob_attr* data = nullptr;
};

// One whole message: the header and the outer attribute with its payload.
struct Message {
  MessageHeader header;
  // The outer attribute, at least 4 bytes and exactly as long as its own word says.
  std::vector<char> attribute;
};

// Takes the attribute of a message apart. False when the outer attribute is not a plain one with id
// 0, when a child does not lie wholly inside it or leaves odd bytes behind, or when one of the
// known ids occurs twice, is extended, or has the wrong length or no NUL at its end. Unknown ids
// are skipped.
bool parseBody(std::span<char> attribute, MessageBody& body);

// Collects the bytes of a stream and gives them back message by message.
class MessageReader {
 public:
  void append(std::span<const char> bytes);
  // The next message, if it is there whole. When the stream cannot be a stream of messages (wrong
  // version, or a length below 4 or above the limit) there is never one again.
  std::optional<Message> next();
  bool isBroken() const { return broken_; }

 private:
  std::vector<char> buffer_;
  std::size_t consumed_ = 0;
  bool broken_ = false;
};

// Puts one message together: construct, add attributes, finish.
class MessageWriter {
 public:
  explicit MessageWriter(const MessageHeader& header);
  void addNumber(BodyId id, std::uint32_t value);
  // Adds the text and a NUL.
  void addString(BodyId id, std::string_view text);
  // Adds bytes as they are, for example the children of another attribute.
  void addBytes(BodyId id, std::span<const char> bytes);
  // Hands the message over, header first; nullopt when it is over the limit.
  std::optional<std::string> finish();

 private:
  std::string bytes_;
};

}  // namespace testbed
