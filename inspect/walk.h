// A packet's way through a rule program, and through the chains generated from it.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "inspect/packet.h"
#include "inspect/program_graph.h"

namespace tavrix::inspect {

// A condition or a target that the packet came to.
struct Step {
  std::string text;
  bool isTarget = false;
  Answer answer = Answer::kYes;  // of a condition: as far as it was asked; not said is as no
  std::vector<std::string> unsaid = {};  // its options that nothing was said about
  std::optional<int> source = {};        // the noted text that it came from
  // In chains: the whole rule as written. A rule with a target has a step for each of both.
  std::size_t rule = 0;
};

struct Walk {
  std::vector<Step> steps;
  bool hasLeft = false;  // the last target ended it
};

// What happens on it, in order.
std::vector<std::string> targetsOf(const Walk& walk);

// The program as it was written: its graph from the entry on.
Walk walkProgram(const std::vector<GraphNode>& graph, Packet packet);

// The generated rules of a restore text.
class GeneratedChains {
 public:
  explicit GeneratedChains(const std::string& restoreText);

  // From the first generated rule of the chain to its end. Jumps and returns of the chains are no
  // targets.
  Walk walk(const std::string& chain, Packet packet) const;

  // The line of a rule that a step names, without the mark.
  const std::string& line(std::size_t rule) const { return rules_[rule].line; }

 private:
  struct Rule {
    std::string line;
    std::string condition;
    std::string target;  // a jump to a chain of another program too; empty for the next
    bool isGoto = false;
    bool returns = false;
    std::string chain;  // where it leads to
  };

  std::vector<Rule> rules_;
  std::map<std::string, std::vector<std::size_t>> chains_;
};

}  // namespace tavrix::inspect
