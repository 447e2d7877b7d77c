#include "testbed/libubus/status.h"

#include <libubus.h>

#include <array>
#include <cstddef>
#include <cstdio>

namespace {

constexpr std::array<const char*, 14> texts = {
    "Success",
    "Invalid command",
    "Invalid argument",
    "Method not found",
    "Not found",
    "No response",
    "Permission denied",
    "Request timed out",
    "Operation not supported",
    "Unknown error",
    "Connection failed",
    "Out of memory",
    "Parsing message data failed",
    "System error",
};

}  // namespace

const char* ubus_strerror(int status) {
  static std::array<char, 32> unknown;
  if (status >= 0 && static_cast<std::size_t>(status) < texts.size()) {
    return texts[static_cast<std::size_t>(status)];
  }
  std::snprintf(unknown.data(), unknown.size(), "Unknown error: %d", status);
  return unknown.data();
}
