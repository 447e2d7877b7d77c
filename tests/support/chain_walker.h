// Walks the chains of a restore text for one packet, as the kernel would: rules in order, jumps,
// gotos, returns. The caller decides whether a match holds and whether a target ends the walk.
#pragma once

#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace test_support {

// One "-A" rule, its options as text with single blanks, in the order written.
struct ChainRule {
  std::vector<std::string> matches;  // "-p tcp", "! -i br-lan", "-m mark --mark 0x1"
  std::string target;                // "-j MARK --set-mark 0x1", "-g chain"; empty without one
  std::string targetName;            // the word after "-j" or "-g"; empty for a side effect
  bool isGoto = false;
};

using Chains = std::map<std::string, std::vector<ChainRule>, std::less<>>;

// The chains of one table's restore text. Throws std::runtime_error, naming the line, on a rule for
// a chain that is not declared before it.
Chains parseChains(std::string_view restoreText);

// An option text as above, for each option of a text of matches.
std::vector<std::string> splitOptions(const std::string& text);

// What ends the matches of every generated rule.
inline constexpr std::string_view kRuleTag = "-m comment --comment ipt_compiler";

// Gives each generated rule without a jump its target: the match module right before the tag, used
// for its side effect. Such a rule is generated for nothing else, so this is right even for a
// module that other rules have as a match. Throws std::runtime_error for a rule without one.
void takeSideEffectsForTargets(Chains& chains);

struct WalkCallbacks {
  // Whether the packet meets the match. Called in the order of evaluation, until one fails; a match
  // module used for its side effect is seen here, unless it was taken for a target.
  std::function<bool(const std::string& match)> holds;
  // Called for every target of a rule whose matches hold, except jumps, gotos and returns. Returns
  // whether the target ends the walk.
  std::function<bool(const ChainRule& rule)> meet;
};

// Returns whether a target ended the walk; false if it fell off the end of the chain. Throws
// std::runtime_error on a goto or jump to a chain that the text does not declare.
bool walkChains(const Chains& chains, std::string_view chain, const WalkCallbacks& callbacks);

}  // namespace test_support
