// mangle PREROUTING: recognises a user's packets by their MAC address and labels each connection
// once, with its statistics node, its class mark and its label.
#include <algorithm>

#include "firewall_cpp/kovsel/kovsel.h"
#include "firewall_cpp/kovsel/user_rules.h"

namespace tavrix::kovsel {
namespace {

// Each device gets the node at the same place in the list. Every source that is not in the list
// gets the last node too, so the last address is never tested.
IptProg setDeviceNode(const User& user) {
  const User::Values& macs = user.values("mac_user");
  const User::Values& nodes = user.values("mac_label_user");
  const std::size_t count = std::min(macs.size(), nodes.size());
  if (count == 0) return makeEmptyProg();

  std::vector<IptIfBlock> devices;
  for (std::size_t i = 0; i + 1 < count; ++i) {
    devices.push_back(
        If(text::kFromMac.matches(macs[i])).then({text::kCountForMac.target(nodes[i])}));
  }
  // The ELSE branch of each device holds the rest of the list, so the last block is closed first.
  IptProg chosen = text::kCountForLastMac.target(nodes[count - 1]);
  for (; !devices.empty(); devices.pop_back()) chosen = devices.back().orElse({chosen});
  return chosen;
}

IptProg markClass(const User& user) {
  return user.values("class_user").empty() ? makeEmptyProg() : text::kMarkClass.target();
}

// Whether the connection's application cannot be told, now or ever.
IptCond isShortOrNoApplication() {
  return !(text::kUdp.matches() || text::kTcp.matches()) || text::kUdpLowPort.matches() ||
         text::kTcpLowPort.matches() || text::kFewPackets.matches();
}

IptProg setLabel(std::string_view label) {
  return If(isShortOrNoApplication())
      .then({text::kSetLabel.target(label)})
      .orElse({text::kSetLabelAndMark.target(label)});
}

IptProg labelConnection(const User& user) {
  const User::Values& label = user.values("label_user");
  if (label.empty()) return makeEmptyProg();
  return If(text::kIsNotLabelled.matches(label.front()))
      .then({setDeviceNode(user), markClass(user), setLabel(label.front())});
}

IptProg userProgram(const User& user) {
  return If(ifConfigured(user, "mac_set_user", text::kFromUser)).then({labelConnection(user)});
}

}  // namespace

IptProg mangleProgram() {
  return forEachUser(userProgram);
}

}  // namespace tavrix::kovsel
