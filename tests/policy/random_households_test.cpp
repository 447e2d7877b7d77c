// Random households and packets: the generated chains do what the settings mean. The meaning is a
// plain function of settings and packet, which knows no rules, graphs or chains.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <exception>
#include <iostream>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "tests/policy/policy_walk.h"
#include "tests/support/configuration.h"
#include "tests/support/random_configuration.h"
#include "wrt_cppwrap/uci_config.h"

namespace policy {
namespace {

using Names = std::vector<std::string>;

bool contains(const Names& names, const std::string& name) {
  return std::ranges::find(names, name) != names.end();
}

// The settings of one user in the present configuration.
class Settings {
 public:
  explicit Settings(std::string_view listed)
      : number_(std::to_string(
            static_cast<unsigned>(std::strtol(std::string(listed).c_str(), nullptr, 10)))) {}

  // The values of an option; of an option with one meaning the first one, empty without any.
  Names all(const std::string& option) const {
    const auto& values = tavrix::params["kovsel"][option + number_];
    return {values.begin(), values.end()};
  }
  std::string first(const std::string& option) const {
    const Names values = all(option);
    return values.empty() ? "" : values.front();
  }

 private:
  std::string number_;
};

// One user's part of one hook. Every step returns whether the packet goes on.
class Judgement {
 public:
  Judgement(std::string_view listed, Family family, Packet& packet, Names& events)
      : user_(listed),
        packet_(packet),
        events_(events),
        label_(user_.first("label_user")),
        keywords_(user_.first("keywords_user")),
        countedClasses_(user_.all("class_user")),
        blacklist_(user_.first(family == Family::kV4 ? "blacklist_v4_user" : "blacklist_v6_user")) {
  }

  bool mangle() {
    const bool isUsers = contains(packet_.senderSets, user_.first("mac_set_user"));
    if (!isUsers || label_.empty() || packet_.label == label_) return true;
    const Names macs = user_.all("mac_user");
    const Names nodes = user_.all("mac_label_user");
    const std::size_t count = std::min(macs.size(), nodes.size());
    if (count > 0) {
      const auto end = macs.begin() + static_cast<std::ptrdiff_t>(count - 1);
      const auto device = std::find(macs.begin(), end, packet_.senderMac);
      note("node " + nodes[static_cast<std::size_t>(device - macs.begin())]);
    }
    if (!countedClasses_.empty()) note("class mark");
    const bool hasApplication = isTcp() || packet_.protocol == "udp";
    const bool hasHighPort = packet_.sourcePort >= 1024 || packet_.destinationPort >= 1024;
    const bool isLong = packet_.packetsOriginal + packet_.packetsReply >= 3;
    packet_.label = label_;
    packet_.marked = hasApplication && hasHighPort && isLong;
    note("label " + label_ + (packet_.marked ? " marked" : ""));
    return true;
  }

  bool nat() {
    if (!isLabelled()) return true;
    if (isRejected()) return redirect();
    if (contains(packet_.destinationSets, blacklist_)) {
      refreshBlacklist();
      if (!redirect()) return false;
    }
    if (isBlockedHost()) {
      count("host_counter_user");
      if (!redirect()) return false;
    }
    return !isBlockedClass() || redirect();
  }

  bool filter(bool forwarded) {
    if (!forwarded && isTcp() && packet_.destinationPort == 8099) return true;
    if (!isLabelled()) return true;
    if (isRejected()) return reject();
    const bool marksShort = countedClasses_.empty() && !keywords_.empty();
    if (marksShort && isTcp() && packet_.packetsOriginal < 3) note("mark 0x20/0x20");
    if (isBlockedHost()) {
      if (forwarded) refreshBlacklist();
      count("host_counter_user");
      return reject();
    }
    if (isBlockedClass()) {
      if (forwarded) refreshBlacklist();
      count("app_counter_user");
      return reject();
    }
    if (packet_.marked) return reject();
    const Names nodes = user_.all("class_label_user");
    for (std::size_t i = 0; i < std::min(countedClasses_.size(), nodes.size()); ++i) {
      if (isOfClass(countedClasses_[i])) note("node " + nodes[i]);
    }
    return true;
  }

 private:
  void note(const std::string& event) { events_.push_back(event); }

  bool isTcp() const { return packet_.protocol == "tcp"; }
  bool isLabelled() const { return !label_.empty() && packet_.label == label_; }
  bool isRejected() const { return user_.first("reject_user") == "1"; }
  bool isBlockedHost() const { return contains(packet_.hostSets, keywords_); }

  bool isOfClass(const std::string& trafficClass) const {
    return packet_.trafficClass == trafficClass &&
           !contains(user_.all("class_" + trafficClass + "_except_user"), packet_.subclass);
  }

  bool isBlockedClass() const {
    return std::ranges::any_of(
        user_.all("class_reject_user"),
        [this](const std::string& trafficClass) { return isOfClass(trafficClass); });
  }

  void refreshBlacklist() {
    if (!blacklist_.empty() && packet_.original) note("add " + blacklist_);
  }

