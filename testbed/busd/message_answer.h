// What the daemon says to one message: a function from bytes to bytes, without a socket.
#pragma once

#include <cstdint>
#include <string>

#include "testbed/busd/uci_service.h"
#include "testbed/libubus/message.h"

namespace testbed {

// The id under which the daemon offers the object "uci", and the id of its type.
inline constexpr std::uint32_t uciObjectId = 0x75636901;
inline constexpr std::uint32_t uciObjectType = 0x75636902;

// The greeting that a new client gets; its peer field is the client's id.
std::string makeHello(std::uint32_t clientId);

// All messages that answer `message`, one behind the other: data as often as there is some, then
// one status. A message that cannot be taken apart or lacks an attribute gets status
// InvalidArgument, a type that the daemon does not serve InvalidCommand, a reply over the message
// limit UnknownError and a line on standard error.
std::string answerMessage(Message& message, const UciService& uci);

}  // namespace testbed
