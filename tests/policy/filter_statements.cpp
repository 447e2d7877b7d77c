// What filter does to the connections of a user, in INPUT and FORWARD: rejects what is blocked,
// counts it, and counts traffic classes.
#include "tests/policy/statements.h"

namespace policy {
namespace {

// Only counted, by class.
const Household kParent = {R"(
	option mac_set_user5 parent_macs
	option label_user5 50
	list class_user5 news
	list class_user5 video
	list class_user5 mail
	list class_label_user5 601
	list class_label_user5 602
	list class_video_except_user5 lessons
	list class_video_except_user5 calls
)"};

// Rejected, and everything else set as well.
const Household kGuest = {R"(
	option label_user5 50
	option reject_user5 1
	option blacklist_v4_user5 black4
	option blacklist_v6_user5 black6
	option keywords_user5 hosts
	option host_counter_user5 71
	option app_counter_user5 72
	list class_reject_user5 games
	list class_label_user5 601
)"};

const Household kGuestWithClasses = {R"(
	option label_user5 50
	option reject_user5 1
	list class_user5 games
	list class_label_user5 601
)"};

const Household kAlmostRejected = {R"(
	option label_user5 50
	option reject_user5 01
)"};

const Household kChild = {R"(
	option label_user5 50
	option blacklist_v4_user5 black4
	option blacklist_v6_user5 black6
	option keywords_user5 hosts
	option host_counter_user5 71
	option app_counter_user5 72
	list class_reject_user5 games
	list class_reject_user5 video
	list class_games_except_user5 chess
	list class_user5 news
	list class_user5 games
	list class_label_user5 601
	list class_label_user5 602
)"};

// Blocked hosts, no traffic classes, no blacklists.
const Household kKeywords = {R"(
	option label_user5 50
	option keywords_user5 hosts
	option host_counter_user5 71
)"};

const Household kUncounted = {R"(
	option label_user5 50
	option keywords_user5 hosts
	option class_user5 ''
	option class_reject_user5 games
)"};

const Household kBlacklistV4 = {R"(
	option label_user5 50
	option blacklist_v4_user5 black4
	option keywords_user5 hosts
	option class_user5 news
)"};

constexpr const char* kTwoChildren = R"(
	option label_user5 50
	option keywords_user5 hosts
	option host_counter_user5 71
	option label_user6 60
	option class_reject_user6 games
	option app_counter_user6 73
	option class_user6 news
	option class_label_user6 604
)";

}  // namespace

