#include "tests/policy/statements.h"

#include <algorithm>
#include <fstream>
#include <iterator>
#include <map>
#include <stdexcept>
#include <string_view>

namespace policy {
namespace {

const std::map<std::string, std::vector<Hook>> kHooks = {
    {"mangle PREROUTING", {Hook::kManglePrerouting}},
    {"nat PREROUTING", {Hook::kNatPrerouting}},
    {"filter INPUT", {Hook::kFilterInput}},
    {"filter FORWARD", {Hook::kFilterForward}},
    {"filter INPUT and FORWARD", {Hook::kFilterInput, Hook::kFilterForward}},
    {"the whole way", {Hook::kJourney}},
};

// The parts of a text between separators; none of an empty text.
std::vector<std::string> split(const std::string& text, const std::string& separator) {
  std::vector<std::string> parts;
  for (std::size_t begin = 0; begin < text.size();) {
    const std::size_t end = std::min(text.find(separator, begin), text.size());
    parts.push_back(text.substr(begin, end - begin));
    begin = end + separator.size();
  }
  return parts;
}

// The text before the separator, which is taken away with it; the whole text without one.
std::string takeBefore(std::string& text, const std::string& separator) {
  const std::size_t at = text.find(separator);
  std::string before = text.substr(0, at);
  text = at == std::string::npos ? "" : text.substr(at + separator.size());
  return before;
}

// What is said of a packet: a beginning, and what the value after it means.
struct Word {
  std::string_view beginning;
  void (*tell)(Packet& packet, const std::string& value);
};

constexpr Word kWords[] = {
    {"udp", [](Packet& packet, const std::string&) { packet.protocol = "udp"; }},
    {"icmp", [](Packet& packet, const std::string&) { packet.protocol = "icmp"; }},
    {"gre", [](Packet& packet, const std::string&) { packet.protocol = "gre"; }},
    {"from port ",
     [](Packet& packet, const std::string& port) { packet.sourcePort = std::stoi(port); }},
    {"to port ",
     [](Packet& packet, const std::string& port) { packet.destinationPort = std::stoi(port); }},
    {"from ", [](Packet& packet, const std::string& mac) { packet.senderMac = mac; }},
    {"sender in ",
     [](Packet& packet, const std::string& set) { packet.senderSets.push_back(set); }},
    {"destination in ",
     [](Packet& packet, const std::string& set) { packet.destinationSets.push_back(set); }},
    {"host in ", [](Packet& packet, const std::string& set) { packet.hostSets.push_back(set); }},
    // The packets of the connection so far, by its originator and to it, and the direction of this
    // one.
    {"sent ",
     [](Packet& packet, const std::string& count) { packet.packetsOriginal = std::stoi(count); }},
    {"received ",
     [](Packet& packet, const std::string& count) { packet.packetsReply = std::stoi(count); }},
    {"reply", [](Packet& packet, const std::string&) { packet.original = false; }},
    {"label ", [](Packet& packet, const std::string& label) { packet.label = label; }},
    {"marked", [](Packet& packet, const std::string&) { packet.marked = true; }},
    {"class ", [](Packet& packet, const std::string& name) { packet.trafficClass = name; }},
    {"subclass ", [](Packet& packet, const std::string& name) { packet.subclass = name; }},
};

Packet packetOf(const std::string& description) {
  Packet packet;
  for (const std::string& words : split(description, ", ")) {
    const auto* const word = std::ranges::find_if(
        kWords, [&words](const Word& known) { return words.starts_with(known.beginning); });
    if (word == std::end(kWords)) throw std::runtime_error("not known of a packet: " + words);
    word->tell(packet, words.substr(word->beginning.size()));
  }
  return packet;
}

std::string eventsOn(Family family, std::string events) {
  if (events == "nothing") return "";
  std::ranges::replace(events, '$', family == Family::kV4 ? '4' : '6');
  return events;
}

}  // namespace

std::vector<StatementTable> readStatements(const std::string& file) {
  std::vector<StatementTable> tables;
  std::map<std::string, std::string> households;
  std::string household;
  std::string text;
  std::ifstream in(file);
  for (std::string line; std::getline(in, line);) {
    if (line.empty() || line.starts_with('#')) continue;
    if (line.starts_with("household ")) {
      household = line.substr(10);
    } else if (line.starts_with('\t')) {
      households[household] += line + "\n";
    } else if (line.starts_with("in ")) {
      tables.push_back({line.substr(3), kHooks.at(line.substr(3)), {}});
    } else if (line.starts_with("  ")) {
      std::string rest = line.substr(2);
      std::string who = takeBefore(rest, ":");
      Statement statement;
      statement.text = text;
      const std::string name = takeBefore(who, " (");
      statement.options = households.at(name);
      statement.listed =
          who.empty() ? std::vector<std::string>{"5"} : split(who.substr(0, who.size() - 1), " ");
      const std::string packet = takeBefore(rest, "=> ");
      statement.packet = packetOf(packet.substr(1, packet.find_last_not_of(' ')));
      const std::string happens = takeBefore(rest, ", on IPv6 ");
      statement.happensOnV4 = eventsOn(Family::kV4, happens);
      statement.happensOnV6 = eventsOn(Family::kV6, rest.empty() ? happens : rest);
      tables.back().statements.push_back(statement);
    } else {
      text = line;
    }
  }
  return tables;
}

}  // namespace policy
