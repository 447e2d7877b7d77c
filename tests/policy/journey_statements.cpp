// What becomes of a packet on its whole way, with what mangle notes there for nat and filter.
#include "tests/policy/statements.h"

namespace policy {
namespace {

const Household kParent = {R"(
	option mac_set_user5 macs
	option label_user5 50
	list mac_user5 02:00:00:00:00:01
	list mac_label_user5 501
)"};

const Household kGuest = {R"(
	option mac_set_user5 macs
	option label_user5 50
	option reject_user5 1
)"};

const Household kChild = {R"(
	option mac_set_user5 macs
	option label_user5 50
	list mac_user5 02:00:00:00:00:01
	list mac_label_user5 501
	option blacklist_v4_user5 black4
	option blacklist_v6_user5 black6
	option keywords_user5 hosts
	option host_counter_user5 71
	option app_counter_user5 72
	list class_reject_user5 games
	list class_user5 games
)"};

const Household kKeywords = {R"(
	option mac_set_user5 macs
	option label_user5 50
	option keywords_user5 hosts
	option host_counter_user5 71
)"};

Packet fromUser(Packet packet = {}) {
  packet.senderSets = {"macs"};
  return packet;
}

}  // namespace

StatementTable journeyStatements() {
  return {
      "the whole way",
      {Hook::kJourney},
      {
          {"A guest's first TCP packet gets to the redirect service.", kGuest, fromUser(),
           "label 50; redirect 8099"},
          {"A guest's later ones too.", kGuest,
           fromUser({.packetsOriginal = 5, .packetsReply = 4, .label = "50"}), "redirect 8099"},
          {"A guest's first UDP packet is rejected.", kGuest, fromUser({.protocol = "udp"}),
           "label 50; reject"},
          {"A guest's ping is rejected.", kGuest, fromUser({.protocol = "icmp"}),
           "label 50; reject"},
          {"A stranger's packets pass.", kGuest, {}, ""},
          {"A parent's first packet passes and is counted.", kParent, fromUser(),
           "node 501; label 50"},
          {"A parent's connection that was labelled early passes for good.", kParent,
           fromUser({.packetsOriginal = 500, .packetsReply = 900, .label = "50"}), ""},
          {"One that is labelled late is rejected.", kParent,
           fromUser({.packetsOriginal = 3, .packetsReply = 3}), "node 501; label 50 marked; reset"},
          {"A child's first packet to a blocked host gets to the redirect service.", kChild,
           fromUser({.hostSets = {"hosts"}}),
           "node 501; class mark; label 50; count 71; redirect 8099"},
          {"Over UDP it is counted in nat and in filter, and rejected.", kChild,
           fromUser({.protocol = "udp", .hostSets = {"hosts"}}),
           "node 501; class mark; label 50; count 71; add black$; count 71; reject"},
          {"A child's packet to a blacklisted address gets to the redirect service.", kChild,
           fromUser({.destinationSets = {"black$"}, .label = "50"}), "add black$; redirect 8099"},
          {"A child's game is redirected.", kChild,
           fromUser({.label = "50", .trafficClass = "games"}), "redirect 8099"},
          {"A child's game over UDP is blacklisted, counted and rejected.", kChild,
           fromUser({.protocol = "udp", .label = "50", .trafficClass = "games"}),
           "add black$; count 72; reject"},
          {"Short connections are marked on their way out.", kKeywords, fromUser(),
           "label 50; mark 0x20/0x20"},
          {"Not on their way to the redirect service.", kKeywords,
           fromUser({.hostSets = {"hosts"}}), "label 50; count 71; redirect 8099"},
      },
  };
}

}  // namespace policy
