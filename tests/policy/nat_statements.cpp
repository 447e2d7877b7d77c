// What nat PREROUTING does to the connections of a user: TCP that is blocked goes to the local
// service, blacklisted destinations stay on their lists, blocked hosts are counted.
#include "tests/policy/statements.h"

namespace policy {
namespace {

const Household kParent = {R"(
	option mac_set_user5 parent_macs
	option label_user5 50
	list class_user5 news
	list class_label_user5 601
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
)"};

const Household kAlmostRejected = {R"(
	option label_user5 50
	option reject_user5 true
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
	list class_games_except_user5 go
	list class_user5 news
	list class_label_user5 601
)"};

const Household kBlacklistV4 = {R"(
	option label_user5 50
	option blacklist_v4_user5 black4
)"};

const Household kBlacklistV6 = {R"(
	option label_user5 50
	option blacklist_v6_user5 black6
)"};

const Household kUncounted = {R"(
	option label_user5 50
	option keywords_user5 hosts
	option app_counter_user5 72
)"};

const Household kNoLabel = {R"(
	option reject_user5 1
)"};

constexpr const char* kTwoChildren = R"(
	option label_user5 50
	option keywords_user5 hosts
	option host_counter_user5 71
	option label_user6 60
	option blacklist_v4_user6 black4
	option blacklist_v6_user6 black6
	option keywords_user6 other_hosts
	option host_counter_user6 73
	option class_reject_user6 games
)";

}  // namespace

