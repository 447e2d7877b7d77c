// Sends packets through the chains that the present configuration gives.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "inspect/packet.h"
#include "tests/policy/packet.h"
#include "tests/support/chain_walker.h"

namespace policy {

// The chains that are generated for each hook, and its own; the same for both address families.
using Tables = std::map<Hook, test_support::Chains>;

// The form in which a packet's events are compared: separated by "; ".
std::string joinEvents(const std::vector<std::string>& events);

// Compiles what packets of the hook meet, for the configuration set with
// test_support::setConfiguration; the rest stays out. Throws what the programs throw.
Tables compileTables(Hook hook);

// The packet with everything about it told. In the names of sets "$" becomes the family's number.
tavrix::inspect::Packet told(Packet packet, Family family);

// What the rules do to the packet, in order, as joined events in the words of inspect/packet.h.
// Matches are decided as the kernel decides them. A label that a rule sets is there for the rules
// after it. Throws std::runtime_error for a match or target that is not known.
std::string walk(const Tables& tables, Hook hook, Family family, const Packet& packet);

}  // namespace policy
