// The meaning of the options that the rule sets and usual configurations have.
#include "inspect/packet.h"

#include <arpa/inet.h>
#include <netdb.h>
#include <strings.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdlib>
#include <sstream>
#include <utility>

#include "ipt_compiler/tokenizer.h"

namespace tavrix::inspect {
namespace {

// The options of iptables itself that a rule may have.
constexpr std::string_view kLetters = "46psdiofcmjg";
constexpr std::array<std::string_view, 12> kNames = {
    "ipv4",          "ipv6",     "protocol",     "source", "destination", "in-interface",
    "out-interface", "fragment", "set-counters", "match",  "jump",        "goto"};

bool isOptionWord(std::string_view word) {
  if (word.starts_with("--")) return std::ranges::find(kNames, word.substr(2)) != kNames.end();
  return word.size() == 2 && word[0] == '-' && kLetters.find(word[1]) != std::string_view::npos;
}

Answer answer(bool isYes) {
  return isYes ? Answer::kYes : Answer::kNo;
}

Answer negated(Answer given, bool isNegated) {
  return isNegated && given != Answer::kNotSaid ? answer(given == Answer::kNo) : given;
}

template <class Value>
Answer equals(const std::optional<Value>& known, const Value& asked) {
  return known ? answer(*known == asked) : Answer::kNotSaid;
}

bool isAmong(const std::vector<std::string>& names, const std::string& name) {
  return std::ranges::find(names, name) != names.end();
}

// What is not known to be in a set may be in it all the same.
Answer isIn(const std::vector<std::string>& sets, const std::string& set) {
  return isAmong(sets, set) ? Answer::kYes : Answer::kNotSaid;
}

// An option taken apart: "-m set ! --match-set a src" is the module "set" with the option
// "--match-set", negated, of value "a src". An option without a module has its word and its value;
// whether that is negated is not kept.
struct Taken {
  struct Argument {
    bool isNegated = false;
    std::string value;
  };

  explicit Taken(const std::string& option) {
    std::istringstream in(option);
    std::string first;
    in >> first;
    if (first == "!") in >> first;
    word = first;
    if (first == "-m" || first == "--match") {
      word = "-m";
      in >> module;
    }
    bool negatesNext = false;
    Argument* argument = &own;
    for (std::string next; in >> next;) {
      if (next == "!") {
        negatesNext = true;
      } else if (next.starts_with("--")) {
        argument = &arguments[next];
        argument->isNegated = std::exchange(negatesNext, false);
      } else {
        argument->value += (argument->value.empty() ? "" : " ") + next;
      }
    }
  }

  // Whether it is the module with exactly these options.
  bool is(std::string_view name, std::vector<std::string> names) const {
    std::ranges::sort(names);
    return module == name && std::ranges::equal(names, arguments, {}, {},
                                                [](const auto& entry) { return entry.first; });
  }
  bool asksForProtocol() const { return word == "-p" || word == "--protocol"; }
  const Argument& at(const std::string& name) const { return arguments.at(name); }
  const std::string& value(const std::string& name) const { return arguments.at(name).value; }

