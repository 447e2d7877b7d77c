// One packet as the rules can see it: what it carries, its connection's state, and what the sets
// and the classifier of the router know about it.
#pragma once

#include <string>
#include <vector>

namespace policy {

enum class Family { kV4 = 4, kV6 = 6 };

enum class Hook {
  kManglePrerouting,
  kNatPrerouting,
  kFilterInput,
  kFilterForward,
  // All of a packet's way: mangle, nat, then INPUT when nat redirected it and FORWARD otherwise.
  kJourney,
};

// The defaults are a packet of a new connection that no rule has an opinion about: high ports, the
// first packet, no label. In the names of sets "$" stands for the family's number.
struct Packet {
  std::string protocol = "tcp";
  int sourcePort = 50000;
  int destinationPort = 40000;
  std::string senderMac = "02:00:00:00:00:ee";
  std::vector<std::string> senderSets = {};       // those that hold the sender's address
  std::vector<std::string> destinationSets = {};  // those that hold the destination's address
  bool original = true;                           // from the connection's originator
  int packetsOriginal = 1;                        // of the connection so far, this one included
  int packetsReply = 0;
  std::string label = {};  // the connection's; empty without one
  bool marked = false;     // mark bit 0x1 beside the label
  std::string trafficClass = {};
  std::string subclass = {};
  std::vector<std::string> hostSets = {};  // those that hold the name of the connection's host
};

}  // namespace policy
