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

// The seconds of "second", "minute", "hour" or "day", which may be cut short.
std::optional<std::uint64_t> parseTimeUnit(std::string_view text);

// True for a mask that leaves nothing of an address: whatever stands before it matches everything.
bool isEmptyMask(std::string_view mask);

// What the option tables give a shape besides the text.
struct ShapeLimits {
  std::uint64_t minimum = 0;
  std::uint64_t maximum = 0;
  std::span<const std::string_view> words{};
};

// True when the text has the shape. The limits of each shape are in its comment.
using Shape = bool (*)(std::string_view text, const ShapeLimits& limits, Family family);

// `minimum` to `maximum` characters.
bool isText(std::string_view text, const ShapeLimits& limits, Family family);
// A number from `minimum` to `maximum`.
bool isNumber(std::string_view text, const ShapeLimits& limits, Family family);
// "a" or "a:b" with a <= b; an open end means the smallest or largest number.
bool isNumberRange(std::string_view text, const ShapeLimits& limits, Family family);
// The same with the ends in any order.
bool isUnorderedNumberRange(std::string_view text, const ShapeLimits& limits, Family family);
// "a:b" with a < b, open ends as above.
bool isIncreasingPair(std::string_view text, const ShapeLimits& limits, Family family);
// A value or "value/mask".
bool isNumberSlashNumber(std::string_view text, const ShapeLimits& limits, Family family);
// "p" or "p:q" with p <= q, open ends as above; ports here and below by number or name.
bool isPortRange(std::string_view text, const ShapeLimits& limits, Family family);
bool isUnorderedPortRange(std::string_view text, const ShapeLimits& limits, Family family);
// Ports and ranges "p:q" with p < q by commas; 15 places, of which a range takes two.
bool isPortList(std::string_view text, const ShapeLimits& limits, Family family);
// "p" or "p-q" with p <= q.
bool isDashPortRange(std::string_view text, const ShapeLimits& limits, Family family);
// Six hexadecimal bytes of one or two digits between colons.
bool isMacAddress(std::string_view text, const ShapeLimits& limits, Family family);
// One of `words`: exactly, in any case, or by its first letters in any case.
bool isWord(std::string_view text, const ShapeLimits& limits, Family family);
bool isWordAnyCase(std::string_view text, const ShapeLimits& limits, Family family);
bool isWordPrefix(std::string_view text, const ShapeLimits& limits, Family family);
// Words by commas, by their first letters.
bool isWordPrefixList(std::string_view text, const ShapeLimits& limits, Family family);
// True when the list, written as above, names the word; of words that begin alike the first in
// `words` is meant.
bool namesWord(std::string_view list, std::string_view word,
               std::span<const std::string_view> words);
// Words by commas in any case; empty pieces are passed over.
bool isLooseWordList(std::string_view text, const ShapeLimits& limits, Family family);
// "src" and "dst" by commas, at most six.
bool isSetDirections(std::string_view text, const ShapeLimits& limits, Family family);
// A number, or a number per second, minute, hour or day, of at most 10,000 a second.
bool isRate(std::string_view text, const ShapeLimits& limits, Family family);
// A decimal fraction from 0 to 1.
bool isProbability(std::string_view text, const ShapeLimits& limits, Family family);
// A user or group number, or two of them with "-" or ":" between.
bool isOwnerRange(std::string_view text, const ShapeLimits& limits, Family family);
bool isAddress(std::string_view text, const ShapeLimits& limits, Family family);
// An address, or one with "/length" or "/mask"; before an empty mask any text.
bool isAddressWithMask(std::string_view text, const ShapeLimits& limits, Family family);
bool isAddressRange(std::string_view text, const ShapeLimits& limits, Family family);  // a-b
// Addresses, ports or both: "1.2.3.4-1.2.3.9:80-90", "[fe80::1]:80", ":80".
bool isNatDestination(std::string_view text, const ShapeLimits& limits, Family family);
// A type number, "type/code", or the first letters of exactly one of `words`.
bool isIcmpType(std::string_view text, const ShapeLimits& limits, Family family);

}  // namespace file_tables
