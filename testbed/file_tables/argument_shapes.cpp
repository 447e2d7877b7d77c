// The predicates, each a walk over a view.
#include "testbed/file_tables/argument_shapes.h"

#include <arpa/inet.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <charconv>
#include <string>
#include <tuple>
#include <utility>

namespace file_tables {
namespace {

constexpr std::array<std::pair<std::string_view, std::uint16_t>, 20> kServices{
    {{"ftp", 21},     {"ssh", 22},     {"telnet", 23}, {"smtp", 25},   {"domain", 53},
     {"bootps", 67},  {"bootpc", 68},  {"tftp", 69},   {"http", 80},   {"pop3", 110},
     {"sunrpc", 111}, {"ntp", 123},    {"imap2", 143}, {"snmp", 161},  {"https", 443},
     {"isakmp", 500}, {"syslog", 514}, {"imaps", 993}, {"pop3s", 995}, {"openvpn", 1194}}};

constexpr std::array<std::pair<std::string_view, int>, 24> kProtocols{
    {{"all", 0},         {"ip", 0},    {"hopopt", 0},    {"icmp", 1},     {"igmp", 2},
     {"ipencap", 4},     {"tcp", 6},   {"udp", 17},      {"dccp", 33},    {"ipv6", 41},
     {"gre", 47},        {"esp", 50},  {"ah", 51},       {"icmpv6", 58},  {"ipv6-icmp", 58},
     {"ipv6-nonxt", 59}, {"ospf", 89}, {"ipcomp", 108},  {"vrrp", 112},   {"l2tp", 115},
     {"sctp", 132},      {"mh", 135},  {"ipv6-mh", 135}, {"udplite", 136}}};

bool isHexDigit(char character) {
  return std::isxdigit(static_cast<unsigned char>(character)) != 0;
}

char lowerCase(char character) {
  return static_cast<char>(std::tolower(static_cast<unsigned char>(character)));
}

// True when `word` begins with `text`, whatever the case.
bool beginsWith(std::string_view word, std::string_view text) {
  return text.size() <= word.size() &&
         std::equal(text.begin(), text.end(), word.begin(),
                    [](char left, char right) { return lowerCase(left) == lowerCase(right); });
}

// Cuts the text at the first separator. The second part is absent when there is none.
std::pair<std::string_view, std::optional<std::string_view>> cut(std::string_view text,
                                                                 char separator) {
  const std::size_t position = text.find(separator);
  if (position == std::string_view::npos) {
    return {text, std::nullopt};
  }
  return {text.substr(0, position), text.substr(position + 1)};
}

// True when every piece between commas passes; empty pieces are handed over too.
template <typename Predicate>
bool everyPiece(std::string_view text, Predicate passes, std::size_t most) {
  std::size_t count = 0;
  std::optional<std::string_view> rest = text;
  while (rest) {
    std::string_view piece;
    std::tie(piece, rest) = cut(*rest, ',');
    if (!passes(piece) || ++count > most) {
      return false;
    }
  }
  return true;
}

bool isIpv4Address(std::string_view text) {
  // inet_aton takes "10.0" and hexadecimal parts as the real tools do, but also trailing text.
  const bool plain = std::all_of(text.begin(), text.end(), [](char character) {
    return isHexDigit(character) || character == '.' || character == 'x' || character == 'X';
  });
  in_addr address{};
  return plain && !text.empty() && inet_aton(std::string(text).c_str(), &address) != 0;
}

// An address in its whole form: "10.0" is none.
bool isFullAddress(std::string_view text, Family family) {
  in6_addr address{};
  return inet_pton(family == Family::Ipv4 ? AF_INET : AF_INET6, std::string(text).c_str(),
                   &address) == 1;
}

}  // namespace

std::optional<std::uint64_t> parseNumber(std::string_view text, std::uint64_t minimum,
                                         std::uint64_t maximum) {
  int base = 10;
  if (text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X')) {
    base = 16;
    text.remove_prefix(2);
  } else if (text.size() > 1 && text[0] == '0') {
    base = 8;
  }
  std::uint64_t value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value, base);
  if (error != std::errc() || end != text.data() + text.size() || value < minimum ||
      value > maximum) {
    return std::nullopt;
  }
  return value;
}

std::optional<std::uint16_t> parsePort(std::string_view text) {
  if (const auto number = parseNumber(text, 0, 65535)) {
    return static_cast<std::uint16_t>(*number);
  }
  for (const auto& [name, port] : kServices) {
    if (name == text) {
      return port;
    }
  }
  return std::nullopt;
}

std::optional<int> parseProtocol(std::string_view text) {
  if (const auto number = parseNumber(text, 0, 255)) {
    return static_cast<int>(*number);
  }
  std::string lower(text);
  std::transform(lower.begin(), lower.end(), lower.begin(), lowerCase);
  for (const auto& [name, number] : kProtocols) {
    if (name == lower) {
      return number;
    }
  }
  return std::nullopt;
}

