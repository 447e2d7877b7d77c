// Short ways to write one line of an option table, shared by the tables of matches and targets.
#pragma once

#include <array>
#include <cstdint>
#include <limits>
#include <span>
#include <string_view>

#include "testbed/file_tables/extensions.h"

namespace file_tables {

constexpr int kIcmp = 1;
constexpr int kTcp = 6;
constexpr int kUdp = 17;
constexpr int kDccp = 33;
constexpr int kIcmpV6 = 58;
constexpr int kSctp = 132;
constexpr int kUdpLite = 136;

constexpr std::uint64_t kMaximum8 = std::numeric_limits<std::uint8_t>::max();
constexpr std::uint64_t kMaximum16 = std::numeric_limits<std::uint16_t>::max();
constexpr std::uint64_t kMaximum32 = std::numeric_limits<std::uint32_t>::max();
constexpr std::uint64_t kMaximum64 = std::numeric_limits<std::uint64_t>::max();

// The names of the "DSCP" match and target.
inline constexpr std::array<std::string_view, 22> kDscpClasses{
    "CS0",  "CS1",  "CS2",  "CS3",  "CS4",  "CS5",  "CS6",  "CS7",  "BE",   "AF11", "AF12",
    "AF13", "AF21", "AF22", "AF23", "AF31", "AF32", "AF33", "AF41", "AF42", "AF43", "EF"};

constexpr OptionRule flagOption(std::string_view name) {
  return {.name = name};
}

constexpr OptionRule shapedOption(std::string_view name, Shape shape) {
  return {.name = name, .shape = shape};
}

// A text of `minimum` characters at least. The real tools cut a text that is too long.
constexpr OptionRule textOption(std::string_view name, std::uint64_t minimum,
                                std::uint64_t maximum = kMaximum64) {
  return {.name = name, .shape = isText, .limits = {minimum, maximum, {}}};
}

constexpr OptionRule numberOption(std::string_view name, std::uint64_t minimum,
                                  std::uint64_t maximum) {
  return {.name = name, .shape = isNumber, .limits = {minimum, maximum, {}}};
}

// A range of numbers within 0 to `maximum`; the shape says in which order.
constexpr OptionRule rangeOption(std::string_view name, Shape shape, std::uint64_t maximum) {
  return {.name = name, .shape = shape, .limits = {0, maximum, {}}};
}

// "value" or "value/mask" of 32 bits.
constexpr OptionRule markOption(std::string_view name) {
  return {.name = name, .shape = isNumberSlashNumber, .limits = {0, kMaximum32, {}}};
}

// The shape says how freely the words may be written.
constexpr OptionRule wordOption(std::string_view name, Shape shape,
                                std::span<const std::string_view> words) {
  return {.name = name, .shape = shape, .limits = {0, 0, words}};
}

// The name of an ipset, then which addresses of the packet to look at.
constexpr OptionRule setOption(std::string_view name) {
  constexpr std::uint64_t kLongestSetName = 31;
  return textOption(name, 1, kLongestSetName).followedBy(isSetDirections);
}

}  // namespace file_tables