  std::string word;
  std::string module;
  Argument own;  // of an option without a module
  std::map<std::string, Argument> arguments;
};

// "VALUE" or "VALUE/MASK".
struct Masked {
  std::uint32_t value;
  std::uint32_t mask;
};

std::optional<Masked> maskedIn(std::string_view text) {
  const std::size_t slash = text.find('/');
  const auto value = numberIn(text.substr(0, slash));
  const auto mask =
      slash == std::string_view::npos ? 0xFFFFFFFFU : numberIn(text.substr(slash + 1));
  if (!value || !mask) return std::nullopt;
  return Masked{*value, *mask};
}

Answer isOfProtocol(const Packet& packet, const std::string& asked) {
  const auto number = protocolNumber(asked);
  if (number == 0U) return Answer::kYes;
  if (!packet.protocol) return Answer::kNotSaid;
  return answer(*packet.protocol == asked ||
                (number && protocolNumber(*packet.protocol) == number));
}

// "+" at the end stands for any further characters.
Answer isInterface(const std::optional<std::string>& known, const std::string& asked) {
  if (!known) return Answer::kNotSaid;
  if (!asked.ends_with('+')) return answer(*known == asked);
  return answer(known->starts_with(asked.substr(0, asked.size() - 1)));
}

// An address in network order, and how many bytes it has; none for another text.
struct Address {
  std::array<unsigned char, 16> bytes{};
  std::size_t size = 0;
};

Address addressIn(const std::string& text) {
  Address address;
  if (inet_pton(AF_INET, text.c_str(), address.bytes.data()) == 1) {
    address.size = 4;
  } else if (inet_pton(AF_INET6, text.c_str(), address.bytes.data()) == 1) {
    address.size = 16;
  }
  return address;
}

// "ADDRESS" or "ADDRESS/BITS". Names, lists and masks of other forms are not known here.
Answer isAddress(const std::optional<std::string>& known, const std::string& asked) {
  if (!known) return Answer::kNotSaid;
  const std::size_t slash = asked.find('/');
  const Address network = addressIn(asked.substr(0, slash));
  const Address address = addressIn(*known);
  const auto bits = slash == std::string::npos ? static_cast<std::uint32_t>(network.size * 8)
                                               : numberIn(asked.substr(slash + 1));
  if (network.size == 0 || address.size == 0 || !bits || *bits > network.size * 8) {
    return Answer::kNotSaid;
  }
  if (network.size != address.size) return Answer::kNo;
  for (std::size_t bit = 0; bit < *bits; ++bit) {
    const unsigned differs = network.bytes[bit / 8] ^ address.bytes[bit / 8];
    if (((differs >> (7 - bit % 8)) & 1U) != 0) return Answer::kNo;
  }
  return Answer::kYes;
}

// Whether a port is one of "P,Q:R,...".
Answer isPort(const std::optional<int>& known, const std::string& asked) {
  if (!known) return Answer::kNotSaid;
  std::istringstream ranges(asked);
  for (std::string range; std::getline(ranges, range, ',');) {
    const std::size_t colon = range.find(':');
    const auto low = numberIn(range.substr(0, colon));
    const auto high = colon == std::string::npos ? low : numberIn(range.substr(colon + 1));
    if (!low || !high) return Answer::kNotSaid;
    const auto port = static_cast<std::uint32_t>(*known);
    if (port >= *low && port <= *high) return Answer::kYes;
  }
  return Answer::kNo;
}

Answer either(Answer one, Answer other) {
  if (one == Answer::kYes || other == Answer::kYes) return Answer::kYes;
  return one == Answer::kNo && other == Answer::kNo ? Answer::kNo : Answer::kNotSaid;
}

// The "!" turns the whole round: that of "--ports" holds if neither side has the port.
Answer hasPort(const Packet& packet, const Taken& match) {
  const auto& [name, ports] = *match.arguments.begin();
  const Answer source = isPort(packet.sourcePort, ports.value);
  const Answer destination = isPort(packet.destinationPort, ports.value);
  const bool isSource = name == "--sport" || name == "--sports";
  const bool isDestination = name == "--dport" || name == "--dports";
  const Answer any = isSource ? source : isDestination ? destination : either(source, destination);
  return negated(any, ports.isNegated);
}

Answer hasPackets(const Packet& packet, const Taken& match) {
  const std::string& direction = match.value("--connbytes-dir");
  const bool isOfBoth = direction == "both";
  const auto least = numberIn(match.value("--connbytes"));
  if ((!isOfBoth && direction != "original") || match.value("--connbytes-mode") != "packets" ||
      !least || !packet.packetsOriginal || (isOfBoth && !packet.packetsReply)) {
    return Answer::kNotSaid;
  }
  const int count = *packet.packetsOriginal + (isOfBoth ? *packet.packetsReply : 0);
  return negated(answer(static_cast<std::uint32_t>(count) >= *least),
                 match.at("--connbytes").isNegated);
}

Answer hasMark(const Packet& packet, const Taken::Argument& argument) {
  const auto asked = maskedIn(argument.value);
  if (!asked) return Answer::kNotSaid;
  const bool differs = ((packet.mark ^ asked->value) & packet.knownMark & asked->mask) != 0 ||
                       (asked->value & ~asked->mask) != 0;
  if (differs) return answer(argument.isNegated);
  const bool isKnown = (asked->mask & ~packet.knownMark) == 0;
  return isKnown ? answer(!argument.isNegated) : Answer::kNotSaid;
}

Answer hasLabel(const Packet& packet, const Taken& match) {
  const Taken::Argument& asked = match.at("--label");
  const Answer label = equals(packet.label, asked.value);
  if (!match.arguments.contains("--mark")) return negated(label, asked.isNegated);
  if (match.value("--mark") != "0x1") return Answer::kNotSaid;
  const Answer marked = equals(packet.isMarked, true);
  if (label == Answer::kNo || marked == Answer::kNo) return answer(asked.isNegated);
  const bool isYes = label == Answer::kYes && marked == Answer::kYes;
  return isYes ? answer(!asked.isNegated) : Answer::kNotSaid;
}

Answer isInSet(const Packet& packet, const Taken& match) {
  std::istringstream in(match.value("--match-set"));
  std::string name;
  std::string side;
  in >> name >> side;
  if (side != "src" && side != "dst") return Answer::kNotSaid;
  return negated(isIn(side == "src" ? packet.senderSets : packet.destinationSets, name),
                 match.at("--match-set").isNegated);
}

Answer holdsByModule(const Packet& packet, const Taken& match) {
  if (match.is("comment", {"--comment"})) return Answer::kYes;
  if (match.is("set", {"--match-set"})) return isInSet(packet, match);
  if (match.is("mac", {"--mac-source"})) {
    const Taken::Argument& mac = match.at("--mac-source");
    if (!packet.senderMac) return Answer::kNotSaid;
    const bool isIt = strcasecmp(packet.senderMac->c_str(), mac.value.c_str()) == 0;
    return negated(answer(isIt), mac.isNegated);
  }
  for (const char* const module : {"tcp", "udp"}) {
    if (!match.is(module, {"--dport"}) && !match.is(module, {"--sport"})) continue;
    const Answer protocol = isOfProtocol(packet, module);
    return protocol == Answer::kNo ? protocol : hasPort(packet, match);
  }
  for (const char* const ports : {"--ports", "--sports", "--dports"}) {
    if (match.is("multiport", {ports})) return hasPort(packet, match);
  }
  if (match.is("connbytes", {"--connbytes", "--connbytes-dir", "--connbytes-mode"})) {
    return hasPackets(packet, match);
  }
  if (match.is("conntrack", {"--ctdir"})) {
    return equals(packet.isOriginal, match.value("--ctdir") == "ORIGINAL");
  }
  if (match.is("mark", {"--mark"})) return hasMark(packet, match.at("--mark"));
  if (match.is("tavrix-xthostset", {"--set-name"})) {
    return isIn(packet.hostSets, match.value("--set-name"));
  }
  if (match.is("tavrix-conndurvan", {"--class"})) {
    return equals(packet.trafficClass, match.value("--class"));
  }
  if (match.is("tavrix-conndurvan", {"--invert", "--subclass"})) {
    return negated(equals(packet.subclass, match.value("--subclass")), true);
  }
  if (match.is("tavrix-connlabel", {"--label"}) ||
      match.is("tavrix-connlabel", {"--label", "--mark"})) {
    return hasLabel(packet, match);
  }
  return Answer::kNotSaid;
}

Answer holdsByItself(const Packet& packet, const Taken& match) {
  const std::string& word = match.word;
  const std::string& value = match.own.value;
  if (match.asksForProtocol()) return isOfProtocol(packet, value);
  if (word == "-i" || word == "--in-interface") return isInterface(packet.inInterface, value);
  if (word == "-o" || word == "--out-interface") return isInterface(packet.outInterface, value);
  if (word == "-s" || word == "--source") return isAddress(packet.source, value);
  if (word == "-d" || word == "--destination") return isAddress(packet.destination, value);
  return Answer::kNotSaid;
}

// "-p udp --dport 53" has options of the protocol's module.
Answer holdsByBoth(const Packet& packet, Taken match) {
  if (!match.asksForProtocol()) return Answer::kNotSaid;
  match.module = match.own.value;
  const Answer protocol = isOfProtocol(packet, match.module);
  return protocol == Answer::kYes ? holdsByModule(packet, match) : protocol;
}

// What is told of a packet by texts of this module is no longer true.
void forget(Packet& packet, std::string_view module) {
  std::erase_if(packet.texts, [&](const auto& told) { return Taken(told.first).module == module; });
}

// A match module that is there for what it does.
Event meetModule(Packet& packet, const Taken& module) {
  if (module.is("tavrix-xtcounter", {"--inc"})) return {"count " + module.value("--inc"), false};
  if (module.is("tavrix-connstat", {"--set", "--stat-node"})) {
    return {"node " + module.value("--stat-node"), false};
  }
  if (module.is("tavrix-conndurvan", {"--mark"})) return {"class mark", false};
  const bool isMarked = module.is("tavrix-connlabel", {"--set", "--mark", "--label"});
  if (isMarked || module.is("tavrix-connlabel", {"--set", "--label"})) {
    forget(packet, "tavrix-connlabel");
    packet.label = module.value("--label");
    packet.isMarked = isMarked;
    return {"label " + *packet.label + (isMarked ? " marked" : ""), false};
  }
  return {"", false};
}

Event meetMark(Packet& packet, const Taken& target) {
  const auto& [name, argument] = *target.arguments.begin();
  auto change = maskedIn(argument.value);
  if (!change) return {"", false};
  // All are forms of "--set-xmark", which takes the bits of the mask away and turns those of the
  // value round.
  if (name == "--set-mark") change->mask |= change->value;
  if (name == "--or-mark") change->mask = change->value;
  if (name == "--and-mark") change = {0, ~change->value};
  if (name == "--xor-mark") change->mask = 0;
  forget(packet, "mark");
  packet.mark = (packet.mark & ~change->mask) ^ change->value;
  packet.knownMark |= change->mask;
  return {"mark " + argument.value, false};
}

constexpr std::array<std::string_view, 13> kLastTargets = {
    "ACCEPT", "DROP",       "REJECT", "REDIRECT", "NFQUEUE", "QUEUE",   "DNAT",
    "SNAT",   "MASQUERADE", "TPROXY", "RETURN",   "NETMAP",  "SYNPROXY"};

}  // namespace

std::optional<std::uint32_t> numberIn(std::string_view text, std::uint32_t limit) {
  const bool isHex = text.starts_with("0x");
  if (isHex) text.remove_prefix(2);
  const int base = isHex ? 16 : text.size() > 1 && text.starts_with('0') ? 8 : 10;
  std::uint32_t number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number, base);
  const bool isWhole = error == std::errc() && end == text.data() + text.size();
  return isWhole && number <= limit ? std::optional(number) : std::nullopt;
}

