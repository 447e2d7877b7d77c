// The bus's status numbers.
#pragma once

#include <cstdint>

namespace testbed {

enum class BusStatus : std::uint8_t {
  Ok = 0,
  InvalidCommand = 1,
  InvalidArgument = 2,
  MethodNotFound = 3,
  NotFound = 4,
  NoResponse = 5,
  PermissionDenied = 6,
  TimedOut = 7,
  NotSupported = 8,
  UnknownError = 9,
  ConnectionFailed = 10,
  OutOfMemory = 11,
  ParseError = 12,
  SystemError = 13,
};

}  // namespace testbed
