// The matches: the standard ones that a router's rules use, and the platform's own five.
#include <algorithm>
#include <array>

#include "testbed/file_tables/option_rules.h"

namespace file_tables {
namespace {

using Words = std::string_view;

// --- tcp, udp, icmp, multiport

constexpr std::array kPortOptions{
    shapedOption("source-port", isPortRange).mayBeNegated(),
    shapedOption("sport", isPortRange).mayBeNegated().aliasOf("source-port"),
    shapedOption("destination-port", isPortRange).mayBeNegated(),
    shapedOption("dport", isPortRange).mayBeNegated().aliasOf("destination-port"),
};
constexpr std::array<Words, 8> kTcpFlags{"SYN", "ACK", "FIN", "RST", "URG", "PSH", "ALL", "NONE"};
bool isTcpFlagList(std::string_view text, const ShapeLimits&, Family family) {
  return isLooseWordList(text, {0, 0, kTcpFlags}, family);
}
constexpr std::array kTcpOptions{
    kPortOptions[0],
    kPortOptions[1],
    kPortOptions[2],
    kPortOptions[3],
    shapedOption("tcp-flags", isTcpFlagList).followedBy(isTcpFlagList).mayBeNegated().oneOfGroup(1),
    flagOption("syn").mayBeNegated().oneOfGroup(1),
    numberOption("tcp-option", 1, kMaximum8).mayBeNegated(),
};
constexpr std::array<Words, 40> kIcmpTypes{"any",
                                           "echo-reply",
                                           "pong",
                                           "destination-unreachable",
                                           "network-unreachable",
                                           "host-unreachable",
                                           "protocol-unreachable",
                                           "port-unreachable",
                                           "fragmentation-needed",
                                           "source-route-failed",
                                           "network-unknown",
                                           "host-unknown",
                                           "network-prohibited",
                                           "host-prohibited",
                                           "TOS-network-unreachable",
                                           "TOS-host-unreachable",
                                           "communication-prohibited",
                                           "host-precedence-violation",
                                           "precedence-cutoff",
                                           "source-quench",
                                           "redirect",
                                           "network-redirect",
                                           "host-redirect",
                                           "TOS-network-redirect",
                                           "TOS-host-redirect",
                                           "echo-request",
                                           "ping",
                                           "router-advertisement",
                                           "router-solicitation",
                                           "time-exceeded",
                                           "ttl-exceeded",
                                           "ttl-zero-during-transit",
                                           "ttl-zero-during-reassembly",
                                           "parameter-problem",
                                           "ip-header-bad",
                                           "required-option-missing",
                                           "timestamp-request",
                                           "timestamp-reply",
                                           "address-mask-request",
                                           "address-mask-reply"};
constexpr std::array<Words, 28> kIcmpV6Types{"destination-unreachable",
                                             "no-route",
                                             "communication-prohibited",
                                             "beyond-scope",
                                             "address-unreachable",
                                             "port-unreachable",
                                             "failed-policy",
                                             "reject-route",
                                             "packet-too-big",
                                             "time-exceeded",
                                             "ttl-exceeded",
                                             "ttl-zero-during-transit",
                                             "ttl-zero-during-reassembly",
                                             "parameter-problem",
                                             "bad-header",
                                             "unknown-header-type",
                                             "unknown-option",
                                             "echo-request",
                                             "ping",
                                             "echo-reply",
                                             "pong",
                                             "router-solicitation",
                                             "router-advertisement",
                                             "neighbour-solicitation",
                                             "neighbour-advertisement",
                                             "neighbor-solicitation",
                                             "neighbor-advertisement",
                                             "redirect"};
constexpr std::array kIcmpOptions{
    wordOption("icmp-type", isIcmpType, kIcmpTypes).mayBeNegated().mustBeGiven()};
constexpr std::array kIcmpV6Options{
    wordOption("icmpv6-type", isIcmpType, kIcmpV6Types).mayBeNegated().mustBeGiven()};
constexpr std::array kMultiportOptions{
    shapedOption("source-ports", isPortList).mayBeNegated().oneOfGroup(1),
    shapedOption("sports", isPortList).mayBeNegated().oneOfGroup(1).aliasOf("source-ports"),
    shapedOption("destination-ports", isPortList).mayBeNegated().oneOfGroup(1),
    shapedOption("dports", isPortList).mayBeNegated().oneOfGroup(1).aliasOf("destination-ports"),
    shapedOption("ports", isPortList).mayBeNegated().oneOfGroup(1),
};
constexpr std::array<int, 1> kOnlyTcp{kTcp};
constexpr std::array<int, 1> kOnlyUdp{kUdp};
constexpr std::array<int, 1> kOnlySctp{kSctp};
constexpr std::array<int, 1> kOnlyDccp{kDccp};
constexpr std::array<int, 1> kOnlyIcmp{kIcmp};
constexpr std::array<int, 1> kOnlyIcmpV6{kIcmpV6};
constexpr std::array<int, 5> kWithPorts{kTcp, kUdp, kUdpLite, kSctp, kDccp};

const char* multiportObjection(const OptionUse&, int protocol, bool protocolNegated) {
  return protocolNegated ||
                 std::find(kWithPorts.begin(), kWithPorts.end(), protocol) == kWithPorts.end()
             ? "multiport needs `-p tcp', `-p udp', `-p udplite', `-p sctp' or `-p dccp'"
             : nullptr;
}

// --- what a packet or a connection carries

constexpr std::array kCommentOptions{textOption("comment", 0).mustBeGiven()};
constexpr std::array kMarkOptions{markOption("mark").mayBeNegated().mustBeGiven()};
constexpr std::array kMacOptions{
    shapedOption("mac-source", isMacAddress).mayBeNegated().mustBeGiven()};
constexpr std::array kSetOptions{
    setOption("match-set").mayBeNegated().mustBeGiven(),
    setOption("set").mayBeNegated().aliasOf("match-set"),
    flagOption("return-nomatch"),
    flagOption("update-counters").mayBeNegated(),
    flagOption("update-subcounters").mayBeNegated(),
    numberOption("packets-eq", 0, kMaximum64).mayBeNegated().oneOfGroup(1),
    numberOption("packets-lt", 0, kMaximum64).oneOfGroup(1),
    numberOption("packets-gt", 0, kMaximum64).oneOfGroup(1),
    numberOption("bytes-eq", 0, kMaximum64).mayBeNegated().oneOfGroup(2),
    numberOption("bytes-lt", 0, kMaximum64).oneOfGroup(2),
    numberOption("bytes-gt", 0, kMaximum64).oneOfGroup(2),
};
constexpr std::array<Words, 3> kConnbytesDirections{"original", "reply", "both"};
constexpr std::array<Words, 3> kConnbytesModes{"packets", "bytes", "avgpkt"};
constexpr std::array kConnbytesOptions{
    rangeOption("connbytes", isNumberRange, kMaximum64).mayBeNegated().mustBeGiven(),
    wordOption("connbytes-dir", isWord, kConnbytesDirections).mustBeGiven(),
    wordOption("connbytes-mode", isWord, kConnbytesModes).mustBeGiven(),
};
constexpr std::array<Words, 7> kConnectionStates{"INVALID",   "NEW",  "ESTABLISHED", "RELATED",
                                                 "UNTRACKED", "SNAT", "DNAT"};
constexpr std::array<Words, 5> kConnectionStatuses{"NONE", "EXPECTED", "SEEN_REPLY", "ASSURED",
                                                   "CONFIRMED"};
constexpr std::array<Words, 2> kConnectionDirections{"ORIGINAL", "REPLY"};
bool isProtocolName(std::string_view text, const ShapeLimits&, Family) {
  return parseProtocol(text).has_value();
}
constexpr std::array kConntrackOptions{
    wordOption("ctstate", isWordPrefixList, kConnectionStates).mayBeNegated(),
    shapedOption("ctproto", isProtocolName).mayBeNegated(),
    shapedOption("ctorigsrc", isAddressWithMask).mayBeNegated(),
    shapedOption("ctorigdst", isAddressWithMask).mayBeNegated(),
    shapedOption("ctreplsrc", isAddressWithMask).mayBeNegated(),
    shapedOption("ctrepldst", isAddressWithMask).mayBeNegated(),
    shapedOption("ctorigsrcport", isUnorderedPortRange).mayBeNegated(),
    shapedOption("ctorigdstport", isUnorderedPortRange).mayBeNegated(),
    shapedOption("ctreplsrcport", isUnorderedPortRange).mayBeNegated(),
    shapedOption("ctrepldstport", isUnorderedPortRange).mayBeNegated(),
    wordOption("ctstatus", isWordPrefixList, kConnectionStatuses).mayBeNegated(),
    rangeOption("ctexpire", isUnorderedNumberRange, kMaximum32).mayBeNegated(),
    wordOption("ctdir", isWordAnyCase, kConnectionDirections),
};
constexpr std::array<Words, 5> kStates{"INVALID", "NEW", "ESTABLISHED", "RELATED", "UNTRACKED"};
constexpr std::array kStateOptions{
    wordOption("state", isWordPrefixList, kStates).mayBeNegated().mustBeGiven()};
constexpr std::array kHelperOptions{textOption("helper", 0).mayBeNegated().mustBeGiven()};

// --- addresses, interfaces and the rest

constexpr std::array<Words, 12> kAddressTypes{"UNSPEC",   "UNICAST",   "LOCAL",     "BROADCAST",
                                              "ANYCAST",  "MULTICAST", "BLACKHOLE", "UNREACHABLE",
                                              "PROHIBIT", "THROW",     "NAT",       "XRESOLVE"};
constexpr std::array kAddrtypeOptions{
    wordOption("src-type", isWordPrefixList, kAddressTypes).mayBeNegated(),
    wordOption("dst-type", isWordPrefixList, kAddressTypes).mayBeNegated(),
    flagOption("limit-iface-in").oneOfGroup(1),
    flagOption("limit-iface-out").oneOfGroup(1),
};
const char* addrtypeObjection(const ExtensionUse& use) {
  return use.find("src-type") == nullptr && use.find("dst-type") == nullptr
             ? "addrtype: you must specify --src-type or --dst-type"
             : nullptr;
}
bool addrtypeRefused(const Rule&, const ExtensionUse& use, HookMask reached) {
  constexpr HookMask kWithoutInput = kOutput | kPostrouting;
  constexpr HookMask kWithoutOutput = kPrerouting | kInput;
  return (use.find("limit-iface-in") != nullptr && (reached & kWithoutInput) != 0) ||
         (use.find("limit-iface-out") != nullptr && (reached & kWithoutOutput) != 0);
}
// The IPv6 kernel knows fewer types. A type may be cut short, the first of the list that fits
// counts.
bool addrtypeRefusedIpv6(const Rule& rule, const ExtensionUse& use, HookMask reached) {
  constexpr std::array<Words, 6> kOnlyIpv4{"BROADCAST", "BLACKHOLE", "PROHIBIT",
                                           "THROW",     "NAT",       "XRESOLVE"};
  const auto namesIpv4Type = [&](const OptionUse& option) {
    return !option.arguments.empty() &&
           std::any_of(kOnlyIpv4.begin(), kOnlyIpv4.end(), [&](const Words& type) {
             return namesWord(option.arguments.front(), type, kAddressTypes);
           });
  };
  return addrtypeRefused(rule, use, reached) ||
         std::any_of(use.options.begin(), use.options.end(), namesIpv4Type);
}
constexpr std::array kIprangeOptions{
    shapedOption("src-range", isAddressRange).mayBeNegated(),
    shapedOption("dst-range", isAddressRange).mayBeNegated(),
};
constexpr std::array kPhysdevOptions{
    textOption("physdev-in", 0, 15).mayBeNegated(),
    textOption("physdev-out", 0, 15).mayBeNegated(),
    flagOption("physdev-is-in").mayBeNegated(),
    flagOption("physdev-is-out").mayBeNegated(),
    flagOption("physdev-is-bridged").mayBeNegated(),
};
bool physdevRefused(const Rule&, const ExtensionUse& use, HookMask reached) {
  // The bridge port is not chosen yet where local packets go out, unless they are bridged.
  const OptionUse* bridged = use.find("physdev-is-bridged");
  const bool asksForOut =
      use.find("physdev-out") != nullptr || use.find("physdev-is-out") != nullptr;
  return asksForOut && (bridged == nullptr || bridged->negated) && (reached & kOutput) != 0;
}
constexpr std::array<Words, 4> kPacketTypes{"unicast", "broadcast", "multicast", "host"};
constexpr std::array kPkttypeOptions{
    wordOption("pkt-type", isWordAnyCase, kPacketTypes).mayBeNegated().mustBeGiven()};
constexpr std::array kLimitOptions{shapedOption("limit", isRate),
                                   numberOption("limit-burst", 0, 10000)};
// The kernel counts what a full burst is worth in a 32-bit number that holds about a day and a
// half. It refuses most bursts above that, this function all of them.
bool limitRefused(const Rule&, const ExtensionUse& use, HookMask) {
  constexpr std::uint64_t kMostSeconds = 134217;
  std::string_view rate = "3/hour";
  std::uint64_t burst = 5;
  if (const OptionUse* limit = use.find("limit")) {
    rate = limit->arguments.front();
  }
  if (const OptionUse* limitBurst = use.find("limit-burst")) {
    burst = *parseNumber(limitBurst->arguments.front(), 0, kMaximum64);
  }
  const std::size_t slash = rate.find('/');
  const std::uint64_t count = *parseNumber(rate.substr(0, slash), 0, kMaximum64);
  const std::uint64_t seconds =
      slash == std::string_view::npos ? 1 : *parseTimeUnit(rate.substr(slash + 1));
  return burst == 0 || seconds * burst / count > kMostSeconds;
}
constexpr std::array kLengthOptions{
    rangeOption("length", isUnorderedNumberRange, kMaximum16).mayBeNegated().mustBeGiven()};
constexpr std::array kDscpOptions{
    numberOption("dscp", 0, 63).mayBeNegated().oneOfGroup(1),
    wordOption("dscp-class", isWordAnyCase, kDscpClasses).mayBeNegated().oneOfGroup(1),
};
constexpr std::array kOwnerOptions{
    shapedOption("uid-owner", isOwnerRange).mayBeNegated(),
    shapedOption("gid-owner", isOwnerRange).mayBeNegated(),
    flagOption("socket-exists").mayBeNegated(),
};
constexpr std::array<Words, 2> kStatisticModes{"random", "nth"};
constexpr std::array kStatisticOptions{
    wordOption("mode", isWord, kStatisticModes).mustBeGiven(),
    shapedOption("probability", isProbability).mayBeNegated(),
    numberOption("every", 1, kMaximum32).mayBeNegated(),
    numberOption("packet", 0, kMaximum32),
};

const char* statisticObjection(const ExtensionUse& use) {
  const OptionUse* every = use.find("every");
  const OptionUse* packet = use.find("packet");
  if (use.find("mode")->arguments.front() == "random") {
    return use.find("probability") == nullptr
               ? "--probability must be specified when using random mode"
               : nullptr;
  }
  if (every == nullptr || packet == nullptr) {
    return "--every and --packet must be specified when using nth mode";
  }
  return *parseNumber(packet->arguments.front(), 0, kMaximum32) >=
                 *parseNumber(every->arguments.front(), 0, kMaximum32)
             ? "the --packet p must be 0 <= p <= n-1"
             : nullptr;
}

// --- the platform's own

constexpr std::uint64_t kLongestName = 127;
constexpr std::array kConnlabelOptions{
    textOption("label", 1, kLongestName).mayBeNegated().mustBeGiven(),
    markOption("mark"),
    flagOption("set"),
};
const char* connlabelObjection(const ExtensionUse& use) {
  return use.find("label")->negated && use.find("set") != nullptr
             ? R"(tavrix-connlabel: option "--set" cannot be used together with "! --label".)"
             : nullptr;
}
constexpr std::array kConnstatOptions{
    flagOption("set").mustBeGiven(),
    textOption("stat-node", 1, kLongestName).mustBeGiven(),
};
constexpr std::array kConndurvanOptions{
    flagOption("mark").oneOfGroup(1),
    textOption("class", 1, kLongestName).oneOfGroup(1),
    textOption("subclass", 1, kLongestName).oneOfGroup(1),
    flagOption("invert"),
};
const char* conndurvanObjection(const ExtensionUse& use) {
  if (use.find("mark") == nullptr && use.find("class") == nullptr &&
      use.find("subclass") == nullptr) {
    return "tavrix-conndurvan: one of --mark, --class or --subclass is required";
  }
  return use.find("mark") != nullptr && use.find("invert") != nullptr
             ? R"(tavrix-conndurvan: option "--invert" cannot be used together with "--mark".)"
             : nullptr;
}
constexpr std::array kXtcounterOptions{textOption("inc", 1, kLongestName).mustBeGiven()};
constexpr std::array kXthostsetOptions{textOption("set-name", 1, kLongestName).mustBeGiven()};

constexpr std::array kMatches{
    ExtensionRule{.name = "tcp", .options = kTcpOptions, .protocols = kOnlyTcp},
    ExtensionRule{.name = "udp", .options = kPortOptions, .protocols = kOnlyUdp},
    ExtensionRule{.name = "sctp", .options = kPortOptions, .protocols = kOnlySctp},
    ExtensionRule{.name = "dccp", .options = kPortOptions, .protocols = kOnlyDccp},
    ExtensionRule{.name = "icmp", .options = kIcmpOptions, .ipv6 = false, .protocols = kOnlyIcmp},
    ExtensionRule{
        .name = "icmp6", .options = kIcmpV6Options, .ipv4 = false, .protocols = kOnlyIcmpV6},
    ExtensionRule{.name = "multiport",
                  .options = kMultiportOptions,
                  .needsAnOption = "multiport expects an option",
                  .protocols = kWithPorts,
                  .objectionToOption = multiportObjection},
    ExtensionRule{.name = "comment", .options = kCommentOptions},
    ExtensionRule{.name = "mark", .options = kMarkOptions},
    ExtensionRule{.name = "connmark", .options = kMarkOptions},
    ExtensionRule{.name = "mac", .options = kMacOptions, .hooks = kPrerouting | kInput | kForward},
    ExtensionRule{.name = "set", .options = kSetOptions},
    ExtensionRule{.name = "connbytes", .options = kConnbytesOptions},
    ExtensionRule{.name = "conntrack",
                  .options = kConntrackOptions,
                  .needsAnOption = "conntrack: At least one option is required"},
    ExtensionRule{.name = "state", .options = kStateOptions},
    ExtensionRule{.name = "helper", .options = kHelperOptions},
    ExtensionRule{.name = "addrtype",
                  .options = kAddrtypeOptions,
                  .ipv6 = false,
                  .objection = addrtypeObjection,
                  .kernelRefuses = addrtypeRefused},
    ExtensionRule{.name = "addrtype",
                  .options = kAddrtypeOptions,
                  .ipv4 = false,
                  .objection = addrtypeObjection,
                  .kernelRefuses = addrtypeRefusedIpv6},
    ExtensionRule{
        .name = "iprange",
        .options = kIprangeOptions,
        .needsAnOption = "iprange match: You must specify `--src-range' or `--dst-range'"},
    ExtensionRule{.name = "physdev",
                  .options = kPhysdevOptions,
                  .needsAnOption = "PHYSDEV: no physdev option specified",
                  .kernelRefuses = physdevRefused},
    ExtensionRule{.name = "pkttype", .options = kPkttypeOptions},
    ExtensionRule{.name = "limit", .options = kLimitOptions, .kernelRefuses = limitRefused},
    ExtensionRule{.name = "length", .options = kLengthOptions},
    ExtensionRule{.name = "dscp",
                  .options = kDscpOptions,
                  .needsAnOption = "DSCP match: Parameter --dscp is required"},
    ExtensionRule{.name = "owner",
                  .options = kOwnerOptions,
                  .needsAnOption = "owner: At least one of --uid-owner, --gid-owner or "
                                   "--socket-exists is required",
                  .hooks = kOutput | kPostrouting},
    ExtensionRule{
        .name = "statistic", .options = kStatisticOptions, .objection = statisticObjection},
    ExtensionRule{
        .name = "tavrix-connlabel", .options = kConnlabelOptions, .objection = connlabelObjection},
    ExtensionRule{.name = "tavrix-connstat", .options = kConnstatOptions},
    ExtensionRule{.name = "tavrix-conndurvan",
                  .options = kConndurvanOptions,
                  .objection = conndurvanObjection},
    ExtensionRule{.name = "tavrix-xtcounter", .options = kXtcounterOptions},
    ExtensionRule{.name = "tavrix-xthostset", .options = kXthostsetOptions},
};

}  // namespace

const ExtensionRule* findMatch(std::string_view name, Family family) {
  for (const ExtensionRule& match : kMatches) {
    if (match.name == name && match.supports(family)) {
      return &match;
    }
  }
  return nullptr;
}

const ExtensionRule* findProtocolMatch(int protocol, Family family) {
  for (const ExtensionRule& match : kMatches) {
    // Only the matches of exactly one protocol bear the protocol's name.
    if (match.protocols.size() == 1 && match.protocols.front() == protocol &&
        match.supports(family)) {
      return &match;
    }
  }
  return nullptr;
}

}  // namespace file_tables