  void count(const std::string& option) {
    if (!user_.all(option).empty()) note("count " + user_.first(option));
  }

  bool redirect() {
    if (isTcp()) note("redirect 8099");
    return !isTcp();
  }

  bool reject() {
    note(isTcp() ? "reset" : "reject");
    return false;
  }

  Settings user_;
  Packet& packet_;
  Names& events_;
  std::string label_;  // these texts are empty where the option is absent
  std::string keywords_;
  Names countedClasses_;
  std::string blacklist_;
};

// What happens to the packet in one hook (not kJourney), as walk() writes it.
std::string meaning(Hook hook, Family family, Packet packet) {
  Names events;
  for (const std::string_view listed : tavrix::params["kovsel"]["user_list"]) {
    Judgement judgement(listed, family, packet, events);
    const bool goesOn = hook == Hook::kManglePrerouting ? judgement.mangle()
                        : hook == Hook::kNatPrerouting
                            ? judgement.nat()
                            : judgement.filter(hook == Hook::kFilterForward);
    if (!goesOn) break;
  }
  return joinEvents(events);
}

// The names are those of random configurations, so that packets and users meet often.
class PacketMaker {
 public:
  explicit PacketMaker(std::uint64_t seed) : random_(seed) {}

  // labels: those of the users, so that a connection is often one of theirs.
  Packet packet(const Names& labels) {
    Packet packet;
    packet.protocol = oneOf<std::string>({"tcp", "tcp", "udp", "icmp"});
    packet.sourcePort = oneOf<int>({53, 1023, 1024, 50000});
    packet.destinationPort = oneOf<int>({80, 1023, 1024, 8099});
    packet.senderMac =
        oneOf<std::string>({"02:00:00:00:00:01", "02:00:00:00:00:02", "02:00:00:00:00:03"});
    packet.senderSets = some({"macs_a", "macs_b"});
    packet.destinationSets = some({"black_a", "black_b", "black_c"});
    packet.original = below(3) > 0;
    packet.packetsOriginal = 1 + static_cast<int>(below(3));
    packet.packetsReply = static_cast<int>(below(3));
    packet.label = below(8) == 0 ? "" : oneOf(labels);
    packet.marked = below(3) == 0;
    packet.trafficClass = oneOf<std::string>({"", "games", "video", "news"});
    packet.subclass = oneOf<std::string>({"", "chess", "go", "news"});
    packet.hostSets = some({"hosts_a", "hosts_b"});
    return packet;
  }

 private:
  std::size_t below(std::size_t end) { return static_cast<std::size_t>(random_() % end); }

  template <class T>
  T oneOf(const std::vector<T>& values) {
    return values[below(values.size())];
  }

  // Up to three of them, in any order, with repetitions.
  Names some(const Names& values) {
    Names chosen(below(4));
    for (std::string& value : chosen) value = oneOf(values);
    return chosen;
  }

  std::mt19937_64 random_;
};

TEST(RandomHouseholds, AreTreatedAsTheirSettingsMean) {
  constexpr int kHouseholds = 300;
  constexpr int kPackets = 25;
  int households = 0;
  int walks = 0;
  int withoutEffect = 0;
  int errors = 0;
  for (std::uint64_t seed = 1; households < kHouseholds; ++seed) {
    const std::string configuration = test_support::randomConfiguration(seed, false);
    test_support::setConfiguration(configuration);
    Names labels;
    for (const std::string_view listed : tavrix::params["kovsel"]["user_list"]) {
      labels.push_back(Settings(listed).first("label_user"));
    }
    if (labels.empty()) continue;
    ++households;
    PacketMaker packets(seed);
    for (const Hook hook : {Hook::kManglePrerouting, Hook::kNatPrerouting, Hook::kFilterInput,
                            Hook::kFilterForward}) {
      Tables tables;
      try {
        tables = compileTables(hook);
      } catch (const std::exception& error) {
        const std::string_view text = error.what();
        const bool isLabelMissing = text.find(" but has no label_user") != text.npos;
        ASSERT_TRUE((isLabelMissing && contains(labels, "")) ||
                    text.find("'-m tavrix-conndurvan --class ' as matches. ") != text.npos)
            << text << "\n"
            << configuration;
        ++errors;
        continue;
      }
      for (int i = 0; i < kPackets; ++i) {
        const Packet packet = packets.packet(labels);
        for (const Family family : {Family::kV4, Family::kV6}) {
          const std::string expected = meaning(hook, family, packet);
          ASSERT_EQ(walk(tables, hook, family, packet), expected)
              << "seed " << seed << ", packet " << i << ", hook " << static_cast<int>(hook)
              << ", IPv" << static_cast<int>(family) << "\n"
              << configuration;
          ++walks;
          if (expected.empty()) ++withoutEffect;
        }
      }
    }
  }
  std::cout << households << " random households, " << walks << " packet walks, of which "
            << withoutEffect << " without effect; " << errors << " hooks have no program\n";
  EXPECT_LT(withoutEffect, walks / 4 * 3);
  EXPECT_LT(errors, kHouseholds);
}

}  // namespace
}  // namespace policy
