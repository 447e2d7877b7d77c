// The targets with options of their own, and where the kernel allows each.
#include <array>

#include "testbed/file_tables/option_specs.h"

namespace file_tables {
namespace {

using Words = std::string_view;

constexpr std::array kMarkOptions{
    markOption("set-xmark").oneOfGroup(1),
    markOption("set-mark").oneOfGroup(1),
    numberOption("and-mark", 0, kMaximum32).oneOfGroup(1),
    numberOption("or-mark", 0, kMaximum32).oneOfGroup(1),
    numberOption("xor-mark", 0, kMaximum32).oneOfGroup(1),
};
constexpr std::array kConnmarkOptions{
    markOption("set-xmark").oneOfGroup(1),
    markOption("set-mark").oneOfGroup(1),
    numberOption("and-mark", 0, kMaximum32).oneOfGroup(1),
    numberOption("or-mark", 0, kMaximum32).oneOfGroup(1),
    numberOption("xor-mark", 0, kMaximum32).oneOfGroup(1),
    flagOption("save-mark").oneOfGroup(1),
    flagOption("restore-mark").oneOfGroup(1),
    numberOption("mask", 0, kMaximum32),
    numberOption("nfmask", 0, kMaximum32),
    numberOption("ctmask", 0, kMaximum32),
};
constexpr std::array kNfqueueOptions{
    numberOption("queue-num", 0, kMaximum16).oneOfGroup(1),
    OptionSpec{.name = "queue-balance",
               .shape = isIncreasingPair,
               .limits = {0, kMaximum16, {}},
               .exclusiveGroup = 1},
    flagOption("queue-bypass"),
    flagOption("queue-cpu-fanout"),
};
const char* nfqueueObjection(const Rule&, const ExtensionUse& use) {
  return use.find("queue-cpu-fanout") != nullptr && use.find("queue-balance") == nullptr
             ? "NFQUEUE: option \"--queue-cpu-fanout\" also requires \"--queue-balance\"."
             : nullptr;
}
bool nfqueueRefused(const Rule&, const ExtensionUse& use, HookMask) {
  // 65536 queues do not fit into the kernel's 16-bit count.
  const OptionUse* balance = use.find("queue-balance");
  if (balance == nullptr) {
    return false;
  }
  const std::string& range = balance->arguments.front();
  const std::size_t colon = range.find(':');
  return parseNumber(range.substr(0, colon), 0, 0).has_value() &&
         parseNumber(range.substr(colon + 1), kMaximum16, kMaximum16).has_value();
}
constexpr std::array kSetOptions{
    setOption("add-set"),
    setOption("del-set"),
    setOption("map-set"),
    flagOption("exist"),
    numberOption("timeout", 0, 2147483),
    flagOption("map-mark"),
    flagOption("map-prio"),
    flagOption("map-queue"),
};
const char* setObjection(const Rule&, const ExtensionUse& use) {
  return use.find("add-set") == nullptr && use.find("del-set") == nullptr &&
                 use.find("map-set") == nullptr
             ? "You must specify either `--add-set' or `--del-set' or `--map-set'"
             : nullptr;
}

constexpr std::array<Words, 16> kRejectTypesIpv4{"icmp-net-unreachable",
                                                 "net-unreach",
                                                 "icmp-host-unreachable",
                                                 "host-unreach",
                                                 "icmp-port-unreachable",
                                                 "port-unreach",
                                                 "icmp-proto-unreachable",
                                                 "proto-unreach",
                                                 "icmp-net-prohibited",
                                                 "net-prohib",
                                                 "icmp-host-prohibited",
                                                 "host-prohib",
                                                 "tcp-reset",
                                                 "tcp-rst",
                                                 "icmp-admin-prohibited",
                                                 "admin-prohib"};
constexpr std::array<Words, 13> kRejectTypesIpv6{"icmp6-no-route",
                                                 "no-route",
                                                 "icmp6-adm-prohibited",
                                                 "adm-prohibited",
                                                 "icmp6-addr-unreachable",
                                                 "addr-unreach",
                                                 "icmp6-port-unreachable",
                                                 "port-unreach",
                                                 "icmp6-policy-fail",
                                                 "policy-fail",
                                                 "icmp6-reject-route",
                                                 "reject-route",
                                                 "tcp-reset"};
constexpr std::array kRejectOptionsIpv4{wordOption("reject-with", kRejectTypesIpv4)};
constexpr std::array kRejectOptionsIpv6{wordOption("reject-with", kRejectTypesIpv6)};
bool rejectRefused(const Rule& rule, const ExtensionUse& use, HookMask) {
  const OptionUse* with = use.find("reject-with");
  return with != nullptr && with->arguments.front().starts_with("tcp-") && rule.protocol != kTcp;
}

constexpr std::array kRedirectOptions{shapedOption("to-ports", isDashPortRange),
                                      flagOption("random")};
constexpr std::array kDnatOptions{shapedOption("to-destination", isNatDestination).mustBeGiven(),
                                  flagOption("random"), flagOption("persistent")};
constexpr std::array kSnatOptions{shapedOption("to-source", isNatDestination).mustBeGiven(),
                                  flagOption("random"), flagOption("random-fully"),
                                  flagOption("persistent")};
constexpr std::array kMasqueradeOptions{shapedOption("to-ports", isDashPortRange),
                                        flagOption("random"), flagOption("random-fully")};
bool hasPorts(int protocol) {
  return protocol == kTcp || protocol == kUdp || protocol == kSctp || protocol == kDccp;
}
const char* portMappingObjection(const Rule& rule, const ExtensionUse& use) {
  return use.find("to-ports") != nullptr && !hasPorts(rule.protocol)
             ? "Need TCP, UDP, SCTP or DCCP with port specification"
             : nullptr;
}

constexpr std::array kTcpmssOptions{numberOption("set-mss", 0, kMaximum16).oneOfGroup(1),
                                    flagOption("clamp-mss-to-pmtu").oneOfGroup(1)};
bool tcpmssRefused(const Rule& rule, const ExtensionUse& use, HookMask reached) {
  constexpr HookMask kWithKnownRoute = kForward | kOutput | kPostrouting;
  if (use.find("clamp-mss-to-pmtu") != nullptr &&
      (reached & static_cast<HookMask>(~kWithKnownRoute)) != 0) {
    return true;
  }
  // Only SYN packets carry the option, so the kernel wants the rule to match nothing else.
  for (const ExtensionUse& match : rule.matches) {
    const OptionUse* syn = match.find("syn");
    const OptionUse* flags = match.find("tcp-flags");
    if (match.name == "tcp" && ((syn != nullptr && !syn->negated) ||
                                (flags != nullptr && !flags->negated &&
                                 flags->arguments[1].find("SYN") != std::string::npos))) {
      return false;
    }
  }
  return true;
}
constexpr std::array<int, 1> kOnlyTcp{kTcp};
constexpr std::array<int, 2> kTcpOrUdp{kTcp, kUdp};

constexpr std::array<Words, 11> kLogLevels{"emerg",   "panic", "alert",  "crit", "error", "err",
                                           "warning", "warn",  "notice", "info", "debug"};
bool isLogLevel(std::string_view text, const ShapeLimits& limits, Family family) {
  return parseNumber(text, 0, 7).has_value() || isWord(text, limits, family);
}
constexpr std::array kLogOptions{
    OptionSpec{.name = "log-level", .shape = isLogLevel, .limits = {0, 0, kLogLevels}},
    textOption("log-prefix", 0, 29),
    flagOption("log-tcp-sequence"),
    flagOption("log-tcp-options"),
    flagOption("log-ip-options"),
    flagOption("log-uid"),
    flagOption("log-macdecode"),
};
constexpr std::array kNflogOptions{
    numberOption("nflog-group", 0, kMaximum16), textOption("nflog-prefix", 0, 63),
    numberOption("nflog-range", 0, kMaximum32), numberOption("nflog-size", 0, kMaximum32),
    numberOption("nflog-threshold", 1, kMaximum16)};
constexpr std::array kCtOptions{flagOption("notrack"), textOption("helper", 1, 15),
                                numberOption("zone", 0, kMaximum16)};
constexpr std::array kTproxyOptions{numberOption("on-port", 0, kMaximum16).mustBeGiven(),
                                    shapedOption("on-ip", isAddress), markOption("tproxy-mark")};
constexpr std::array kDscpOptions{numberOption("set-dscp", 0, 63).oneOfGroup(1),
                                  textOption("set-dscp-class", 2, 4).oneOfGroup(1)};
constexpr std::array kTtlOptions{numberOption("ttl-set", 0, kMaximum8).oneOfGroup(1),
                                 numberOption("ttl-dec", 1, kMaximum8).oneOfGroup(1),
                                 numberOption("ttl-inc", 1, kMaximum8).oneOfGroup(1)};
constexpr std::array kHlOptions{numberOption("hl-set", 0, kMaximum8).oneOfGroup(1),
                                numberOption("hl-dec", 1, kMaximum8).oneOfGroup(1),
                                numberOption("hl-inc", 1, kMaximum8).oneOfGroup(1)};

constexpr std::array kTargets{
    ExtensionSpec{.name = "MARK",
                  .options = kMarkOptions,
                  .needsAnOption = "MARK: One of the --set-xmark, --{and,or,xor,set}-mark options "
                                   "is required"},
    ExtensionSpec{.name = "CONNMARK",
                  .options = kConnmarkOptions,
                  .needsAnOption = "CONNMARK target: No operation specified"},
    ExtensionSpec{.name = "NFQUEUE",
                  .options = kNfqueueOptions,
                  .toolObjection = nfqueueObjection,
                  .kernelRefuses = nfqueueRefused},
    ExtensionSpec{.name = "SET", .options = kSetOptions, .toolObjection = setObjection},
    ExtensionSpec{.name = "REJECT",
                  .options = kRejectOptionsIpv4,
                  .ipv6 = false,
                  .table = "filter",
                  .hooks = kInput | kForward | kOutput,
                  .kernelRefuses = rejectRefused},
    ExtensionSpec{.name = "REJECT",
                  .options = kRejectOptionsIpv6,
                  .ipv4 = false,
                  .table = "filter",
                  .hooks = kInput | kForward | kOutput,
                  .kernelRefuses = rejectRefused},
    ExtensionSpec{.name = "REDIRECT",
                  .options = kRedirectOptions,
                  .table = "nat",
                  .hooks = kPrerouting | kOutput,
                  .toolObjection = portMappingObjection},
    ExtensionSpec{
        .name = "DNAT", .options = kDnatOptions, .table = "nat", .hooks = kPrerouting | kOutput},
    ExtensionSpec{
        .name = "SNAT", .options = kSnatOptions, .table = "nat", .hooks = kPostrouting | kInput},
    ExtensionSpec{.name = "MASQUERADE",
                  .options = kMasqueradeOptions,
                  .table = "nat",
                  .hooks = kPostrouting,
                  .toolObjection = portMappingObjection},
    ExtensionSpec{.name = "TCPMSS",
                  .options = kTcpmssOptions,
                  .needsAnOption = "TCPMSS target: At least one parameter is required",
                  .protocols = kOnlyTcp,
                  .kernelRefuses = tcpmssRefused},
    ExtensionSpec{.name = "LOG", .options = kLogOptions},
    ExtensionSpec{.name = "NFLOG", .options = kNflogOptions},
    ExtensionSpec{.name = "CT", .options = kCtOptions, .table = "raw"},
    ExtensionSpec{.name = "NOTRACK", .table = "raw"},
    ExtensionSpec{.name = "TRACE", .table = "raw"},
    ExtensionSpec{.name = "TPROXY",
                  .options = kTproxyOptions,
                  .protocols = kTcpOrUdp,
                  .table = "mangle",
                  .hooks = kPrerouting},
    ExtensionSpec{.name = "DSCP",
                  .options = kDscpOptions,
                  .needsAnOption = "DSCP target: Parameter --set-dscp is required",
                  .table = "mangle"},
    ExtensionSpec{.name = "TTL",
                  .options = kTtlOptions,
                  .needsAnOption = "TTL: You must specify an action",
                  .ipv6 = false,
                  .table = "mangle"},
    ExtensionSpec{.name = "HL",
                  .options = kHlOptions,
                  .needsAnOption = "HL: You must specify an action",
                  .ipv4 = false,
                  .table = "mangle"},
};

}  // namespace

const ExtensionSpec* findTarget(std::string_view name, Family family) {
  for (const ExtensionSpec& target : kTargets) {
    if (target.name == name && target.supports(family)) {
      return &target;
    }
  }
  return nullptr;
}

}  // namespace file_tables
