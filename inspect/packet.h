// A packet as the rules can see it, as far as it is described: what it carries, its connection's
// state, and what the sets and the classifier of the router know about it. And what match and
// target texts mean for it.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tavrix::inspect {

// Whatever has no value is not known.
struct Packet {
  std::optional<int> family;  // 4 or 6
  std::optional<std::string> protocol;
  std::optional<std::string> inInterface;
  std::optional<std::string> outInterface;
  std::optional<std::string> source;  // addresses
  std::optional<std::string> destination;
  std::optional<int> sourcePort;
  std::optional<int> destinationPort;
  std::optional<std::string> senderMac;
  // The sets that are known to hold the sender, the destination, the name of the connection's host.
  std::vector<std::string> senderSets;
  std::vector<std::string> destinationSets;
  std::vector<std::string> hostSets;
  // The packet mark, as far as its bits are known.
  std::uint32_t mark = 0;
  std::uint32_t knownMark = 0;
  // Of the connection: its label, empty for none; the mark bit beside the label; whether the packet
  // goes in its original direction; its packets so far, this one included; its class.
  std::optional<std::string> label;
  std::optional<bool> isMarked;
  std::optional<bool> isOriginal;
  std::optional<int> packetsOriginal;
  std::optional<int> packetsReply;
  std::optional<std::string> trafficClass;
  std::optional<std::string> subclass;
  // Match texts of one option, without "!": whether they hold. They come before all of the above.
  std::map<std::string, bool> texts;
};

// A whole number up to a limit, as iptables reads it: hexadecimal after "0x", octal after "0".
std::optional<std::uint32_t> numberIn(std::string_view text, std::uint32_t limit = 0xFFFFFFFF);

// The number of a protocol, which is given as in "-p": by name or number.
std::optional<std::uint32_t> protocolNumber(const std::string& name);

// Whether it is an option "-p" whose protocol has no number.
bool asksForUnknownProtocol(const std::string& option);

// The text of one option, without its "!", and whether it has one.
struct Negatable {
  explicit Negatable(std::string_view option);

  std::string text;
  bool isNegated = false;
};

// Says that the option holds.
void tell(Packet& packet, std::string_view option);

enum class Answer { kNo, kYes, kNotSaid };

// Whether one option of a condition holds for the packet, as the kernel decides it: "-p tcp",
// "-m set ! --match-set macs src".
Answer holds(const Packet& packet, const std::string& option);

// What happens to a packet when it meets a target.
struct Event {
  // In a few words, empty for a target that is not known here:
  //
  //     node N, class mark, label L, label L marked   noted about the connection
  //     count C, add SET, mark V                      counter, blacklist, packet mark
  //     redirect P, reset, reject                     the end of the walk
  std::string words;
  bool isLast;  // the packet leaves the rules
};

// Changes the packet as the target does.
Event meet(Packet& packet, const std::string& target);

// The options of a text of matches, or of matches and a target, each with single blanks: it begins
// with an option of iptables itself, or with the "!" before one.
std::vector<std::string> optionsIn(std::string_view text);

}  // namespace tavrix::inspect