StatementTable filterStatements() {
  return {
      "filter INPUT and FORWARD",
      {Hook::kFilterInput, Hook::kFilterForward},
      {
          {"A rejected user's TCP is reset.", kGuest, {.label = "50"}, "reset"},
          {"In both directions.", kGuest, {.original = false, .label = "50"}, "reset"},
          {"A rejected user's UDP is rejected.",
           kGuest,
           {.protocol = "udp", .label = "50"},
           "reject"},
          {"A rejected user's ICMP is rejected.",
           kGuest,
           {.protocol = "icmp", .label = "50"},
           "reject"},
          {"UDP to the port of the redirect service is rejected.",
           kGuest,
           {.protocol = "udp", .destinationPort = 8099, .label = "50"},
           "reject"},
          {"TCP from that port is reset.", kGuest, {.sourcePort = 8099, .label = "50"}, "reset"},
          {"A rejected user's blocked hosts and classes are not counted.",
           kGuest,
           {.label = "50", .trafficClass = "games", .hostSets = {"hosts"}},
           "reset"},
          {"Nor are the statistics of classes kept.",
           kGuestWithClasses,
           {.label = "50", .trafficClass = "games"},
           "reset"},
          {"A rejected user's mark bit makes no difference.",
           kGuest,
           {.label = "50", .marked = true},
           "reset"},
          {"A rejected user's connection before it is labelled passes.", kGuest, {}, ""},
          {"Someone else's label is not this user's.", kGuest, {.label = "5"}, ""},
          {"A user is rejected by the value 1 only.", kAlmostRejected, {.label = "50"}, ""},

          {"A child's ordinary connection passes.", kChild, {.label = "50"}, ""},
          {"An unlabelled connection meets no user's rules.",
           kChild,
           {.destinationSets = {"black$"},
            .marked = true,
            .trafficClass = "games",
            .hostSets = {"hosts"}},
           ""},
          {"A blacklisted destination alone is no matter of the filter.",
           kChild,
           {.destinationSets = {"black$"}, .label = "50"},
           ""},

          {"The first TCP packets of a user with keywords and no classes are marked.",
           kKeywords,
           {.label = "50"},
           "mark 0x20/0x20"},
          {"So is the second.", kKeywords, {.packetsOriginal = 2, .label = "50"}, "mark 0x20/0x20"},
          {"The third is not.", kKeywords, {.packetsOriginal = 3, .label = "50"}, ""},
          {"Only packets of the originator count.",
           kKeywords,
           {.packetsOriginal = 2, .packetsReply = 9, .label = "50"},
           "mark 0x20/0x20"},
          {"Replies to the first packets are marked too.",
           kKeywords,
           {.original = false, .packetsOriginal = 1, .packetsReply = 1, .label = "50"},
           "mark 0x20/0x20"},
          {"UDP is not marked.", kKeywords, {.protocol = "udp", .label = "50"}, ""},
          {"A blocked host is marked, counted and reset.",
           kKeywords,
           {.label = "50", .hostSets = {"hosts"}},
           "mark 0x20/0x20; count 71; reset"},
          {"After the first packets it is counted and reset.",
           kKeywords,
           {.packetsOriginal = 3, .label = "50", .hostSets = {"hosts"}},
           "count 71; reset"},
          {"Over UDP it is counted and rejected.",
           kKeywords,
           {.protocol = "udp", .label = "50", .hostSets = {"hosts"}},
           "count 71; reject"},
          {"A host of another set passes.",
           kKeywords,
           {.packetsOriginal = 3, .label = "50", .hostSets = {"other_hosts"}},
           ""},
          {"Nothing is marked for a user without keywords.", kParent, {.label = "50"}, ""},
          {"Nothing is marked for a user with keywords and a class, be it without a name.",
           kUncounted,
           {.label = "50"},
           ""},
          {"Without counters a blocked host is only reset.",
           kUncounted,
           {.label = "50", .hostSets = {"hosts"}},
           "reset"},
          {"Without counters a blocked class is only reset.",
           kUncounted,
           {.label = "50", .trafficClass = "games"},
           "reset"},

          {"A connection with the mark bit is reset.",
           kChild,
           {.label = "50", .marked = true},
           "reset"},
          {"Over UDP it is rejected.",
           kChild,
           {.protocol = "udp", .label = "50", .marked = true},
           "reject"},
          {"Also that of a user for whom nothing is blocked.",
           kParent,
           {.label = "50", .marked = true},
           "reset"},
          {"Its class is not counted then.",
           kParent,
           {.label = "50", .marked = true, .trafficClass = "news"},
           "reset"},
          {"The mark bit of someone else's label means nothing.",
           kParent,
           {.label = "51", .marked = true},
           ""},

          {"A counted class is counted on its node.",
           kParent,
           {.label = "50", .trafficClass = "news"},
           "node 601"},
          {"So is the next one, on its own.",
           kParent,
           {.label = "50", .trafficClass = "video"},
           "node 602"},
          {"Whatever the protocol.",
           kParent,
           {.protocol = "udp", .label = "50", .trafficClass = "video"},
           "node 602"},
          {"An exempt subclass is not counted.",
           kParent,
           {.label = "50", .trafficClass = "video", .subclass = "lessons"},
           ""},
          {"Nor is the other one.",
           kParent,
           {.label = "50", .trafficClass = "video", .subclass = "calls"},
           ""},
          {"A subclass that is not exempt is counted.",
           kParent,
           {.label = "50", .trafficClass = "video", .subclass = "films"},
           "node 602"},
          {"A subclass is exempt in its own class only.",
           kParent,
           {.label = "50", .trafficClass = "news", .subclass = "lessons"},
           "node 601"},
          {"A class without a node is not counted.",
           kParent,
           {.label = "50", .trafficClass = "mail"},
           ""},
          {"A class that is blocked is rejected and not counted as a class.",
           kUncounted,
           {.protocol = "udp", .label = "50", .trafficClass = "games"},
           "reject"},
          {"A subclass that is exempt from blocking is exempt from counting.",
           kChild,
           {.label = "50", .trafficClass = "games", .subclass = "chess"},
           ""},
          {"A counted class that is not blocked passes and is counted.",
           kChild,
           {.label = "50", .trafficClass = "news"},
           "node 601"},

          {"What is blocked for one user passes for the other.",
           {kTwoChildren, {"5", "6"}},
           {.packetsOriginal = 3, .label = "50", .trafficClass = "games"},
           ""},
          {"And the other way round.",
           {kTwoChildren, {"5", "6"}},
           {.label = "60", .hostSets = {"hosts"}},
           ""},
          {"Each counts on the own counter.",
           {kTwoChildren, {"6", "5"}},
           {.label = "60", .trafficClass = "games"},
           "count 73; reset"},
          {"One user's node does not count the other's class.",
           {kTwoChildren, {"6", "5"}},
           {.packetsOriginal = 3, .label = "50", .trafficClass = "news"},
           ""},
      },
  };
}