namespace {

// The two ends of "a:b"; "a" alone has two equal ends, an open end is the given limit.
template <typename Parse, typename Number>
std::optional<std::pair<Number, Number>> parseEnds(std::string_view text, Parse parse,
                                                   Number lowest, Number highest) {
  const auto [first, second] = cut(text, ':');
  const std::optional<Number> low = second && first.empty() ? lowest : parse(first);
  const std::optional<Number> high = !second ? low : second->empty() ? highest : parse(*second);
  if (!low || !high) {
    return std::nullopt;
  }
  return std::pair(*low, *high);
}

std::optional<std::pair<std::uint64_t, std::uint64_t>> parseRange(std::string_view text,
                                                                  const ShapeLimits& limits) {
  const auto parse = [&](std::string_view number) {
    return parseNumber(number, limits.minimum, limits.maximum);
  };
  return parseEnds(text, parse, limits.minimum, limits.maximum);
}

std::optional<std::pair<std::uint16_t, std::uint16_t>> parsePortRange(std::string_view text) {
  return parseEnds(text, parsePort, std::uint16_t{0}, std::uint16_t{65535});
}

}  // namespace

std::optional<std::uint64_t> parseTimeUnit(std::string_view text) {
  constexpr std::array<std::pair<std::string_view, std::uint64_t>, 4> kUnits{
      {{"second", 1}, {"minute", 60}, {"hour", 3600}, {"day", 86400}}};
  for (const auto& [name, seconds] : kUnits) {
    if (!text.empty() && beginsWith(name, text)) {
      return seconds;
    }
  }
  return std::nullopt;
}

bool isEmptyMask(std::string_view mask) {
  return mask == "0" || mask == "0.0.0.0" || mask == "::";
}

bool isText(std::string_view text, const ShapeLimits& limits, Family) {
  return text.size() >= limits.minimum && text.size() <= limits.maximum;
}

bool isNumber(std::string_view text, const ShapeLimits& limits, Family) {
  return parseNumber(text, limits.minimum, limits.maximum).has_value();
}

bool isNumberRange(std::string_view text, const ShapeLimits& limits, Family) {
  const auto range = parseRange(text, limits);
  return range && range->first <= range->second;
}

bool isUnorderedNumberRange(std::string_view text, const ShapeLimits& limits, Family) {
  return parseRange(text, limits).has_value();
}

bool isIncreasingPair(std::string_view text, const ShapeLimits& limits, Family) {
  const auto range = parseRange(text, limits);
  return range && text.find(':') != std::string_view::npos && range->first < range->second;
}

bool isNumberSlashNumber(std::string_view text, const ShapeLimits& limits, Family) {
  const auto [value, mask] = cut(text, '/');
  return parseNumber(value, limits.minimum, limits.maximum) &&
         (!mask || parseNumber(*mask, limits.minimum, limits.maximum));
}

bool isPortRange(std::string_view text, const ShapeLimits&, Family) {
  const auto range = parsePortRange(text);
  return range && range->first <= range->second;
}

bool isUnorderedPortRange(std::string_view text, const ShapeLimits&, Family) {
  return parsePortRange(text).has_value();
}

bool isPortList(std::string_view text, const ShapeLimits&, Family) {
  constexpr std::size_t kSlots = 15;
  std::size_t slots = 0;  // a range takes two
  return everyPiece(
             text,
             [&](std::string_view piece) {
               const auto [first, second] = cut(piece, ':');
               slots += second ? 2U : 1U;
               const auto low = parsePort(first);
               const auto high = second ? parsePort(*second) : low;
               return low && high && (!second || *low < *high);
             },
             kSlots) &&
         slots <= kSlots;
}

bool isDashPortRange(std::string_view text, const ShapeLimits&, Family) {
  const auto [first, second] = cut(text, '-');
  const auto low = parsePort(first);
  const auto high = second ? parsePort(*second) : low;
  return low && high && *low <= *high;
}

bool isMacAddress(std::string_view text, const ShapeLimits&, Family) {
  std::size_t parts = 0;
  std::optional<std::string_view> rest = text;
  while (rest) {
    std::string_view part;
    std::tie(part, rest) = cut(*rest, ':');
    const bool isByte =
        !part.empty() && part.size() <= 2 && std::all_of(part.begin(), part.end(), isHexDigit);
    if (!isByte || ++parts > 6) {
      return false;
    }
  }
  return parts == 6;
}

bool isWord(std::string_view text, const ShapeLimits& limits, Family) {
  return std::find(limits.words.begin(), limits.words.end(), text) != limits.words.end();
}

bool isWordAnyCase(std::string_view text, const ShapeLimits& limits, Family) {
  return std::any_of(limits.words.begin(), limits.words.end(), [&](std::string_view word) {
    return word.size() == text.size() && beginsWith(word, text);
  });
}

