// The table of short words, and their values.
#include "inspect/packet_words.h"

#include <arpa/inet.h>
#include <netinet/ether.h>

#include <algorithm>
#include <array>
#include <optional>
#include <string>

#include "ipt_compiler/rule_parser.h"

namespace tavrix::inspect {
namespace {

bool setProtocol(Packet& packet, std::string_view value) {
  packet.protocol = value;
  return protocolNumber(*packet.protocol).has_value();
}

bool setPort(std::optional<int>& port, std::string_view value) {
  const auto number = numberIn(value, 65535);
  if (number) port = static_cast<int>(*number);
  return number.has_value();
}

bool setFamily(Packet& packet, std::string_view value) {
  const bool is4 = value == "ipv4" || value == "4";
  packet.family = is4 ? 4 : 6;
  return is4 || value == "ipv6" || value == "6";
}

// Of an IPv4 or IPv6 address; 0 for another text.
int familyOf(const std::string& address) {
  std::array<unsigned char, 16> bytes{};
  if (inet_pton(AF_INET, address.c_str(), bytes.data()) == 1) return 4;
  return inet_pton(AF_INET6, address.c_str(), bytes.data()) == 1 ? 6 : 0;
}

// An address says the family, too.
template <std::optional<std::string> Packet::*Member>
bool setAddress(Packet& packet, std::string_view value) {
  packet.*Member = value;
  const int family = familyOf(std::string(value));
  if (!packet.family && family != 0) packet.family = family;
  return packet.family == family;
}

bool setMac(Packet& packet, std::string_view value) {
  packet.senderMac = value;
  return ether_aton(packet.senderMac->c_str()) != nullptr;
}

bool setMark(Packet& packet, std::string_view value) {
  const auto number = numberIn(value);
  packet.mark = number.value_or(0);
  packet.knownMark = 0xFFFFFFFF;
  return number.has_value();
}

// "LABEL", "LABEL/0x1" with the mark bit beside it, "LABEL/0x0" without.
bool setLabel(Packet& packet, std::string_view value) {
  const std::size_t slash = value.find('/');
  packet.label = value.substr(0, slash);
  if (slash == std::string_view::npos) return true;
  const auto bit = numberIn(value.substr(slash + 1), 1);
  packet.isMarked = bit == 1;
  return bit.has_value();
}

bool addSet(Packet& packet, std::string_view value) {
  for (auto* sets : {&packet.senderSets, &packet.destinationSets, &packet.hostSets}) {
    sets->emplace_back(value);
  }
  return !value.empty();
}

struct Word {
  std::string_view name;
  bool (*set)(Packet& packet, std::string_view value);  // whether it is a value for the word
};

template <std::optional<std::string> Packet::*Member>
bool setText(Packet& packet, std::string_view value) {
  packet.*Member = value;
  return !value.empty();
}

// The empty value stands for none.
template <std::optional<std::string> Packet::*Member>
bool setTextOrNone(Packet& packet, std::string_view value) {
  packet.*Member = value;
  return true;
}

constexpr std::array kWords = {
    Word{"family", setFamily},
    Word{"proto", setProtocol},
    Word{"in", setText<&Packet::inInterface>},
    Word{"out", setText<&Packet::outInterface>},
    Word{"src", setAddress<&Packet::source>},
    Word{"dst", setAddress<&Packet::destination>},
    Word{"sport", [](Packet& packet, auto value) { return setPort(packet.sourcePort, value); }},
    Word{"dport",
         [](Packet& packet, auto value) { return setPort(packet.destinationPort, value); }},
    Word{"mac", setMac},
    Word{"mark", setMark},
    Word{"label", setLabel},
    Word{"class", setTextOrNone<&Packet::trafficClass>},
    Word{"subclass", setTextOrNone<&Packet::subclass>},
    Word{"set", addSet},
};

void readText(Packet& packet, std::string_view text) {
  try {
    parseMatches(text, "", 0);
  } catch (const IptCompileFailed&) {
    throw WrongWord('"' + std::string(text) + "\" is no match text" +
                    (text.starts_with("--") ? "; options stand before the table" : ""));
  }
  for (const std::string& option : optionsIn(text)) {
    if (asksForUnknownProtocol(option)) {
      throw WrongWord('"' + std::string(text) + "\" asks for a protocol that is not known");
    }
    tell(packet, option);
  }
}

}  // namespace

Packet readPacket(std::span<const std::string_view> words) {
  Packet packet;
  for (const std::string_view given : words) {
    if (given.starts_with('-') || given.starts_with('!')) {
      readText(packet, given);
      continue;
    }
    const std::size_t equals = std::min(given.find('='), given.size());
    const auto* const word = std::ranges::find(kWords, given.substr(0, equals), &Word::name);
    if (word == kWords.end() || equals == given.size()) {
      throw WrongWord(
          '"' + std::string(given) +
          R"(" is neither a match text nor one of the short words with "=" and a value; try --help)");
    }
    if (!word->set(packet, given.substr(equals + 1))) {
      throw WrongWord('"' + std::string(given) + "\" has no value that fits");
    }
  }
  return packet;
}

}  // namespace tavrix::inspect
