// The matches and targets of the generated rules, decided on a described packet.
#include "tests/policy/policy_walk.h"

#include <algorithm>
#include <initializer_list>
#include <map>
#include <sstream>
#include <stdexcept>
#include <string_view>

#include "firewall_cpp/kovsel/kovsel.h"
#include "tests/support/program_comparison.h"

namespace policy {
namespace {

using test_support::ChainRule;
using test_support::Chains;

struct Argument {
  bool negated = false;
  std::string value;
};

// A match text taken apart: "-m set ! --match-set a src" is module "set" with the option
// "--match-set", negated, of value "a src".
struct Match {
  std::string module;  // "-4", "-6", "-p" for those options
  std::map<std::string, Argument> options;

  bool has(const std::string& option) const { return options.contains(option); }
  const std::string& value(const std::string& option) const { return options.at(option).value; }
  // Whether exactly these options are there.
  bool is(std::vector<std::string> names) const {
    std::ranges::sort(names);
    return std::ranges::equal(names, options, {}, {},
                              [](const auto& entry) { return entry.first; });
  }
};

Match parseMatch(const std::string& text) {
  std::istringstream in(text);
  Match match;
  std::string word;
  in >> match.module;
  if (match.module == "-m" || match.module == "-p") {
    std::string name;
    in >> name;
    match.module = match.module == "-m" ? name : "-p " + name;
  }
  bool negated = false;
  Argument* argument = nullptr;
  while (in >> word) {
    if (word == "!") {
      negated = true;
    } else if (word.starts_with("--")) {
      if (negated && word != "--label" && word != "--ports" && word != "--connbytes") {
        throw std::runtime_error("not expected to be negated: " + text);
      }
      argument = &match.options[word];
      argument->negated = negated;
      negated = false;
    } else if (argument == nullptr) {
      throw std::runtime_error("not understood: " + text);
    } else {
      argument->value += (argument->value.empty() ? "" : " ") + word;
    }
  }
  return match;
}

// The same few texts are asked for in every walk.
const Match& parsed(const std::string& text) {
  static std::map<std::string, Match> known;
  const auto found = known.find(text);
  return found != known.end() ? found->second : known.emplace(text, parseMatch(text)).first->second;
}

bool isAmong(const std::vector<std::string>& names, const std::string& name) {
  return std::ranges::find(names, name) != names.end();
}

// A packet on its way through the chains of one hook.
class Walk {
 public:
  Walk(Family family, Packet& packet) : family_(family), packet_(packet) {}

  // Appends what happens to `events`; returns whether a target ended the walk.
  bool run(const Chains& chains, std::string_view chain, std::vector<std::string>& events) {
    events_ = &events;
    return walkChains(chains, chain,
                      {[this](const std::string& text) { return holds(text); },
                       [this](const ChainRule& rule) { return meet(rule); }});
  }

 private:
  // A module that sets something always holds.
  bool note(const std::string& event) {
    events_->push_back(event);
    return true;
  }

  bool holds(const std::string& text) {
    const Match& match = parsed(text);
    if (match.module == "-4" && match.is({})) return family_ == Family::kV4;
    if (match.module == "-6" && match.is({})) return family_ == Family::kV6;
    if (match.module.starts_with("-p ") && match.is({})) {
      return match.module == "-p " + packet_.protocol;
    }
    if (match.module == "comment" && match.is({"--comment"})) return true;
    if (match.module == "set" && match.is({"--match-set"})) return isInSet(match);
    if (match.module == "mac" && match.is({"--mac-source"})) {
      return match.value("--mac-source") == packet_.senderMac;
    }
    if (match.module == "tcp" && match.is({"--dport"})) {
      return match.value("--dport") == std::to_string(packet_.destinationPort);
    }
    if (match.module == "multiport" && match.is({"--ports"})) return hasPort(match);
    if (match.module == "connbytes" &&
        match.is({"--connbytes", "--connbytes-dir", "--connbytes-mode"}) &&
        match.value("--connbytes-mode") == "packets") {
      return hasPackets(match);
    }
    if (match.module == "conntrack" && match.is({"--ctdir"})) {
      return match.value("--ctdir") == (packet_.original ? "ORIGINAL" : "REPLY");
    }
    if (match.module == "tavrix-xthostset" && match.is({"--set-name"})) {
      return isAmong(packet_.hostSets, match.value("--set-name"));
    }
    if (match.module == "tavrix-xtcounter" && match.is({"--inc"})) {
      return note("count " + match.value("--inc"));
    }
    if (match.module == "tavrix-connstat" && match.is({"--set", "--stat-node"})) {
      return note("node " + match.value("--stat-node"));
    }
    if (match.module == "tavrix-conndurvan") return classify(match, text);
    if (match.module == "tavrix-connlabel") return label(match, text);
    throw std::runtime_error("unknown match: " + text);
  }