bool isWordPrefix(std::string_view text, const ShapeLimits& limits, Family) {
  return !text.empty() &&
         std::any_of(limits.words.begin(), limits.words.end(),
                     [&](std::string_view word) { return beginsWith(word, text); });
}

bool isWordPrefixList(std::string_view text, const ShapeLimits& limits, Family family) {
  return everyPiece(
      text, [&](std::string_view piece) { return isWordPrefix(piece, limits, family); },
      text.size() + 1);
}

bool namesWord(std::string_view list, std::string_view word,
               std::span<const std::string_view> words) {
  const auto meansOther = [&](std::string_view piece) {
    const auto meant = std::find_if(words.begin(), words.end(), [&](std::string_view candidate) {
      return beginsWith(candidate, piece);
    });
    return meant == words.end() || *meant != word;
  };
  return !everyPiece(list, meansOther, list.size() + 1);
}

bool isLooseWordList(std::string_view text, const ShapeLimits& limits, Family family) {
  return everyPiece(
      text,
      [&](std::string_view piece) { return piece.empty() || isWordAnyCase(piece, limits, family); },
      text.size() + 1);
}

bool isSetDirections(std::string_view text, const ShapeLimits&, Family) {
  constexpr std::size_t kMostDimensions = 6;
  return everyPiece(
      text, [](std::string_view piece) { return piece == "src" || piece == "dst"; },
      kMostDimensions);
}

bool isRate(std::string_view text, const ShapeLimits&, Family) {
  constexpr std::uint64_t kMostPerSecond = 10000;
  const auto [number, unit] = cut(text, '/');
  if (!unit) {
    return parseNumber(number, 1, kMostPerSecond).has_value();
  }
  const auto seconds = parseTimeUnit(*unit);
  return seconds && parseNumber(number, 1, kMostPerSecond * *seconds);
}

bool isProbability(std::string_view text, const ShapeLimits&, Family) {
  double value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  return error == std::errc() && end == text.data() + text.size() && value >= 0 && value <= 1;
}

bool isOwnerRange(std::string_view text, const ShapeLimits&, Family) {
  constexpr std::uint64_t kHighest = 0xFFFFFFFE;
  const std::size_t separator = text.find_first_of("-:");
  const auto low = parseNumber(text.substr(0, separator), 0, kHighest);
  const auto high = separator == std::string_view::npos
                        ? low
                        : parseNumber(text.substr(separator + 1), 0, kHighest);
  return low && high && *low <= *high;
}

bool isAddress(std::string_view text, const ShapeLimits&, Family family) {
  return family == Family::Ipv4 ? isIpv4Address(text) : isFullAddress(text, family);
}

bool isAddressWithMask(std::string_view text, const ShapeLimits& limits, Family family) {
  const auto [address, mask] = cut(text, '/');
  if (!mask) {
    return isAddress(address, limits, family);
  }
  if (isEmptyMask(*mask)) {
    return true;
  }
  const std::uint64_t longest = family == Family::Ipv4 ? 32 : 128;
  return isAddress(address, limits, family) &&
         (parseNumber(*mask, 0, longest) || isFullAddress(*mask, family));
}

bool isAddressRange(std::string_view text, const ShapeLimits& limits, Family family) {
  const auto [first, second] = cut(text, '-');
  return isAddress(first, limits, family) && (!second || isAddress(*second, limits, family));
}

bool isNatDestination(std::string_view text, const ShapeLimits& limits, Family family) {
  // IPv6 addresses stand in brackets when a port follows.
  std::string_view addresses = text;
  std::optional<std::string_view> ports;
  if (family == Family::Ipv4) {
    std::tie(addresses, ports) = cut(text, ':');
  } else if (text.starts_with(':') && isDashPortRange(text.substr(1), limits, family)) {
    return true;
  } else if (text.starts_with('[')) {
    const std::size_t end = text.find(']');
    if (end == std::string_view::npos) {
      return false;
    }
    addresses = text.substr(1, end - 1);
    const std::string_view after = text.substr(end + 1);
    if (!after.empty() && after[0] != ':') {
      return false;
    }
    ports = after.empty() ? std::nullopt : std::optional(after.substr(1));
  }
  return (addresses.empty() ? ports.has_value() : isAddressRange(addresses, limits, family)) &&
         (!ports || isDashPortRange(*ports, limits, family));
}

bool isIcmpType(std::string_view text, const ShapeLimits& limits, Family) {
  const auto [type, code] = cut(text, '/');
  if (parseNumber(type, 0, 255)) {
    return !code || parseNumber(*code, 0, 255);
  }
  return !text.empty() &&
         std::count_if(limits.words.begin(), limits.words.end(),
                       [&](std::string_view word) { return beginsWith(word, text); }) == 1;
}

}  // namespace file_tables
