// Every rule text of access control, once, under the name of what it means. A text is iptables
// option text around one configuration value.
//
// The line is the number by which errors name the text, and nothing else. It never changes, so that
// a message in a log leads to the same text in every version. A new text takes a number that is not
// in use. Two texts that always stand together may share a number.
#pragma once

#include <string_view>

#include "ipt_compiler/export/ipt_lang.h"

namespace tavrix::kovsel {

struct RuleText {
  int line;
  std::string_view before;
  std::string_view after = {};

  // The text around `value`, parsed. Both throw IptCompileFailed.
  IptCond matches(std::string_view value = {}) const;
  IptProg target(std::string_view value = {}) const;
};

namespace text {

// Who sent the packet. The value is an IP set of MAC addresses, or one MAC address.
inline constexpr RuleText kFromUser = {76, "-m set --match-set ", " src"};
inline constexpr RuleText kFromMac = {21, "-m mac --mac-source "};

// The connection label: the user's, and mark bit 0x1 for a connection whose application can be
// recognised. The value is the label.
inline constexpr RuleText kIsNotLabelled = {55, "-m tavrix-connlabel ! --label "};
inline constexpr RuleText kIsLabelled = {106, "-m tavrix-connlabel --label "};
inline constexpr RuleText kIsLabelledAndMarked = {68, "-m tavrix-connlabel --mark 0x1 --label "};
inline constexpr RuleText kSetLabel = {59, "-m tavrix-connlabel --set --label "};
inline constexpr RuleText kSetLabelAndMark = {61, "-m tavrix-connlabel --set --mark 0x1 --label "};

// Gives the connection a statistics node: that of a device, of the user's last device, or of a
// traffic class. The value is the node.
inline constexpr RuleText kCountForMac = {22, "-m tavrix-connstat --set --stat-node "};
inline constexpr RuleText kCountForLastMac = {18, "-m tavrix-connstat --set --stat-node "};
inline constexpr RuleText kCountForClass = {227, "-m tavrix-connstat --set --stat-node "};

// Turns the classification of the connection on.
inline constexpr RuleText kMarkClass = {36, "-m tavrix-conndurvan --mark"};

// Connections whose application cannot be recognised: neither UDP nor TCP, low ports, fewer than 3
// packets in both directions together. The negated port test holds if no port, source or
// destination, is 1024 or above.
inline constexpr RuleText kUdp = {40, "-p udp"};
inline constexpr RuleText kTcp = {40, "-p tcp"};
inline constexpr RuleText kUdpLowPort = {41, "-p udp -m multiport ! --ports 1024:65535"};
inline constexpr RuleText kTcpLowPort = {42, "-p tcp -m multiport ! --ports 1024:65535"};
inline constexpr RuleText kFewPackets = {
    46, "-m connbytes ! --connbytes 3 --connbytes-dir both --connbytes-mode packets"};

// A TCP connection with fewer than 3 packets of its originator: packet mark bit 0x20.
inline constexpr RuleText kShortTcp = {
    245, "-p tcp -m connbytes ! --connbytes 3 --connbytes-dir original --connbytes-mode packets"};
inline constexpr RuleText kMarkShortTcp = {246, "-j MARK --set-mark 0x20/0x20"};

// Host names with a blocked keyword. The value is the host set.
inline constexpr RuleText kBlockedHost = {154, "-m tavrix-xthostset --set-name "};

// Counts a hit. The value is the counter.
inline constexpr RuleText kIncrement = {177, "-m tavrix-xtcounter --inc "};

// Redirects TCP to the local service that explains the block.
inline constexpr RuleText kRedirectable = {146, "-p tcp"};
inline constexpr RuleText kRedirect = {146, "-j REDIRECT --to-ports 8099"};
inline constexpr RuleText kToRedirectService = {288, "-p tcp -m tcp --dport 8099"};

// Rejects, TCP by a reset.
inline constexpr RuleText kResettable = {252, "-p tcp"};
inline constexpr RuleText kReset = {252, "-j REJECT --reject-with tcp-reset"};
inline constexpr RuleText kReject = {253, "-j REJECT"};

}  // namespace text

// A traffic class. The value is the class or the subclass.
struct ClassTexts {
  RuleText isOf;           // the connection is of the class
  RuleText isNotSubclass;  // and not of this subclass of it
};

// Once for blocking and once for counting.
inline constexpr ClassTexts kBlockedClass = {
    {160, "-m tavrix-conndurvan --class "},
    {165, "-m tavrix-conndurvan --invert --subclass "},
};
inline constexpr ClassTexts kCountedClass = {
    {217, "-m tavrix-conndurvan --class "},
    {222, "-m tavrix-conndurvan --invert --subclass "},
};

// The blacklist of one address family. The value is the IP set.
struct BlacklistTexts {
  std::string_view option;
  RuleText isListed;    // the packet's destination is on it
  RuleText isOriginal;  // the packet goes in the original direction of its connection
  RuleText refresh;     // puts the packet's destination on it again
};

inline constexpr BlacklistTexts kBlacklistV4 = {
    "blacklist_v4_user",
    {114, "-4 -m set --match-set ", " dst"},
    {122, "-4 -m conntrack --ctdir ORIGINAL"},
    {123, "-j SET --add-set ", " dst --exist"},
};
inline constexpr BlacklistTexts kBlacklistV6 = {
    "blacklist_v6_user",
    {132, "-6 -m set --match-set ", " dst"},
    {140, "-6 -m conntrack --ctdir ORIGINAL"},
    {141, "-j SET --add-set ", " dst --exist"},
};

}  // namespace tavrix::kovsel
