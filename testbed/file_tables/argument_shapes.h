// What the arguments of options may look like: numbers, ranges, ports, addresses, word lists.
// One predicate per shape; the option tables (extensions.h) name them.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string_view>

#include "testbed/file_tables/table_layout.h"

namespace file_tables {

// An unsigned number in decimal, octal ("0..") or hexadecimal ("0x..") within the bounds; nothing
// else around it.
std::optional<std::uint64_t> parseNumber(std::string_view text, std::uint64_t minimum,
                                         std::uint64_t maximum);

// A port: a number of 0 to 65535 or one of the common services' names. The real tools know every
// name of the machine's service list; here the list is fixed, so that a test does not depend on
// the machine.
std::optional<std::uint16_t> parsePort(std::string_view text);

// A protocol for "-p" in any case: a number of 0 to 255, a name, or "all" (0).
std::optional<int> parseProtocol(std::string_view text);

// What the option tables give a shape besides the text.
struct ShapeLimits {
  std::uint64_t minimum = 0;
  std::uint64_t maximum = 0;
  std::span<const std::string_view> words{};
};

// True when the text has the shape. The limits of each shape are in its comment.
using Shape = bool (*)(std::string_view text, const ShapeLimits& limits, Family family);

bool isText(std::string_view text, const ShapeLimits& limits, Family family);  // lengths
bool isNumber(std::string_view text, const ShapeLimits& limits, Family family);
bool isNumberRange(std::string_view text, const ShapeLimits& limits, Family family);  // n or a:b
bool isNumberSlashNumber(std::string_view text, const ShapeLimits& limits, Family family);  // v/m
bool isIncreasingPair(std::string_view text, const ShapeLimits& limits, Family family);     // a:b
bool isPortRange(std::string_view text, const ShapeLimits& limits, Family family);      // p, p:q
bool isPortList(std::string_view text, const ShapeLimits& limits, Family family);       // up to 15
bool isDashPortRange(std::string_view text, const ShapeLimits& limits, Family family);  // p, p-q
bool isMacAddress(std::string_view text, const ShapeLimits& limits, Family family);
bool isWord(std::string_view text, const ShapeLimits& limits, Family family);      // of `words`
bool isWordList(std::string_view text, const ShapeLimits& limits, Family family);  // by commas
bool isSetDirections(std::string_view text, const ShapeLimits& limits, Family family);
bool isRate(std::string_view text, const ShapeLimits& limits, Family family);  // n/second
bool isInterfaceName(std::string_view text, const ShapeLimits& limits, Family family);
bool isProbability(std::string_view text, const ShapeLimits& limits, Family family);
bool isAddress(std::string_view text, const ShapeLimits& limits, Family family);
bool isAddressWithMask(std::string_view text, const ShapeLimits& limits, Family family);
bool isAddressRange(std::string_view text, const ShapeLimits& limits, Family family);
bool isNatDestination(std::string_view text, const ShapeLimits& limits, Family family);
bool isIcmpType(std::string_view text, const ShapeLimits& limits, Family family);

}  // namespace file_tables
