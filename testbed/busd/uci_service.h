// The bus object "uci": answers its method "get" from configuration files of one directory.
#pragma once

#include <libubox/blobmsg.h>

#include <cstddef>
#include <filesystem>
#include <span>
#include <string>
#include <string_view>

#include "testbed/libubus/message.h"
#include "testbed/libubus/status.h"

namespace testbed {

class UciService {
 public:
  static constexpr std::string_view objectPath = "uci";

  struct Reply {
    BusStatus status = BusStatus::Ok;
    std::string members;  // of the reply message; only with status Ok
  };

  // What fits into a message beside its outer word, the object id and the data's own word.
  static constexpr std::size_t maximumReplySize = maximumMessageSize - 4 - 8 - 4;

  explicit UciService(std::filesystem::path configDir) : configDir_(std::move(configDir)) {}

  // Calls a method with the members of its argument table. The file is read anew each time.
  //   MethodNotFound   another method than "get"
  //   InvalidArgument  anything but one string "config" that is a plain file name
  //   NotFound         no such file
  //   UnknownError     not readable, not in UCI syntax, or too long for a message; standard error
  //                    has the file, for syntax its line, and the reason
  Reply call(std::string_view method, std::span<char> arguments) const;

  // The members of the object's signature: the methods with the types of their arguments.
  static std::string signature();

 private:
  Reply get(std::string_view package) const;

  std::filesystem::path configDir_;
};

}  // namespace testbed