  bool isInSet(const Match& match) const {
    std::istringstream in(match.value("--match-set"));
    std::string name;
    std::string side;
    in >> name >> side;
    if (side != "src" && side != "dst") throw std::runtime_error("unknown side: " + side);
    return isAmong(side == "src" ? packet_.senderSets : packet_.destinationSets, name);
  }

  // Either side may have the port; "!" turns that round as a whole: neither side has it.
  bool hasPort(const Match& match) const {
    const Argument& ports = match.options.at("--ports");
    const std::size_t colon = ports.value.find(':');
    const int low = std::stoi(ports.value.substr(0, colon));
    const int high = std::stoi(ports.value.substr(colon + 1));
    const auto inRange = [low, high](int port) { return port >= low && port <= high; };
    return (inRange(packet_.sourcePort) || inRange(packet_.destinationPort)) != ports.negated;
  }

  bool hasPackets(const Match& match) const {
    const std::string& direction = match.value("--connbytes-dir");
    if (direction != "both" && direction != "original") {
      throw std::runtime_error("unknown direction: " + direction);
    }
    const int count = packet_.packetsOriginal + (direction == "both" ? packet_.packetsReply : 0);
    const Argument& least = match.options.at("--connbytes");
    return (count >= std::stoi(least.value)) != least.negated;
  }

  bool classify(const Match& match, const std::string& text) {
    if (match.is({"--mark"})) return note("class mark");
    if (match.is({"--class"})) return match.value("--class") == packet_.trafficClass;
    if (match.is({"--invert", "--subclass"})) return match.value("--subclass") != packet_.subclass;
    throw std::runtime_error("unknown match: " + text);
  }

  bool label(const Match& match, const std::string& text) {
    const bool withMark = match.has("--mark");
    if (withMark && match.value("--mark") != "0x1") {
      throw std::runtime_error("unknown mark bit: " + text);
    }
    const Argument& value = match.options.at("--label");
    if (match.has("--set")) {
      packet_.label = value.value;
      packet_.marked = withMark;
      return note("label " + value.value + (withMark ? " marked" : ""));
    }
    const bool isLabelled = packet_.label == value.value && (!withMark || packet_.marked);
    return isLabelled != value.negated;
  }

  bool meet(const ChainRule& rule) {
    const std::string& target = rule.target;
    if (target == "-j REJECT") {
      note("reject");
      return true;
    }
    if (target == "-j REJECT --reject-with tcp-reset") {
      // The kernel takes such a rule for TCP only.
      if (packet_.protocol != "tcp") throw std::runtime_error("a reset of " + packet_.protocol);
      note("reset");
      return true;
    }
    const std::string redirect = "-j REDIRECT --to-ports ";
    if (target.starts_with(redirect)) {
      note("redirect " + target.substr(redirect.size()));
      packet_.destinationPort = std::stoi(target.substr(redirect.size()));
      return true;
    }
    const std::string mark = "-j MARK --set-mark ";
    if (target.starts_with(mark)) {
      note("mark " + target.substr(mark.size()));
      return false;
    }
    const std::string add = "-j SET --add-set ";
    const std::string addEnd = " dst --exist";
    if (target.starts_with(add) && target.ends_with(addEnd)) {
      note("add " + target.substr(add.size(), target.size() - add.size() - addEnd.size()));
      return false;
    }
    throw std::runtime_error("unknown target: " + target);
  }

  Family family_;
  Packet& packet_;
  std::vector<std::string>* events_ = nullptr;
};

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
    tables[place.hook] = test_support::parseChains(
        ":" + chain + " ACCEPT [0:0]\n" + test_support::compiledText(place.makeProgram(), chain));
  }
  return tables;
}

std::string walk(const Tables& tables, Hook hook, Family family, Packet packet) {
  fillInFamily(packet.senderSets, family);
  fillInFamily(packet.destinationSets, family);
  Walk way(family, packet);
  std::vector<std::string> events;
  const auto ends = [&](Hook met) {
    const Place& place = *std::ranges::find(kPlaces, met, &Place::hook);
    return way.run(tables.at(met), place.chain, events);
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
