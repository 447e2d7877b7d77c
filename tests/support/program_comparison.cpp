#include "tests/support/program_comparison.h"

#include <algorithm>
#include <random>
#include <sstream>
#include <unordered_set>
#include <utility>

#include "ipt_compiler/chain_generation.h"

namespace test_support {
namespace {

using tavrix::IptProg;
using tavrix::ProxyIrNode;

std::string joined(const std::vector<std::string>& words) {
  std::string all;
  for (const std::string& word : words) all += (all.empty() ? "" : ", ") + word;
  return all.empty() ? "nothing" : all;
}

std::vector<Packet> everyPacket(std::size_t texts) {
  std::vector<Packet> packets;
  for (std::size_t bits = 0; bits < (std::size_t{1} << texts); ++bits) {
    Packet& packet = packets.emplace_back(texts);
    for (std::size_t text = 0; text < texts; ++text) packet[text] = ((bits >> text) & 1U) != 0;
  }
  return packets;
}

}  // namespace

MatchNumbers matchNumbersOf(const IptProg& program) {
  MatchNumbers numbers;
  std::unordered_set<const ProxyIrNode*> seen;
  std::vector<const ProxyIrNode*> toVisit = {program.first.get()};
  while (!toVisit.empty()) {
    const ProxyIrNode* const node = toVisit.back();
    toVisit.pop_back();
    if (node == nullptr || !seen.insert(node).second) continue;
    for (const tavrix::IptMatch& match : node->matches().items) {
      numbers.try_emplace(tavrix::matchText(match), numbers.size());
    }
    for (const auto& successor : node->successor) toVisit.push_back(successor.get());
  }
  return numbers;
}

Holds holdsIn(const MatchNumbers& numbers, const Packet& packet) {
  return [&numbers, &packet](const std::string& match) {
    const auto found = numbers.find(match);
    return found != numbers.end() && packet[found->second];
  };
}

std::vector<std::string> heldIn(const MatchNumbers& numbers, const Packet& packet) {
  std::vector<std::string> held;
  for (const auto& [text, number] : numbers) {
    if (packet[number]) held.push_back('"' + text + '"');
  }
  std::ranges::sort(held);
  return held;
}

std::vector<Packet> packetsOver(std::size_t texts) {
  constexpr std::size_t kFewTexts = 10;
  constexpr int kRandomPackets = 64;
  if (texts <= kFewTexts) return everyPacket(texts);

  std::vector<Packet> packets = {Packet(texts, false), Packet(texts, true)};
  for (std::size_t text = 0; text < texts; ++text) packets.emplace_back(texts)[text] = true;
  // From few texts that hold to many.
  std::mt19937_64 random(texts);
  for (int i = 0; i < kRandomPackets; ++i) {
    Packet& packet = packets.emplace_back(texts);
    for (std::size_t text = 0; text < texts; ++text) {
      packet[text] = random() % (kRandomPackets + 1) <= static_cast<std::uint64_t>(i);
    }
  }
  return packets;
}

std::vector<std::string> evaluate(const IptProg& program, const Holds& holds) {
  std::vector<std::string> met;
  for (const ProxyIrNode* node = program.first.get(); node != nullptr;) {
    for (const tavrix::IptTarget& target : node->targets()) met.push_back(target.text);
    const bool condition = std::ranges::all_of(
        node->matches().items, [&](const auto& match) { return holds(tavrix::matchText(match)); });
    node =
        node->successor[condition ? tavrix::_IptIrNode::kNext : tavrix::_IptIrNode::kNoMatch].get();
  }
  return met;
}

Runs runsOf(const IptProg& program) {
  Runs runs{matchNumbersOf(program), {}, {}};
  runs.packets = packetsOver(runs.numbers.size());
  for (const Packet& packet : runs.packets) {
    runs.met.push_back(evaluate(program, holdsIn(runs.numbers, packet)));
  }
  return runs;
}

std::string compiledText(IptProg program, std::string_view chain) {
  std::uint32_t counter = 0;
  std::ostringstream out;
  tavrix::compileHook(counter, out, program, chain, false);
  return out.str();
}

Chains compiledChains(const std::string& text, std::string_view chain) {
  Chains chains = parseChains(":" + std::string(chain) + " - [0:0]\n" + text);
  takeSideEffectsForTargets(chains);
  return chains;
}

std::vector<std::string> metIn(const Chains& chains, std::string_view chain, const Holds& holds) {
  std::vector<std::string> met;
  walkChains(chains, chain,
             {[&](const std::string& match) { return match == kRuleTag || holds(match); },
              [&](const ChainRule& rule) {
                met.push_back(rule.target);
                return false;
              }});
  return met;
}

std::optional<Difference> findDifference(const Runs& expected, IptProg program,
                                         std::string_view chain) {
  const std::string rules = compiledText(std::move(program), chain);
  const Chains chains = compiledChains(rules, chain);
  for (std::size_t i = 0; i < expected.packets.size(); ++i) {
    const Packet& packet = expected.packets[i];
    std::vector<std::string> met = metIn(chains, chain, holdsIn(expected.numbers, packet));
    if (met == expected.met[i]) continue;
    return Difference{heldIn(expected.numbers, packet), expected.met[i], std::move(met), rules};
  }
  return std::nullopt;
}

std::optional<Difference> findDifference(const std::function<IptProg()>& makeProgram,
                                         std::string_view chain, std::uint64_t& packets) {
  const Runs expected = runsOf(makeProgram());
  packets += expected.packets.size();
  return findDifference(expected, makeProgram(), chain);
}

std::string describe(const Difference& difference) {
  return "for a packet for which there holds " + joined(difference.held) +
         "\n  the program meets " + joined(difference.expected) + "\n  the chains meet " +
         joined(difference.met) + "\n" + difference.rules;
}

}  // namespace test_support
