// What mangle PREROUTING notes about a connection: its user, its device, its application.
#include "tests/policy/statements.h"

namespace policy {
namespace {

constexpr const char* kDevice1 = "02:00:00:00:00:01";
constexpr const char* kDevice2 = "02:00:00:00:00:02";
constexpr const char* kDevice3 = "02:00:00:00:00:03";

// Only counted: three devices, each with its node.
const Household kParent = {R"(
	option mac_set_user5 parent_macs
	option label_user5 50
	list mac_user5 02:00:00:00:00:01
	list mac_user5 02:00:00:00:00:02
	list mac_user5 02:00:00:00:00:03
	list mac_label_user5 501
	list mac_label_user5 502
	list mac_label_user5 503
)"};

const Household kOneDevice = {R"(
	option mac_set_user5 parent_macs
	option label_user5 50
	list mac_user5 02:00:00:00:00:01
	list mac_label_user5 501
)"};

const Household kMoreDevicesThanNodes = {R"(
	option mac_set_user5 parent_macs
	option label_user5 50
	list mac_user5 02:00:00:00:00:01
	list mac_user5 02:00:00:00:00:02
	list mac_user5 02:00:00:00:00:03
	list mac_label_user5 501
	list mac_label_user5 502
)"};

const Household kNodesOnly = {R"(
	option mac_set_user5 parent_macs
	option label_user5 50
	list mac_label_user5 501
)"};

const Household kNoStatistics = {R"(
	option mac_set_user5 parent_macs
	option label_user5 50
)"};

const Household kWithClasses = {R"(
	option mac_set_user5 parent_macs
	option label_user5 50
	list mac_user5 02:00:00:00:00:01
	list mac_user5 02:00:00:00:00:02
	list mac_label_user5 501
	list mac_label_user5 502
	list class_user5 games
)"};

const Household kWithEmptyClass = {R"(
	option mac_set_user5 parent_macs
	option label_user5 50
	option class_user5 ''
)"};

const Household kNoMacSet = {R"(
	option label_user5 50
	list mac_user5 02:00:00:00:00:01
	list mac_label_user5 501
	list class_user5 games
)"};

const Household kNoLabel = {R"(
	option mac_set_user5 parent_macs
	list mac_user5 02:00:00:00:00:01
	list mac_label_user5 501
	list class_user5 games
)"};

const Household kGuest = {R"(
	option mac_set_user5 parent_macs
	option label_user5 50
	option reject_user5 1
	option keywords_user5 hosts
	option class_reject_user5 games
)"};

constexpr const char* kTwoUsersOfOneDevice = R"(
	option mac_set_user5 parent_macs
	option label_user5 50
	option mac_set_user6 parent_macs
	option label_user6 60
	list mac_user6 02:00:00:00:00:01
	list mac_label_user6 601
)";

// A packet from one of the user's devices.
Packet from(const char* mac, Packet packet = {}) {
  packet.senderMac = mac;
  packet.senderSets = {"parent_macs"};
  return packet;
}

// A packet of a connection that has gone on for a while.
Packet longFrom(const char* mac, Packet packet = {}) {
  packet.packetsOriginal = 20;
  packet.packetsReply = 30;
  return from(mac, packet);
}

}  // namespace

