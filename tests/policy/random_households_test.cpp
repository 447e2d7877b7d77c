// Random households and packets: the generated chains do what the settings mean.
#include <gtest/gtest.h>

#include <iostream>
#include <random>
#include <string>
#include <vector>

#include "tests/policy/meaning.h"
#include "tests/policy/policy_walk.h"
#include "tests/support/configuration.h"

namespace policy {
namespace {

// Everything is drawn from few names, so that packets and users meet often.
class Draw {
 public:
  explicit Draw(unsigned seed) : random_(seed) {}

  bool oneIn(unsigned n) { return below(n) == 0; }
  unsigned below(unsigned n) { return static_cast<unsigned>(random_() % n); }

  template <class T>
  T oneOf(const std::vector<T>& values) {
    return values[below(static_cast<unsigned>(values.size()))];
  }

  // Up to three of them, in any order, with repetitions.
  std::vector<std::string> some(const std::vector<std::string>& values) {
    std::vector<std::string> chosen(below(4));
    for (std::string& value : chosen) value = oneOf(values);
    return chosen;
  }

  std::string maybe(const std::vector<std::string>& values) {
    return oneIn(3) ? "" : oneOf(values);
  }

 private:
  std::mt19937 random_;
};

const std::vector<std::string> kMacs = {"02:00:00:00:00:01", "02:00:00:00:00:02",
                                        "02:00:00:00:00:03"};
const std::vector<std::string> kNodes = {"101", "102", "103"};
const std::vector<std::string> kLabels = {"10", "20", "30"};
const std::vector<std::string> kMacSets = {"macs_a", "macs_b"};
const std::vector<std::string> kHostSets = {"hosts_a", "hosts_b"};
const std::vector<std::string> kBlacklists = {"black_a", "black_b"};
const std::vector<std::string> kClasses = {"games", "video", "news"};
const std::vector<std::string> kSubclasses = {"s1", "s2"};
const std::vector<std::string> kCounters = {"71", "72"};

UserSettings drawUser(Draw& draw, unsigned number) {
  UserSettings user;
  user.number = number;
  user.macSet = draw.maybe(kMacSets);
  user.label = draw.oneOf(kLabels);
  user.macs = draw.some(kMacs);
  user.macNodes = draw.some(kNodes);
  user.reject = draw.oneIn(4) ? "1" : draw.oneIn(4) ? "true" : "";
  user.blacklistV4 = draw.maybe(kBlacklists);
  user.blacklistV6 = draw.maybe(kBlacklists);
  user.keywords = draw.maybe(kHostSets);
  user.hostCounter = draw.maybe(kCounters);
  user.appCounter = draw.maybe(kCounters);
  user.blockedClasses = draw.some(kClasses);
  user.countedClasses = draw.some(kClasses);
  user.classNodes = draw.some(kNodes);
  for (const std::string& trafficClass : kClasses) {
    if (draw.oneIn(2)) user.exceptions[trafficClass] = draw.some(kSubclasses);
  }
  return user;
}

Packet drawPacket(Draw& draw) {
  Packet packet;
  packet.protocol = draw.oneOf<std::string>({"tcp", "tcp", "udp", "icmp"});
  packet.sourcePort = draw.oneOf<int>({53, 1023, 1024, 50000});
  packet.destinationPort = draw.oneOf<int>({80, 1023, 1024, 8099});
  packet.senderMac = draw.oneOf(kMacs);
  packet.senderSets = draw.some(kMacSets);
  packet.destinationSets = draw.some(kBlacklists);
  packet.original = !draw.oneIn(3);
  packet.packetsOriginal = 1 + static_cast<int>(draw.below(3));
  packet.packetsReply = static_cast<int>(draw.below(3));
  packet.label = draw.maybe(kLabels);
  packet.marked = draw.oneIn(3);
  packet.trafficClass = draw.maybe(kClasses);
  packet.subclass = draw.maybe(kSubclasses);
  packet.hostSets = draw.some(kHostSets);
  return packet;
}

TEST(RandomHouseholds, AreTreatedAsTheirSettingsMean) {
  constexpr unsigned kHouseholds = 300;
  constexpr int kPackets = 25;
  int walks = 0;
  int withoutEffect = 0;
  for (unsigned seed = 1; seed <= kHouseholds; ++seed) {
    Draw draw(seed);
    std::vector<UserSettings> users;
    for (unsigned number = 0; number <= seed % 4; ++number) {
      users.push_back(drawUser(draw, number));
    }
    test_support::setConfiguration(uciText(users));
    const Tables tables = compileTables(Hook::kJourney);
    for (int i = 0; i < kPackets; ++i) {
      const Packet packet = drawPacket(draw);
      for (const Hook hook : {Hook::kManglePrerouting, Hook::kNatPrerouting, Hook::kFilterInput,
                              Hook::kFilterForward}) {
        for (const Family family : {Family::kV4, Family::kV6}) {
          const std::string expected = meaning(users, hook, family, packet);
          ASSERT_EQ(walk(tables, hook, family, packet), expected)
              << "seed " << seed << ", packet " << i << ", hook " << static_cast<int>(hook)
              << ", IPv" << static_cast<int>(family) << "\n"
              << uciText(users);
          ++walks;
          if (expected.empty()) ++withoutEffect;
        }
      }
    }
  }
  std::cout << kHouseholds << " random households, " << walks << " packet walks, of which "
            << withoutEffect << " without effect\n";
  EXPECT_LT(withoutEffect, walks / 4 * 3);
}

}  // namespace
}  // namespace policy
