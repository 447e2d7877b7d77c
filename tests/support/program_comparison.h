// Rule programs against the chains generated from them: both are run for described packets, and
// have to meet the same targets in the same order.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "ipt_compiler/ir_graph.h"
#include "tests/support/chain_walker.h"

namespace test_support {

// The match texts of a program, numbered from 0.
using MatchNumbers = std::unordered_map<std::string, std::size_t>;

// What is known of a packet: the truth of each match text, by its number. Texts are independent:
// "-p tcp" and "-p udp" may both hold.
using Packet = std::vector<bool>;

// Whether a match text holds.
using Holds = std::function<bool(const std::string& match)>;

MatchNumbers matchNumbersOf(const tavrix::IptProg& program);

// For a packet over these numbers; a text without a number never holds. Both must outlive the
// result.
Holds holdsIn(const MatchNumbers& numbers, const Packet& packet);

// The texts that hold for a packet over these numbers, quoted and sorted.
std::vector<std::string> heldIn(const MatchNumbers& numbers, const Packet& packet);

// Every packet over up to ten texts. Over more: none, all, each one alone, and random ones, the
// same in every call.
std::vector<Packet> packetsOver(std::size_t texts);

// The targets that a packet meets in the graph as it stands: control enters at first, the targets
// of a node happen in order, and a condition holds if all its items hold. No target is final.
std::vector<std::string> evaluate(const tavrix::IptProg& program, const Holds& holds);

// What a program does, for every packet of packetsOver its texts.
struct Runs {
  MatchNumbers numbers;
  std::vector<Packet> packets;
  std::vector<std::vector<std::string>> met;  // by packet, as evaluate finds it
};

Runs runsOf(const tavrix::IptProg& program);

// The chain declarations and rules of a program that hangs from `chain`, generated chains numbered
// from 0.
std::string compiledText(tavrix::IptProg program, std::string_view chain);

// The chains of that text, side effects being targets.
Chains compiledChains(const std::string& text, std::string_view chain);

// The targets that a packet meets in generated chains, no target being final.
std::vector<std::string> metIn(const Chains& chains, std::string_view chain, const Holds& holds);

struct Difference {
  std::vector<std::string> held;  // heldIn of the packet
  std::vector<std::string> expected;
  std::vector<std::string> met;
  std::string rules;
};

// The first packet that meets something else in the chains generated from a program than what was
// expected of the same program.
std::optional<Difference> findDifference(const Runs& expected, tavrix::IptProg program,
                                         std::string_view chain);

// Compares the graph as built with the chains generated from it; adds the number of packets to
// `packets`. `makeProgram` is called once for each of the two and has to make fresh nodes; what it
// throws passes through.
std::optional<Difference> findDifference(const std::function<tavrix::IptProg()>& makeProgram,
                                         std::string_view chain, std::uint64_t& packets);

// For a failing test: the packet, both sequences and the rules.
std::string describe(const Difference& difference);

}  // namespace test_support
