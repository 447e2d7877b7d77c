#include "tests/golden/bus_replay.h"

#include <charconv>
#include <stdexcept>

namespace golden {

std::string toHex(std::string_view bytes) {
  constexpr std::string_view digits = "0123456789abcdef";
  std::string hex = "x";  // an empty segment is a word too
  for (const char byte : bytes) {
    hex += digits[static_cast<unsigned char>(byte) >> 4];
    hex += digits[static_cast<unsigned char>(byte) & 15];
  }
  return hex;
}

std::string fromHex(std::string_view hex) {
  if (hex.size() % 2 != 1 || hex.front() != 'x') throw std::invalid_argument("not hexadecimal");
  std::string bytes;
  for (std::size_t i = 1; i < hex.size(); i += 2) {
    unsigned int value = 0;
    const char* const end = hex.data() + i + 2;
    if (std::from_chars(hex.data() + i, end, value, 16).ptr != end) {
      throw std::invalid_argument("not hexadecimal");
    }
    bytes += static_cast<char>(value);
  }
  return bytes;
}

std::string replayLine(const std::vector<std::string>& segments) {
  std::string line;
  for (const std::string& segment : segments) {
    if (!line.empty()) line += ' ';
    line += segment == kReplayWait ? segment : toHex(segment);
  }
  return line + "\n";
}

ReplayResult parseReplayResult(std::string_view line) {
  if (line.ends_with('\n')) line.remove_suffix(1);
  const std::size_t blank = line.find(' ');
  if (blank == std::string_view::npos) {
    throw std::invalid_argument("no result of bus_replay: " + std::string(line));
  }
  return {std::stoi(std::string(line.substr(0, blank))), fromHex(line.substr(blank + 1))};
}

}  // namespace golden
