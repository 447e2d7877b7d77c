// The generated rules, walked for a described packet; inspect/packet.h knows what their texts mean.
#include "tests/policy/policy_walk.h"

#include <algorithm>
#include <stdexcept>

#include "firewall_cpp/kovsel/kovsel.h"
#include "tests/support/program_comparison.h"

namespace policy {
namespace {

using tavrix::inspect::Answer;
using test_support::ChainRule;
using Told = tavrix::inspect::Packet;

bool isMet(const Told& packet, const std::string& match) {
  const Answer answer = tavrix::inspect::holds(packet, match);
  // Of sets only those are told that hold the packet.
  const bool asksSet = match.starts_with("-m set ") || match.starts_with("-m tavrix-xthostset ");
  if (answer == Answer::kNotSaid && !asksSet) throw std::runtime_error("unknown match: " + match);
  return answer == Answer::kYes;
}

// Returns whether the target ends the walk.
bool endsAt(Told& packet, const ChainRule& rule, std::vector<std::string>& events) {
  const tavrix::inspect::Event event = tavrix::inspect::meet(packet, rule.target);
  if (event.words.empty()) throw std::runtime_error("unknown target: " + rule.target);
  // The kernel takes such a rule for TCP only.
  if (event.words == "reset" && packet.protocol != "tcp") {
    throw std::runtime_error("a reset of " + *packet.protocol);
  }
  events.push_back(event.words);
  return event.isLast;
}

void fillInFamily(std::vector<std::string>& names, Family family) {
  for (std::string& name : names) {
    std::ranges::replace(name, '$', family == Family::kV4 ? '4' : '6');
  }
}

struct Place {
  Hook hook;
  const char* chain;
  tavrix::IptProg (*makeProgram)();
};

constexpr Place kPlaces[] = {
    {Hook::kManglePrerouting, "PREROUTING", tavrix::kovsel::mangleProgram},
    {Hook::kNatPrerouting, "PREROUTING", tavrix::kovsel::natPreroutingProgram},
    {Hook::kFilterInput, "INPUT", tavrix::kovsel::filterInputProgram},
    {Hook::kFilterForward, "FORWARD", tavrix::kovsel::filterForwardProgram},
};

}  // namespace

tavrix::inspect::Packet told(Packet packet, Family family) {
  fillInFamily(packet.senderSets, family);
  fillInFamily(packet.destinationSets, family);
  Told known;
  known.family = static_cast<int>(family);
  known.protocol = packet.protocol;
  known.sourcePort = packet.sourcePort;
  known.destinationPort = packet.destinationPort;
  known.senderMac = packet.senderMac;
  known.senderSets = packet.senderSets;
  known.destinationSets = packet.destinationSets;
  known.hostSets = packet.hostSets;
  known.label = packet.label;
  known.isMarked = packet.marked;
  known.isOriginal = packet.original;
  known.packetsOriginal = packet.packetsOriginal;
  known.packetsReply = packet.packetsReply;
  known.trafficClass = packet.trafficClass;
  known.subclass = packet.subclass;
  return known;
}

std::string joinEvents(const std::vector<std::string>& events) {
  std::string text;
  for (const std::string& event : events) text.append(text.empty() ? "" : "; ").append(event);
  return text;
}

Tables compileTables(Hook hook) {
  Tables tables;
  for (const Place& place : kPlaces) {
    if (hook != place.hook && hook != Hook::kJourney) continue;
    const std::string chain = place.chain;
    tables[place.hook] =
        test_support::compiledChains(test_support::compiledText(place.makeProgram(), chain), chain);
  }
  return tables;
}

std::string walk(const Tables& tables, Hook hook, Family family, const Packet& packet) {
  Told known = told(packet, family);
  std::vector<std::string> events;
  const auto ends = [&](Hook met) {
    const Place& place = *std::ranges::find(kPlaces, met, &Place::hook);
    return walkChains(tables.at(met), place.chain,
                      {[&](const std::string& match) {
                         return match == test_support::kRuleTag || isMet(known, match);
                       },
                       [&](const ChainRule& rule) { return endsAt(known, rule, events); }});
  };
  if (hook == Hook::kJourney) {
    ends(Hook::kManglePrerouting);
    ends(ends(Hook::kNatPrerouting) ? Hook::kFilterInput : Hook::kFilterForward);
  } else {
    ends(hook);
  }
  return joinEvents(events);
}

}  // namespace policy