StatementTable natStatements() {
  return {
      "nat PREROUTING",
      {Hook::kNatPrerouting},
      {
          {"A rejected user's TCP is redirected.", kGuest, {.label = "50"}, "redirect 8099"},
          {"The mark bit makes no difference.",
           kGuest,
           {.label = "50", .marked = true},
           "redirect 8099"},
          {"Neither does the port.",
           kGuest,
           {.destinationPort = 8099, .label = "50"},
           "redirect 8099"},
          {"A rejected user's UDP is left to the filter.",
           kGuest,
           {.protocol = "udp", .label = "50"},
           ""},
          {"So is a rejected user's ICMP.", kGuest, {.protocol = "icmp", .label = "50"}, ""},
          {"A rejected user's blacklists are not kept.",
           kGuest,
           {.destinationSets = {"black$"}, .label = "50"},
           "redirect 8099"},
          {"Not for UDP either.",
           kGuest,
           {.protocol = "udp", .destinationSets = {"black$"}, .label = "50"},
           ""},
          {"A rejected user's blocked hosts are not counted.",
           kGuest,
           {.label = "50", .hostSets = {"hosts"}},
           "redirect 8099"},
          {"A rejected user's connection before it is labelled passes.", kGuest, {}, ""},
          {"Someone else's label is not this user's.", kGuest, {.label = "500"}, ""},
          {"A user is rejected by the value 1 only.", kAlmostRejected, {.label = "50"}, ""},
          {"A user without a label has no connections.", kNoLabel, {}, ""},

          {"A child's ordinary TCP passes.", kChild, {.label = "50"}, ""},
          {"The mark bit is no matter of nat.", kChild, {.label = "50", .marked = true}, ""},
          {"An unlabelled connection passes whatever it is.",
           kChild,
           {.destinationSets = {"black$"}, .trafficClass = "games", .hostSets = {"hosts"}},
           ""},

          {"A blacklisted destination is refreshed and redirected.",
           kChild,
           {.destinationSets = {"black$"}, .label = "50"},
           "add black$; redirect 8099"},
          {"In the reply direction it is not refreshed.",
           kChild,
           {.destinationSets = {"black$"}, .original = false, .label = "50"},
           "redirect 8099"},
          {"For UDP it is refreshed and nothing else.",
           kChild,
           {.protocol = "udp", .destinationSets = {"black$"}, .label = "50"},
           "add black$"},
          {"UDP in the reply direction passes untouched.",
           kChild,
           {.protocol = "udp", .destinationSets = {"black$"}, .original = false, .label = "50"},
           ""},
          {"A blacklisted sender is no blacklisted destination.",
           kChild,
           {.senderSets = {"black4", "black6"}, .label = "50"},
           ""},
          {"A blacklist of IPv4 is none of IPv6.",
           kBlacklistV4,
           {.destinationSets = {"black4", "black6"}, .label = "50"},
           "add black4; redirect 8099",
           ""},
          {"A blacklist of IPv6 is none of IPv4.",
           kBlacklistV6,
           {.destinationSets = {"black4", "black6"}, .label = "50"},
           "",
           "add black6; redirect 8099"},
          {"A user without blacklists has nothing blacklisted.",
           kParent,
           {.destinationSets = {"black$"}, .label = "50"},
           ""},

          {"A blocked host is counted and redirected.",
           kChild,
           {.label = "50", .hostSets = {"hosts"}},
           "count 71; redirect 8099"},
          {"Over UDP it is only counted.",
           kChild,
           {.protocol = "udp", .label = "50", .hostSets = {"hosts"}},
           "count 71"},
          {"A host of another set is not blocked.",
           kChild,
           {.label = "50", .hostSets = {"other_hosts"}},
           ""},
          {"Without a counter a blocked host is redirected uncounted.",
           kUncounted,
           {.label = "50", .hostSets = {"hosts"}},
           "redirect 8099"},
          {"A blocked host on the blacklist is refreshed, and redirected before it is counted.",
           kChild,
           {.destinationSets = {"black$"}, .label = "50", .hostSets = {"hosts"}},
           "add black$; redirect 8099"},
          {"Over UDP it is refreshed and counted.",
           kChild,
           {.protocol = "udp", .destinationSets = {"black$"}, .label = "50", .hostSets = {"hosts"}},
           "add black$; count 71"},
          {"A user without keywords has no blocked hosts.",
           kParent,
           {.label = "50", .hostSets = {"hosts"}},
           ""},

          {"A blocked class is redirected, and not counted here.",
           kChild,
           {.label = "50", .trafficClass = "games"},
           "redirect 8099"},
          {"So is the second blocked class.",
           kChild,
           {.label = "50", .trafficClass = "video"},
           "redirect 8099"},
          {"Over UDP a blocked class is left to the filter.",
           kChild,
           {.protocol = "udp", .label = "50", .trafficClass = "games"},
           ""},
          {"An exempt subclass passes.",
           kChild,
           {.label = "50", .trafficClass = "games", .subclass = "chess"},
           ""},
          {"So does the other exempt subclass.",
           kChild,
           {.label = "50", .trafficClass = "games", .subclass = "go"},
           ""},
          {"A subclass that is not exempt does not.",
           kChild,
           {.label = "50", .trafficClass = "games", .subclass = "poker"},
           "redirect 8099"},
          {"A subclass is exempt in its own class only.",
           kChild,
           {.label = "50", .trafficClass = "video", .subclass = "chess"},
           "redirect 8099"},
          {"A class that is counted is not blocked.",
           kChild,
           {.label = "50", .trafficClass = "news"},
           ""},
          {"A class that nobody mentions is not blocked.",
           kChild,
           {.label = "50", .trafficClass = "mail"},
           ""},
          {"An exempt subclass of a blacklisted destination is redirected.",
           kChild,
           {.destinationSets = {"black$"},
            .label = "50",
            .trafficClass = "games",
            .subclass = "chess"},
           "add black$; redirect 8099"},
          {"A user with class statistics only has no blocked class.",
           kParent,
           {.label = "50", .trafficClass = "news"},
           ""},

          {"What is blocked for one user passes for the other.",
           {kTwoChildren, {"5", "6"}},
           {.label = "50", .trafficClass = "games", .hostSets = {"other_hosts"}},
           ""},
          {"And the other way round.",
           {kTwoChildren, {"5", "6"}},
           {.label = "60", .hostSets = {"hosts"}},
           ""},
          {"Each counts on the own counter.",
           {kTwoChildren, {"5", "6"}},
           {.label = "50", .hostSets = {"hosts", "other_hosts"}},
           "count 71; redirect 8099"},
          {"In whichever order they are listed.",
           {kTwoChildren, {"6", "5"}},
           {.label = "60", .hostSets = {"hosts", "other_hosts"}},
           "count 73; redirect 8099"},
          {"A user who is listed twice counts UDP twice.",
           {kTwoChildren, {"5", "05"}},
           {.protocol = "udp", .label = "50", .hostSets = {"hosts"}},
           "count 71; count 71"},
      },
  };
}

}  // namespace policy
