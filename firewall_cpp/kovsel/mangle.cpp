// mangle PREROUTING: recognises a user's packets by their MAC address and labels each connection
// once, with its statistics node, its class mark and its label.
#include <algorithm>
#include <utility>
#include <vector>

#include "firewall_cpp/kovsel/blocking.h"
#include "firewall_cpp/kovsel/kovsel.h"
#include "firewall_cpp/kovsel/rule_texts.h"
#include "firewall_cpp/kovsel/user.h"

namespace tavrix::kovsel {
namespace {

// Each device has the node at its place in the list. The last node is also that of every source
// that is no device of the list, so the last address is never tested.
IptProg statistics(const User& user) {
  const User::Values& macs = user.values("mac_user");
  const User::Values& nodes = user.values("mac_label_user");
  const std::size_t count = std::min(macs.size(), nodes.size());
  if (count == 0) return makeEmptyProg();

  std::vector<IptIfBlock> tests;
  for (std::size_t i = 0; i + 1 < count; ++i) {
    IptCond isDevice = text::kFromMac.matches(macs[i]);
    IptProg setNode = text::kCountForMac.target(nodes[i]);
    tests.push_back(appendThen(openIf(std::move(isDevice)), std::move(setNode)));
  }
  IptProg chosen = text::kCountForLastMac.target(nodes[count - 1]);
  for (; !tests.empty(); tests.pop_back()) {
    chosen = closeElse(std::move(tests.back()), std::move(chosen));
  }
  return chosen;
}

IptProg classMark(const User& user) {
  return user.values("class_user").empty() ? makeEmptyProg() : text::kMarkClass.target();
}

// Whether the connection's application cannot be told, now or ever.
IptCond isShortOrNoApplication() {
  IptCond udp = text::kUdp.matches();
  IptCond tcp = text::kTcp.matches();
  IptCond any = condNot(condOr(std::move(udp), std::move(tcp)));
  for (const RuleText* reason : {&text::kUdpLowPort, &text::kTcpLowPort, &text::kFewPackets}) {
    IptCond holds = reason->matches();
    any = condOr(std::move(any), std::move(holds));
  }
  return any;
}

IptProg setLabel(std::string_view label) {
  IptIfBlock unmarked = openIf(isShortOrNoApplication());
  IptProg withoutMark = text::kSetLabel.target(label);
  IptProg withMark = text::kSetLabelAndMark.target(label);
  return closeElse(appendThen(std::move(unmarked), std::move(withoutMark)), std::move(withMark));
}

IptProg labelConnection(const User& user) {
  const User::Values& label = user.values("label_user");
  if (label.empty()) return makeEmptyProg();
  IptIfBlock whenNotLabelled = openIf(text::kIsNotLabelled.matches(label.front()));
  IptProg countDevice = statistics(user);
  IptProg markClass = classMark(user);
  IptProg assignLabel = setLabel(label.front());
  return closeFi(appendThen(std::move(whenNotLabelled), std::move(countDevice),
                            std::move(markClass), std::move(assignLabel)));
}

IptProg userProgram(const User& user) {
  IptIfBlock whenFromUser = openIf(ifConfigured(user, "mac_set_user", text::kFromUser));
  IptProg body = labelConnection(user);
  return closeFi(appendThen(std::move(whenFromUser), std::move(body)));
}

}  // namespace

IptProg mangleProgram() {
  return forEachUser(userProgram);
}

}  // namespace tavrix::kovsel