StatementTable mangleStatements() {
  return {
      "mangle PREROUTING",
      {Hook::kManglePrerouting},
      {
          {"The first device of a user is counted on its own node.", kParent, from(kDevice1),
           "node 501; label 50"},
          {"So is the second.", kParent, from(kDevice2), "node 502; label 50"},
          {"So is the last.", kParent, from(kDevice3), "node 503; label 50"},
          {"A device that the user's set holds and the list does not is counted on the last node.",
           kParent, from("02:00:00:00:00:77"), "node 503; label 50"},
          {"With one device, every device of the set is counted on its node.", kOneDevice,
           from(kDevice2), "node 501; label 50"},
          {"A device without a node of its own is counted on the last node.", kMoreDevicesThanNodes,
           from(kDevice3), "node 502; label 50"},
          {"So is the one before it, whose node is the last.", kMoreDevicesThanNodes,
           from(kDevice2), "node 502; label 50"},
          {"A device before those keeps its own node.", kMoreDevicesThanNodes, from(kDevice1),
           "node 501; label 50"},
          {"Nodes without devices count nothing.", kNodesOnly, from(kDevice1), "label 50"},
          {"A user without devices or nodes is labelled all the same.", kNoStatistics,
           from(kDevice1), "label 50"},
          {"A listed device that the user's set does not hold is nobody's.",
           kParent,
           {.senderMac = kDevice1},
           ""},
          {"A device that another set holds is not this user's.",
           kParent,
           {.senderMac = kDevice1, .senderSets = {"other_macs"}},
           ""},
          {"The set is asked about the sender, not about the destination.",
           kParent,
           {.senderMac = kDevice1, .destinationSets = {"parent_macs"}},
           ""},
          {"A user without a set of addresses has no packets.", kNoMacSet, from(kDevice1), ""},

          {"A user without a label is neither labelled nor counted.", kNoLabel, from(kDevice1), ""},

          {"A labelled connection is left as it is.", kParent, from(kDevice1, {.label = "50"}), ""},
          {"Also when it has got long enough for the mark bit since.", kParent,
           longFrom(kDevice1, {.label = "50"}), ""},
          {"Also when it has the mark bit.", kParent,
           longFrom(kDevice1, {.label = "50", .marked = true}), ""},
          {"Someone else's label is replaced.", kParent, from(kDevice1, {.label = "77"}),
           "node 501; label 50"},

          {"A TCP connection between high ports gets the mark bit.", kNoStatistics,
           longFrom(kDevice1), "label 50 marked"},
          {"A UDP connection between high ports gets the mark bit.", kNoStatistics,
           longFrom(kDevice1, {.protocol = "udp"}), "label 50 marked"},
          {"The mark bit is beside the statistics, not instead of them.", kParent,
           longFrom(kDevice2), "node 502; label 50 marked"},
          {"A TCP connection of two packets gets no mark bit.", kNoStatistics,
           from(kDevice1, {.packetsOriginal = 1, .packetsReply = 1}), "label 50"},
          {"A UDP connection of two packets gets no mark bit.", kNoStatistics,
           from(kDevice1, {.protocol = "udp", .packetsOriginal = 2}), "label 50"},
          {"Three packets are enough.", kNoStatistics, from(kDevice1, {.packetsOriginal = 3}),
           "label 50 marked"},
          {"Packets of both directions count together.", kNoStatistics,
           from(kDevice1, {.packetsOriginal = 1, .packetsReply = 2}), "label 50 marked"},
          {"A TCP connection between low ports gets no mark bit.", kNoStatistics,
           longFrom(kDevice1, {.sourcePort = 513, .destinationPort = 22}), "label 50"},
          {"A UDP connection between low ports gets no mark bit.", kNoStatistics,
           longFrom(kDevice1, {.protocol = "udp", .sourcePort = 123, .destinationPort = 123}),
           "label 50"},
          {"Port 1023 is low.", kNoStatistics,
           longFrom(kDevice1, {.sourcePort = 1023, .destinationPort = 1023}), "label 50"},
          {"Port 1024 is high.", kNoStatistics,
           longFrom(kDevice1, {.sourcePort = 1024, .destinationPort = 1024}), "label 50 marked"},
          {"The highest port is high.", kNoStatistics,
           longFrom(kDevice1, {.sourcePort = 65535, .destinationPort = 65535}), "label 50 marked"},
          // The kernel's multiport asks whether either side has such a port; negated, neither has.
          {"A high port on one side makes up for a low one on the other.", kNoStatistics,
           longFrom(kDevice1, {.sourcePort = 50000, .destinationPort = 443}), "label 50 marked"},
          {"On whichever side it is.", kNoStatistics,
           longFrom(kDevice1, {.protocol = "udp", .sourcePort = 53, .destinationPort = 50000}),
           "label 50 marked"},
          {"ICMP gets no mark bit, however long it goes on.", kNoStatistics,
           longFrom(kDevice1, {.protocol = "icmp"}), "label 50"},
          {"Nor does any other protocol.", kNoStatistics, longFrom(kDevice1, {.protocol = "gre"}),
           "label 50"},

          {"A user with traffic classes has new connections marked for classification.",
           kWithClasses, from(kDevice1), "node 501; class mark; label 50"},
          {"Whichever device it is.", kWithClasses, from(kDevice2),
           "node 502; class mark; label 50"},
          {"Whatever the protocol.", kWithClasses, longFrom(kDevice1, {.protocol = "icmp"}),
           "node 501; class mark; label 50"},
          {"With and without the mark bit.", kWithClasses, longFrom(kDevice1),
           "node 501; class mark; label 50 marked"},
          {"But only once.", kWithClasses, from(kDevice1, {.label = "50"}), ""},
          {"A class without a name is a class.", kWithEmptyClass, from(kDevice1),
           "class mark; label 50"},
          {"Classes to be blocked are no reason to mark for classification.", kGuest,
           from(kDevice1), "label 50"},
          {"Nothing is said of the direction: a user's answers are labelled too.", kParent,
           from(kDevice1, {.original = false}), "node 501; label 50"},

          {"A device of two users ends with the label of the later one.",
           {kTwoUsersOfOneDevice, {"5", "6"}},
           from(kDevice1),
           "label 50; node 601; label 60"},
          {"The list says who is the later one.",
           {kTwoUsersOfOneDevice, {"6", "5"}},
           from(kDevice1),
           "node 601; label 60; label 50"},
          {"A user who is not listed has no rules.",
           {kTwoUsersOfOneDevice, {"6"}},
           from(kDevice1),
           "node 601; label 60"},
          {"A user who is listed twice labels a connection once.",
           {kTwoUsersOfOneDevice, {"6", "06", "6th"}},
           from(kDevice1),
           "node 601; label 60"},
      },
  };
}

}  // namespace policy
