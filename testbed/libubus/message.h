// The bus's wire format: messages cut out of a byte stream, taken apart and put together. Stands in
// for what libubus and ubusd share, and leaves out every message that a program which only calls
// methods neither sends nor gets. Nothing here knows a socket.
#pragma once

#include <libubox/blob.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace testbed {

enum class MessageType : std::uint8_t { Hello = 0, Status = 1, Data = 2, Lookup = 4, Invoke = 5 };

enum class BodyId : std::uint8_t { Status = 1, ObjectPath = 2, ObjectId = 3, Method = 4, Data = 7 };

// The statuses that the testbed itself returns; ubus_strerror has the texts of all.
enum class BusStatus : std::uint8_t {
  Ok = 0,
  InvalidCommand = 1,
  InvalidArgument = 2,
  MethodNotFound = 3,
  NotFound = 4,
  NoResponse = 5,
  NotSupported = 8,
  UnknownError = 9,
  ConnectionFailed = 10,
  ParseError = 12,
};

struct MessageHeader {
  MessageType type = MessageType::Hello;
  std::uint16_t sequence = 0;
  std::uint32_t peer = 0;
};

// One whole message: the header and the outer attribute with its payload, at least 4 bytes and
// exactly as long as its own word says.
struct Message {
  MessageHeader header;
  std::vector<char> attribute;
};

// The attributes of one message; views and pointers lead into the message's bytes.
struct MessageBody {
  std::optional<std::uint32_t> status;
  std::optional<std::string_view> objectPath;
  std::optional<std::uint32_t> objectId;
  std::optional<std::string_view> method;
  blob_attr* data = nullptr;
};

// Fills all the bytes from a stream; false if it ends before.
using ReadBytes = std::function<bool(std::span<char>)>;

// The next message. Nullopt if the stream ends, or if no message begins here: the version is
// not 0, or the length is below 4 or above the limit of 1 MiB.
std::optional<Message> readMessage(const ReadBytes& read);

// Takes the attribute of a message apart. False if the outer attribute is not a plain one with id
// 0, if a child does not lie wholly inside it or leaves odd bytes after it, or if one of the
// known ids occurs twice, is extended, or has the wrong length or no NUL at its end. Unknown ids
// are skipped.
bool parseBody(std::span<char> attribute, MessageBody& body);

// Receives the body of each data message that answers a request; false says that the body lacks
// what the request asked for.
using DataHandler = std::function<bool(const MessageBody&)>;

// Reads what answers the request with this sequence and peer, up to its end and status:
//   the daemon's own number from a status message;
//   NoResponse for a status message without a status if no data came before it, else Ok;
//   ParseError for a malformed message or one that the handler refused;
//   ConnectionFailed if there is no further message.
// Messages of another sequence or peer, and of other types, are passed over.
int readAnswer(const ReadBytes& read, const MessageHeader& request, const DataHandler& handler);

// Puts one message together: construct, add attributes, finish.
class MessageWriter {
 public:
  explicit MessageWriter(const MessageHeader& header);
  void addNumber(BodyId id, std::uint32_t value);
  // Adds the text and a NUL.
  void addString(BodyId id, std::string_view text);
  // Adds bytes as they are, for example the children of another attribute.
  void addBytes(BodyId id, std::span<const char> bytes);
  // Hands the message over, header first; nullopt if it is over the limit.
  std::optional<std::string> finish();

 private:
  std::string bytes_;
};

}  // namespace testbed
