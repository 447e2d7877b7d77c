// mangle PREROUTING: recognises a user's packets by their MAC address, labels each connection
// once, and gives it a statistics node and a class mark.
#include <algorithm>

#include "firewall_cpp/kovsel/kovsel.h"
#include "firewall_cpp/kovsel/user_rules.h"

namespace tavrix::kovsel {
namespace {

// Each device gets the node at its place in the list. The last address is never tested, on purpose:
// its node also counts every other source.
IptProg setDeviceNode(const User& user) {
  const User::Values& macs = user.values("mac_user");
  const User::Values& nodes = user.values("mac_label_user");
  const std::size_t count = std::min(macs.size(), nodes.size());
  if (count == 0) return makeEmptyProg();

  // Parsed in list order, so that the first wrong value is reported.
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

// The application cannot be recognised: neither UDP nor TCP, both ports low, or fewer than 3
// packets.
IptCond hasNoKnownApplication() {
  return !(text::kUdp.matches() || text::kTcp.matches()) || text::kUdpLowPort.matches() ||
         text::kTcpLowPort.matches() || text::kFewPackets.matches();
}

IptProg setLabel(std::string_view label) {
  return If(hasNoKnownApplication())
      .then({text::kSetLabel.target(label)})
      .orElse({text::kSetLabelAndMark.target(label)});
}

IptProg labelConnection(const User& user) {
  const User::Values& label = user.values("label_user");
  if (label.empty()) return makeEmptyProg();
  return If(text::kIsNotLabelled.matches(label.front()))
      .then({setDeviceNode(user), markClass(user), setLabel(label.front())});
}

IptProg userLabelling(const User& user) {
  return If(isFromUser(user)).then({labelConnection(user)});
}

}  // namespace

IptProg mangleProgram() {
  return forEachUser(userLabelling);
}

}  // namespace tavrix::kovsel
