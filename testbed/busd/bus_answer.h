// What the daemon says: functions from bytes to bytes, without a socket. Stands in for ubusd's part
// of every request and for the service "uci" of rpcd, whose method "get" reads one package. Leaves
// out all other objects and methods, object types and signatures, and access rights.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>

#include "testbed/libubus/message.h"

namespace testbed {

// The greeting that a new client gets.
std::string makeHello(std::uint32_t clientId);

// All messages that answer `question`, one after the other: data if there is some, then one status.
//   InvalidCommand   a message that is neither a lookup nor an invocation
//   InvalidArgument  one that cannot be taken apart or lacks an attribute; arguments other than one
//                    string "config" that is a plain file name
//   NotFound         another object than "uci", or no such file in the directory
//   MethodNotFound   another method than "get"
//   UnknownError     a file that cannot be read, is not in UCI syntax or is too long for a message;
//                    standard error has the file, for syntax its line, and the reason
// The file is read anew for each message.
std::string answerMessage(Message& question, const std::filesystem::path& configDirectory);

}  // namespace testbed
