// The text that goes between a test and the program bus_replay, which plays a bus daemon that says
// what the test wrote down and runs a client against it.
//
// One line per case. Its words are what the daemon says, in hexadecimal: the first on connecting,
// each further one when a whole request of the client has arrived. Then the daemon ends its side
// of the connection, unless the last word is "wait": then it keeps silent, and when the request
// before that word has arrived and the client sleeps, the client is killed.
//
// One line of result per case: the client's status as a shell tells it, and its standard error in
// hexadecimal.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "tests/support/wire_bytes.h"

namespace golden {

inline constexpr std::string_view kReplayWait = "wait";

// What a test's daemon says before the configuration. It may say a whole conversation in one go:
// answers carry the number of their request, and requests are numbered from 1.
inline constexpr std::uint32_t kClient = 0x11223344;
inline constexpr std::uint32_t kObject = 0x55667788;
inline std::string objectFound() {
  return wire::found(1, "uci", kObject) + wire::status(1, 0, 0);
}

struct ReplayResult {
  int status = -1;
  std::string err;

  friend bool operator==(const ReplayResult&, const ReplayResult&) = default;
};

std::string toHex(std::string_view bytes);
// Throws std::invalid_argument.
std::string fromHex(std::string_view hex);

// A case's line, newline included. kReplayWait as the last segment stays a word of its own.
std::string replayLine(const std::vector<std::string>& segments);
// A result's line, with or without its newline.
ReplayResult parseReplayResult(std::string_view line);

}  // namespace golden
