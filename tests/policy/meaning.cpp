#include "tests/policy/meaning.h"

#include <algorithm>

#include "tests/policy/policy_walk.h"

namespace policy {
namespace {

bool contains(const std::vector<std::string>& names, const std::string& name) {
  return std::ranges::find(names, name) != names.end();
}

// One user's part of one hook. Every step returns whether the packet goes on.
class Judgement {
 public:
  Judgement(const UserSettings& user, Family family, Packet& packet,
            std::vector<std::string>& events)
      : user_(user),
        packet_(packet),
        events_(events),
        blacklist_(family == Family::kV4 ? user.blacklistV4 : user.blacklistV6) {}

  bool mangle() {
    const bool isUsers = !user_.macSet.empty() && contains(packet_.senderSets, user_.macSet);
    if (!isUsers || packet_.label == user_.label) return true;
    const std::size_t nodes = std::min(user_.macs.size(), user_.macNodes.size());
    if (nodes > 0) {
      const auto end = user_.macs.begin() + static_cast<std::ptrdiff_t>(nodes - 1);
      const auto device = std::find(user_.macs.begin(), end, packet_.senderMac);
      note("node " + user_.macNodes[static_cast<std::size_t>(device - user_.macs.begin())]);
    }
    if (!user_.countedClasses.empty()) note("class mark");
    const bool hasApplication = isTcp() || packet_.protocol == "udp";
    const bool hasHighPort = packet_.sourcePort >= 1024 || packet_.destinationPort >= 1024;
    const bool isLong = packet_.packetsOriginal + packet_.packetsReply >= 3;
    packet_.label = user_.label;
    packet_.marked = hasApplication && hasHighPort && isLong;
    note("label " + user_.label + (packet_.marked ? " marked" : ""));
    return true;
  }

  bool nat() {
    if (packet_.label != user_.label) return true;
    if (user_.reject == "1") return redirect();
    if (!blacklist_.empty() && contains(packet_.destinationSets, blacklist_)) {
      refreshBlacklist();
      if (!redirect()) return false;
    }
    if (isBlockedHost()) {
      count(user_.hostCounter);
      if (!redirect()) return false;
    }
    return !isBlockedClass() || redirect();
  }

  bool filter(bool forwarded) {
    if (!forwarded && isTcp() && packet_.destinationPort == 8099) return true;
    if (packet_.label != user_.label) return true;
    if (user_.reject == "1") return reject();
    const bool marksShort = user_.countedClasses.empty() && !user_.keywords.empty();
    if (marksShort && isTcp() && packet_.packetsOriginal < 3) note("mark 0x20/0x20");
    if (isBlockedHost()) {
      if (forwarded) refreshBlacklist();
      count(user_.hostCounter);
      return reject();
    }
    if (isBlockedClass()) {
      if (forwarded) refreshBlacklist();
      count(user_.appCounter);
      return reject();
    }
    if (packet_.marked) return reject();
    const std::size_t nodes = std::min(user_.countedClasses.size(), user_.classNodes.size());
    for (std::size_t i = 0; i < nodes; ++i) {
      if (isOfClass(user_.countedClasses[i])) note("node " + user_.classNodes[i]);
    }
    return true;
  }

 private:
  void note(const std::string& event) { events_.push_back(event); }

  bool isTcp() const { return packet_.protocol == "tcp"; }

  bool isOfClass(const std::string& trafficClass) const {
    if (packet_.trafficClass != trafficClass) return false;
    const auto exceptions = user_.exceptions.find(trafficClass);
    return exceptions == user_.exceptions.end() || !contains(exceptions->second, packet_.subclass);
  }

  bool isBlockedClass() const {
    return std::ranges::any_of(user_.blockedClasses, [this](const std::string& trafficClass) {
      return isOfClass(trafficClass);
    });
  }

  bool isBlockedHost() const {
    return !user_.keywords.empty() && contains(packet_.hostSets, user_.keywords);
  }

  void refreshBlacklist() {
    if (!blacklist_.empty() && packet_.original) note("add " + blacklist_);
  }

  void count(const std::string& counter) {
    if (!counter.empty()) note("count " + counter);
  }

  bool redirect() {
    if (isTcp()) note("redirect 8099");
    return !isTcp();
  }

  bool reject() {
    note(isTcp() ? "reset" : "reject");
    return false;
  }

  const UserSettings& user_;
  Packet& packet_;
  std::vector<std::string>& events_;
  const std::string& blacklist_;
};

}  // namespace

std::string uciText(const std::vector<UserSettings>& users) {
  std::string text = "config kovsel 'kovsel'\n";
  const auto list = [&text](const std::string& name, const std::vector<std::string>& values) {
    for (const std::string& value : values) {
      text.append("\tlist ").append(name).append(" '").append(value).append("'\n");
    }
  };
  const auto option = [&list](const std::string& name, const std::string& value) {
    if (!value.empty()) list(name, {value});
  };
  for (const UserSettings& user : users) {
    const std::string number = std::to_string(user.number);
    option("user_list", number);
    option("mac_set_user" + number, user.macSet);
    option("label_user" + number, user.label);
    list("mac_user" + number, user.macs);
    list("mac_label_user" + number, user.macNodes);
    option("reject_user" + number, user.reject);
    option("blacklist_v4_user" + number, user.blacklistV4);
    option("blacklist_v6_user" + number, user.blacklistV6);
    option("keywords_user" + number, user.keywords);
    option("host_counter_user" + number, user.hostCounter);
    option("app_counter_user" + number, user.appCounter);
    list("class_reject_user" + number, user.blockedClasses);
    list("class_user" + number, user.countedClasses);
    list("class_label_user" + number, user.classNodes);
    for (const auto& [trafficClass, subclasses] : user.exceptions) {
      std::string name = "class_" + trafficClass;
      list(name.append("_except_user").append(number), subclasses);
    }
  }
  return text;
}

std::string meaning(const std::vector<UserSettings>& users, Hook hook, Family family,
                    Packet packet) {
  std::vector<std::string> events;
  for (const UserSettings& user : users) {
    Judgement judgement(user, family, packet, events);
    const bool goesOn = hook == Hook::kManglePrerouting ? judgement.mangle()
                        : hook == Hook::kNatPrerouting
                            ? judgement.nat()
                            : judgement.filter(hook == Hook::kFilterForward);
    if (!goesOn) break;
  }
  return joinEvents(events);
}

}  // namespace policy
