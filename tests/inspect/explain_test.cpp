// "explain" against what is known of packets elsewhere: the policy statements, and the walker of
// generated chains on random packets.
#include <gtest/gtest.h>

#include <algorithm>
#include <exception>
#include <iostream>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "inspect/walk.h"
#include "tests/policy/policy_walk.h"
#include "tests/policy/statements.h"
#include "tests/support/configuration.h"
#include "tests/support/hooked_chains.h"
#include "tests/support/program_comparison.h"
#include "tests/support/random_configuration.h"

namespace inspect_test {
namespace {

using tavrix::inspect::Answer;
using tavrix::inspect::GeneratedChains;
using tavrix::inspect::GraphNode;
using tavrix::inspect::Packet;
using tavrix::inspect::readGraph;
using tavrix::inspect::Walk;

const test_support::HookedChain& placeOf(policy::Hook hook) {
  using policy::Hook;
  const bool isFilter = hook == Hook::kFilterInput || hook == Hook::kFilterForward;
  const std::string_view table = hook == Hook::kManglePrerouting ? "mangle"
                                 : isFilter                      ? "filter"
                                                                 : "nat";
  const std::string_view chain = hook == Hook::kFilterInput     ? "INPUT"
                                 : hook == Hook::kFilterForward ? "FORWARD"
                                                                : "PREROUTING";
  return *std::ranges::find_if(test_support::kHookedChains, [&](const auto& hooked) {
    return hooked.table == table && hooked.chain == chain;
  });
}

// What both walks say of the packet in a hook, in the words of the statements; what happens to it
// is noted in `packet`. Returns whether it leaves there.
bool explain(policy::Hook hook, Packet& packet, std::vector<std::string>& events) {
  const test_support::HookedChain& place = placeOf(hook);
  const Walk walk = walkProgram(readGraph(place.makeProgram(), false), packet);
  const GeneratedChains chains(test_support::compiledText(place.makeProgram(), place.chain));
  EXPECT_EQ(targetsOf(chains.walk(std::string(place.chain), packet)), targetsOf(walk));
  for (const std::string& target : targetsOf(walk)) events.push_back(meet(packet, target).words);
  return walk.hasLeft;
}

TEST(Explain, GivesTheAnswersOfThePolicyStatements) {
  using policy::Hook;
  int statements = 0;
  for (const policy::StatementTable& table : policy::readStatements(STATEMENTS)) {
    for (const policy::Statement& statement : table.statements) {
      SCOPED_TRACE(table.name + ": " + statement.text);
      std::string configuration = "config kovsel 'kovsel'\n";
      for (const std::string& user : statement.listed) {
        configuration += "\tlist user_list '" + user + "'\n";
      }
      test_support::setConfiguration(configuration + statement.options);
      for (const Hook hook : table.hooks) {
        for (const policy::Family family : {policy::Family::kV4, policy::Family::kV6}) {
          Packet packet = policy::told(statement.packet, family);
          std::vector<std::string> events;
          if (hook == Hook::kJourney) {
            explain(Hook::kManglePrerouting, packet, events);
            const bool isRedirected = explain(Hook::kNatPrerouting, packet, events);
            explain(isRedirected ? Hook::kFilterInput : Hook::kFilterForward, packet, events);
          } else {
            explain(hook, packet, events);
          }
          EXPECT_EQ(policy::joinEvents(events),
                    family == policy::Family::kV4 ? statement.happensOnV4 : statement.happensOnV6);
        }
      }
      ++statements;
    }
  }
  std::cout << "explain: " << statements << " policy statements, on IPv4 and IPv6\n";
  EXPECT_GT(statements, 100);
}

// A packet about which something is said at random: texts of the program, and facts of few values.
Packet randomPacket(std::mt19937& random, const std::set<std::string>& options) {
  const auto oneIn = [&random](unsigned chances) { return random() % chances == 0; };
  Packet packet;
  for (const std::string& option : options) {
    if (oneIn(2)) tell(packet, (oneIn(4) ? "! " : "") + option);
  }
  if (oneIn(2)) packet.family = oneIn(2) ? 4 : 6;
  if (oneIn(2)) packet.protocol = oneIn(2) ? "tcp" : "17";
  if (oneIn(2)) packet.label = std::to_string(random() % 8);
  if (oneIn(2)) packet.isMarked = oneIn(2);
  if (oneIn(2)) packet.trafficClass = oneIn(2) ? "games" : "video";
  if (oneIn(2)) packet.subclass = oneIn(2) ? "chess" : "go";
  if (oneIn(2)) packet.sourcePort = oneIn(2) ? 80 : 40000;
  if (oneIn(2)) packet.destinationPort = oneIn(2) ? 8099 : 53;
  if (oneIn(2)) packet.hostSets = packet.senderSets = {"hosts_a", "macs_a"};
  if (oneIn(2)) packet.mark = static_cast<std::uint32_t>(random() % 16);
  if (oneIn(2)) packet.knownMark = static_cast<std::uint32_t>(random() % 16);
  return packet;
}

// The chains of the walker ask and change a packet that is its own.
std::vector<std::string> walkedTargets(const test_support::Chains& chains, std::string_view chain,
                                       Packet packet) {
  std::vector<std::string> targets;
  walkChains(chains, chain,
             {[&](const std::string& match) {
                return match == test_support::kRuleTag ||
                       tavrix::inspect::holds(packet, match) == Answer::kYes;
              },
              [&](const test_support::ChainRule& rule) {
                targets.push_back(rule.target);
                return meet(packet, rule.target).isLast;
              }});
  return targets;
}

TEST(Explain, SendsRandomPacketsWhereTheWalkerOfChainsSendsThem) {
  constexpr unsigned kConfigurations = 300;
  constexpr int kPackets = 10;
  int walks = 0;
  int withTargets = 0;
  for (unsigned seed = 1; seed <= kConfigurations; ++seed) {
    std::mt19937 random(seed);
    const std::string configuration = test_support::randomConfiguration(seed);
    test_support::setConfiguration(configuration);
    for (const test_support::HookedChain& hook : test_support::kHookedChains) {
      std::string rules;
      try {
        rules = test_support::compiledText(hook.makeProgram(), hook.chain);
      } catch (const std::exception&) {
        continue;  // no program: "check" is for those
      }
      const std::vector<GraphNode> graph = readGraph(hook.makeProgram(), false);
      const GeneratedChains generated(rules);
      const test_support::Chains chains = test_support::compiledChains(rules, hook.chain);
      std::set<std::string> options;
      for (const GraphNode& node : graph) {
        for (const std::string& option : tavrix::inspect::optionsIn(node.condition)) {
          options.insert(option);
        }
      }
      for (int i = 0; i < kPackets; ++i) {
        const Packet packet = randomPacket(random, options);
        const std::vector<std::string> expected = walkedTargets(chains, hook.chain, packet);
        SCOPED_TRACE("seed " + std::to_string(seed) + ", packet " + std::to_string(i) + "\n" +
                     configuration + rules);
        ASSERT_EQ(targetsOf(walkProgram(graph, packet)), expected);
        ASSERT_EQ(targetsOf(generated.walk(std::string(hook.chain), packet)), expected);
        ++walks;
        withTargets += expected.empty() ? 0 : 1;
      }
    }
  }
  std::cout << "explain: " << kConfigurations << " random configurations, " << walks
            << " random packets, " << withTargets << " of them meet targets\n";
  EXPECT_GT(withTargets, walks / 10);
}

}  // namespace
}  // namespace inspect_test
