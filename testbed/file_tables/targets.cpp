// The targets with options of their own, and where the kernel allows each.
#include <algorithm>
#include <array>
#include <cctype>
#include <string>

#include "testbed/file_tables/option_rules.h"

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
const char* connmarkObjection(const ExtensionUse& use) {
  bool hasOperation = false;
  for (const OptionUse& option : use.options) {
    hasOperation = hasOperation || !option.name.ends_with("mask");
  }
  if (!hasOperation) {
    return "CONNMARK target: No operation specified";
  }
  if (use.find("mask") == nullptr) {
    return nullptr;
  }
  if (use.find("nfmask") != nullptr) {
    return R"(CONNMARK: option "--nfmask" cannot be used together with "--mask".)";
  }
  return use.find("ctmask") != nullptr
             ? R"(CONNMARK: option "--ctmask" cannot be used together with "--mask".)"
             : nullptr;
}
constexpr std::array kNfqueueOptions{
    numberOption("queue-num", 0, kMaximum16).oneOfGroup(1),
    rangeOption("queue-balance", isIncreasingPair, kMaximum16).oneOfGroup(1),
    flagOption("queue-bypass"),
    flagOption("queue-cpu-fanout"),
};
const char* nfqueueObjection(const ExtensionUse& use) {
  return use.find("queue-cpu-fanout") != nullptr && use.find("queue-balance") == nullptr
             ? R"(NFQUEUE: option "--queue-cpu-fanout" also requires "--queue-balance".)"
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
  const std::string last = range.substr(colon + 1);
  return (colon == 0 || parseNumber(range.substr(0, colon), 0, 0)) &&
         (last.empty() || parseNumber(last, kMaximum16, kMaximum16));
}
constexpr std::array kSetOptions{
    setOption("add-set"),
    setOption("del-set"),
    flagOption("exist"),
    numberOption("timeout", 0, kMaximum32 - 1),
};
const char* setObjection(const ExtensionUse& use) {
  if (use.find("add-set") != nullptr) {
    return nullptr;
  }
  if (use.find("del-set") == nullptr) {
    return "You must specify either `--add-set' or `--del-set'";
  }
  if (use.find("exist") != nullptr) {
    return "Flag `--exist' can be used with `--add-set' only";
  }
  return use.find("timeout") != nullptr ? "Option `--timeout' can be used with `--add-set' only"
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
constexpr std::array kRejectOptionsIpv4{wordOption("reject-with", isWordPrefix, kRejectTypesIpv4)};
constexpr std::array kRejectOptionsIpv6{wordOption("reject-with", isWordPrefix, kRejectTypesIpv6)};
bool rejectRefused(const Rule& rule, const ExtensionUse& use, HookMask) {
  // Of all names only those of the TCP reset begin with this letter.
  const OptionUse* with = use.find("reject-with");
  const bool isReset = with != nullptr && with->arguments.front().find_first_of("tT") == 0;
  return isReset && rule.protocol != kTcp;
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
// The real tools take ICMP too, whose identifier the kernel maps like a port.
constexpr std::array<int, 5> kMappedProtocols{kIcmp, kTcp, kUdp, kSctp, kDccp};
const char* portObjection(const OptionUse& option, int protocol, bool) {
  const bool isIcmpV6 = protocol == kIcmpV6;
  bool namesPorts = option.name == "to-ports";
  if (option.name == "to-destination" || option.name == "to-source") {
    // In an IPv6 address a port stands only behind a bracket.
    const std::string& value = option.arguments.front();
    const bool isIpv6 = value.find(':') != value.rfind(':') && value.front() != '[';
    namesPorts = !isIpv6 && value.find(':', value.find(']') + 1) != std::string::npos;
  }
  return namesPorts && !isIcmpV6 &&
                 std::find(kMappedProtocols.begin(), kMappedProtocols.end(), protocol) ==
                     kMappedProtocols.end()
             ? "Need TCP, UDP, SCTP or DCCP to give a port"
             : nullptr;
}

constexpr std::uint64_t kLargestSegment = 65515;
constexpr std::array kTcpmssOptions{numberOption("set-mss", 0, kLargestSegment),
                                    flagOption("clamp-mss-to-pmtu")};
// Whether a list of TCP flags holds SYN, in any case; "ALL" holds it too.
bool namesSyn(const std::string& flags) {
  std::string upper;
  for (const char character : flags) {
    upper += static_cast<char>(std::toupper(static_cast<unsigned char>(character)));
  }
  return upper.find("SYN") != std::string::npos || upper.find("ALL") != std::string::npos;
}
bool tcpmssRefused(const Rule& rule, const ExtensionUse& use, HookMask reached) {
  constexpr HookMask kWithKnownRoute = kForward | kOutput | kPostrouting;
  if (use.find("clamp-mss-to-pmtu") != nullptr &&
      (reached & static_cast<HookMask>(~kWithKnownRoute)) != 0) {
    return true;
  }
  // Only SYN packets carry the option, so the kernel wants the rule to match nothing else.
  return std::none_of(rule.matches.begin(), rule.matches.end(), [](const ExtensionUse& match) {
    const OptionUse* syn = match.find("syn");
    const OptionUse* flags = match.find("tcp-flags");
    return (syn != nullptr && !syn->negated) ||
           (flags != nullptr && !flags->negated && namesSyn(flags->arguments[1]));
  });
}
constexpr std::array<int, 1> kOnlyTcp{kTcp};
constexpr std::array<int, 2> kTcpOrUdp{kTcp, kUdp};

constexpr std::array<Words, 9> kLogLevels{"alert", "crit",   "debug", "emerg",  "error",
                                          "info",  "notice", "panic", "warning"};
bool isLogLevel(std::string_view text, const ShapeLimits& limits, Family family) {
  return parseNumber(text, 0, 7).has_value() || isWord(text, limits, family);
}
constexpr std::array kLogOptions{
    wordOption("log-level", isLogLevel, kLogLevels),
    textOption("log-prefix", 1),
    flagOption("log-tcp-sequence"),
    flagOption("log-tcp-options"),
    flagOption("log-ip-options"),
    flagOption("log-uid"),
    flagOption("log-macdecode"),
};
constexpr std::array kNflogOptions{
    numberOption("nflog-group", 0, kMaximum16), textOption("nflog-prefix", 1),
    numberOption("nflog-range", 0, kMaximum32), numberOption("nflog-size", 0, kMaximum32),
    numberOption("nflog-threshold", 0, kMaximum16)};
constexpr std::array kCtOptions{flagOption("notrack"), textOption("helper", 1, 15),
                                numberOption("zone", 0, kMaximum16)};
bool ctRefused(const Rule& rule, const ExtensionUse& use, HookMask) {
  return use.find("helper") != nullptr && rule.protocol == 0;
}
constexpr std::array kTproxyOptions{numberOption("on-port", 0, kMaximum16).mustBeGiven(),
                                    shapedOption("on-ip", isAddress), markOption("tproxy-mark")};
constexpr std::array kDscpOptions{
    numberOption("set-dscp", 0, 63).oneOfGroup(1),
    wordOption("set-dscp-class", isWordAnyCase, kDscpClasses).oneOfGroup(1)};
constexpr std::array kTtlOptions{numberOption("ttl-set", 0, kMaximum8).oneOfGroup(1),
                                 numberOption("ttl-dec", 1, kMaximum8).oneOfGroup(1),
                                 numberOption("ttl-inc", 1, kMaximum8).oneOfGroup(1)};
constexpr std::array kHlOptions{numberOption("hl-set", 0, kMaximum8).oneOfGroup(1),
                                numberOption("hl-dec", 1, kMaximum8).oneOfGroup(1),
                                numberOption("hl-inc", 1, kMaximum8).oneOfGroup(1)};

constexpr std::array kTargets{
    ExtensionRule{.name = "MARK",
                  .options = kMarkOptions,
                  .needsAnOption = "MARK: One of the --set-xmark, --{and,or,xor,set}-mark options "
                                   "is required"},
    ExtensionRule{.name = "CONNMARK", .options = kConnmarkOptions, .objection = connmarkObjection},
    ExtensionRule{.name = "NFQUEUE",
                  .options = kNfqueueOptions,
                  .objection = nfqueueObjection,
                  .kernelRefuses = nfqueueRefused},
    ExtensionRule{.name = "SET", .options = kSetOptions, .objection = setObjection},
    ExtensionRule{.name = "REJECT",
                  .options = kRejectOptionsIpv4,
                  .ipv6 = false,
                  .table = "filter",
                  .hooks = kInput | kForward | kOutput,
                  .kernelRefuses = rejectRefused},
    ExtensionRule{.name = "REJECT",
                  .options = kRejectOptionsIpv6,
                  .ipv4 = false,
                  .table = "filter",
                  .hooks = kInput | kForward | kOutput,
                  .kernelRefuses = rejectRefused},
    ExtensionRule{.name = "REDIRECT",
                  .options = kRedirectOptions,
                  .table = "nat",
                  .hooks = kPrerouting | kOutput,
                  .objectionToOption = portObjection},
    ExtensionRule{.name = "DNAT",
                  .options = kDnatOptions,
                  .table = "nat",
                  .hooks = kPrerouting | kOutput,
                  .objectionToOption = portObjection},
    ExtensionRule{.name = "SNAT",
                  .options = kSnatOptions,
                  .table = "nat",
                  .hooks = kPostrouting | kInput,
                  .objectionToOption = portObjection},
    ExtensionRule{.name = "MASQUERADE",
                  .options = kMasqueradeOptions,
                  .table = "nat",
                  .hooks = kPostrouting,
                  .objectionToOption = portObjection},
    ExtensionRule{.name = "TCPMSS",
                  .options = kTcpmssOptions,
                  .needsAnOption = "TCPMSS target: At least one parameter is required",
                  .protocols = kOnlyTcp,
                  .kernelRefuses = tcpmssRefused},
    ExtensionRule{.name = "LOG", .options = kLogOptions},
    ExtensionRule{.name = "NFLOG", .options = kNflogOptions},
    ExtensionRule{.name = "CT", .options = kCtOptions, .table = "raw", .kernelRefuses = ctRefused},
    ExtensionRule{.name = "NOTRACK", .table = "raw"},
    ExtensionRule{.name = "TRACE", .table = "raw"},
    ExtensionRule{.name = "TPROXY",
                  .options = kTproxyOptions,
                  .protocols = kTcpOrUdp,
                  .table = "mangle",
                  .hooks = kPrerouting},
    ExtensionRule{.name = "DSCP",
                  .options = kDscpOptions,
                  .needsAnOption = "DSCP target: Parameter --set-dscp is required",
                  .table = "mangle"},
    ExtensionRule{.name = "TTL",
                  .options = kTtlOptions,
                  .needsAnOption = "TTL: You must specify an action",
                  .ipv6 = false,
                  .table = "mangle"},
    ExtensionRule{.name = "HL",
                  .options = kHlOptions,
                  .needsAnOption = "HL: You must specify an action",
                  .ipv4 = false,
                  .table = "mangle"},
};

}  // namespace

const ExtensionRule* findTarget(std::string_view name, Family family) {
  for (const ExtensionRule& target : kTargets) {
    if (target.name == name && target.supports(family)) {
      return &target;
    }
  }
  return nullptr;
}

}  // namespace file_tables