StatementTable inputStatements() {
  return {
      "filter INPUT",
      {Hook::kFilterInput},
      {
          {"TCP to the redirect service passes for a rejected user.",
           kGuest,
           {.destinationPort = 8099, .label = "50"},
           ""},
          {"For a connection with the mark bit.",
           kParent,
           {.destinationPort = 8099, .label = "50", .marked = true},
           ""},
          {"For a blocked host, uncounted and unmarked.",
           kKeywords,
           {.destinationPort = 8099, .label = "50", .hostSets = {"hosts"}},
           ""},
          {"For a blocked class.",
           kChild,
           {.destinationPort = 8099, .label = "50", .trafficClass = "games"},
           ""},
          {"Its class is not counted either.",
           kParent,
           {.destinationPort = 8099, .label = "50", .trafficClass = "news"},
           ""},
          {"A port beside it does not pass.",
           kGuest,
           {.destinationPort = 8098, .label = "50"},
           "reset"},
          {"A blocked host's address is not blacklisted for traffic to the router.",
           kChild,
           {.label = "50", .hostSets = {"hosts"}},
           "count 71; reset"},
          {"Nor is that of a blocked class.",
           kChild,
           {.label = "50", .trafficClass = "games"},
           "count 72; reset"},
          {"Over UDP a blocked class is counted and rejected.",
           kChild,
           {.protocol = "udp", .label = "50", .trafficClass = "video"},
           "count 72; reject"},
      },
  };
}

StatementTable forwardStatements() {
  return {
      "filter FORWARD",
      {Hook::kFilterForward},
      {
          {"TCP to port 8099 of another machine is reset for a rejected user.",
           kGuest,
           {.destinationPort = 8099, .label = "50"},
           "reset"},
          {"A blocked host's address goes on the blacklist of its family.",
           kChild,
           {.label = "50", .hostSets = {"hosts"}},
           "add black$; count 71; reset"},
          {"Whether or not it is there already.",
           kChild,
           {.destinationSets = {"black$"}, .label = "50", .hostSets = {"hosts"}},
           "add black$; count 71; reset"},
          {"Over UDP too.",
           kChild,
           {.protocol = "udp", .label = "50", .hostSets = {"hosts"}},
           "add black$; count 71; reject"},
          {"In the reply direction the destination is the user, who is not blacklisted.",
           kChild,
           {.original = false, .label = "50", .hostSets = {"hosts"}},
           "count 71; reset"},
          {"A user with a blacklist of one family only has one.",
           kBlacklistV4,
           {.label = "50", .hostSets = {"hosts"}},
           "add black4; reset",
           "reset"},
          {"The address of a blocked class goes on the blacklist.",
           kChild,
           {.label = "50", .trafficClass = "games"},
           "add black$; count 72; reset"},
          {"That of the second blocked class too.",
           kChild,
           {.protocol = "udp", .label = "50", .trafficClass = "video"},
           "add black$; count 72; reject"},
          {"Not in the reply direction.",
           kChild,
           {.original = false, .label = "50", .trafficClass = "video"},
           "count 72; reset"},
          {"A blocked host of a blocked class counts as a host.",
           kChild,
           {.label = "50", .trafficClass = "games", .hostSets = {"hosts"}},
           "add black$; count 71; reset"},
          {"An exempt subclass stays off the blacklist.",
           kChild,
           {.label = "50", .trafficClass = "games", .subclass = "chess"},
           ""},
          {"A rejected user's destinations are not blacklisted.",
           kGuest,
           {.label = "50", .trafficClass = "games", .hostSets = {"hosts"}},
           "reset"},
          {"The mark bit blacklists nothing.", kChild, {.label = "50", .marked = true}, "reset"},
          {"A blocked class with the mark bit is counted first.",
           kChild,
           {.label = "50", .marked = true, .trafficClass = "games"},
           "add black$; count 72; reset"},
      },
  };
}

}  // namespace policy