// What iptables knows by itself comes first: not every system has it in its table.
std::optional<std::uint32_t> protocolNumber(const std::string& name) {
  constexpr std::array<std::pair<std::string_view, std::uint32_t>, 8> kKnown = {{{"all", 0},
                                                                                 {"icmp", 1},
                                                                                 {"tcp", 6},
                                                                                 {"udp", 17},
                                                                                 {"icmpv6", 58},
                                                                                 {"sctp", 132},
                                                                                 {"mh", 135},
                                                                                 {"udplite", 136}}};
  for (const auto& [known, number] : kKnown) {
    if (known == name) return number;
  }
  const protoent* const entry = getprotobyname(name.c_str());
  return entry == nullptr ? numberIn(name, 255) : static_cast<std::uint32_t>(entry->p_proto);
}

bool asksForUnknownProtocol(const std::string& option) {
  const Taken taken(option);
  return taken.asksForProtocol() && !protocolNumber(taken.own.value);
}

Negatable::Negatable(std::string_view option) {
  for (Token token = nextToken(option, 0); token.exists(); token = nextToken(option, token.end())) {
    const std::string_view word = token.in(option);
    if (word == "!") {
      isNegated = !isNegated;
    } else {
      text.append(text.empty() ? "" : " ").append(word);
    }
  }
}

void tell(Packet& packet, std::string_view option) {
  Negatable told(option);
  const Taken taken(told.text);
  const bool saysProtocol = taken.asksForProtocol() && !told.isNegated;
  if (saysProtocol && protocolNumber(taken.own.value).value_or(0) != 0) {
    packet.protocol = taken.own.value;
  }
  packet.texts[std::move(told.text)] = !told.isNegated;
}

Answer holds(const Packet& packet, const std::string& option) {
  const Negatable asked(option);
  const auto told = packet.texts.find(asked.text);
  if (told != packet.texts.end()) return answer(told->second != asked.isNegated);
  const Taken match(option);
  // iptables does not look at a "!" before these.
  const bool isIpv4 = match.word == "-4" || match.word == "--ipv4";
  if (isIpv4 || match.word == "-6" || match.word == "--ipv6") {
    return equals(packet.family, isIpv4 ? 4 : 6);
  }
  if (!match.module.empty()) return holdsByModule(packet, match);
  if (!match.arguments.empty()) return holdsByBoth(packet, match);
  return negated(holdsByItself(packet, match), asked.isNegated);
}

Event meet(Packet& packet, const std::string& target) {
  const Taken taken(target);
  if (!taken.module.empty()) return meetModule(packet, taken);
  const std::string& name = taken.own.value;
  const auto has = [&](const char* option) { return taken.arguments.contains(option); };
  if (name == "REJECT" && taken.arguments.empty()) return {"reject", true};
  if (name == "REJECT" && has("--reject-with") && taken.value("--reject-with") == "tcp-reset") {
    return {"reset", true};
  }
  if (name == "REDIRECT" && has("--to-ports")) {
    const auto port = numberIn(taken.value("--to-ports"));
    if (port) packet.destinationPort = static_cast<int>(*port);
    return {"redirect " + taken.value("--to-ports"), true};
  }
  if (name == "MARK" && taken.arguments.size() == 1) return meetMark(packet, taken);
  // The new mark is the connection's. Only texts say something of it, so they stay true.
  if (name == "CONNMARK" && has("--restore-mark")) packet.knownMark = 0;
  const std::string end = " dst";
  if (name == "SET" && has("--add-set") && has("--exist") &&
      taken.value("--add-set").ends_with(end)) {
    const std::string& set = taken.value("--add-set");
    return {"add " + set.substr(0, set.size() - end.size()), false};
  }
  return {"", std::ranges::find(kLastTargets, name) != kLastTargets.end()};
}

std::vector<std::string> optionsIn(std::string_view text) {
  std::vector<std::string> options;
  for (Token token = nextToken(text, 0); token.exists();) {
    const std::string_view word = token.in(text);
    const Token next = nextToken(text, token.end());
    const bool begins = isOptionWord(word == "!" && next.exists() ? next.in(text) : word);
    const bool isNegated = word == "!" && begins;
    if (begins || options.empty()) options.emplace_back();
    std::string& option = options.back();
    option.append(option.empty() ? "" : " ").append(word);
    token = next;
    if (isNegated) {
      option.append(" ").append(next.in(text));
      token = nextToken(text, next.end());
    }
  }
  return options;
}

}  // namespace tavrix::inspect
