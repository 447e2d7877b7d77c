// Both walks ask and meet in the same way; what they differ in is where control goes.
#include "inspect/walk.h"

#include <sstream>
#include <utility>

#include "ipt_compiler/generated_marks.h"

namespace tavrix::inspect {
namespace {

// Asks until one option does not hold, as the kernel does.
Step ask(const Packet& packet, const std::string& condition) {
  Step step{.text = condition};
  for (const std::string& option : optionsIn(condition)) {
    step.answer = holds(packet, option);
    if (step.answer == Answer::kNotSaid) step.unsaid.push_back(option);
    if (step.answer != Answer::kYes) break;
  }
  return step;
}

// Appends the target; returns whether the packet goes on.
bool goesOn(Walk& walk, Packet& packet, Step target) {
  walk.hasLeft = meet(packet, target.text).isLast;
  target.isTarget = true;
  walk.steps.push_back(std::move(target));
  return !walk.hasLeft;
}

}  // namespace

std::vector<std::string> targetsOf(const Walk& walk) {
  std::vector<std::string> targets;
  for (const Step& step : walk.steps) {
    if (step.isTarget) targets.push_back(step.text);
  }
  return targets;
}

Walk walkProgram(const std::vector<GraphNode>& graph, Packet packet) {
  Walk walk;
  for (std::optional<std::size_t> at = 0; at;) {
    const GraphNode& node = graph[*at];
    for (std::size_t i = 0; i < node.targets.size(); ++i) {
      const Step target{.text = node.targets[i], .source = node.targetSources[i]};
      if (!goesOn(walk, packet, target)) return walk;
    }
    at = node.next;
    if (node.condition.empty()) continue;
    Step step = ask(packet, node.condition);
    if (!node.conditionSources.empty()) step.source = node.conditionSources.front();
    if (step.answer != Answer::kYes && node.noMatch) at = node.noMatch;
    walk.steps.push_back(std::move(step));
  }
  return walk;
}

GeneratedChains::GeneratedChains(const std::string& restoreText) {
  const std::string mark = std::string(" ") + kRuleMark;
  std::istringstream lines(restoreText);
  for (std::string line; std::getline(lines, line);) {
    if (!line.starts_with("-A ") || !line.ends_with(mark)) continue;
    line.erase(line.size() - mark.size());
    const std::size_t end = line.find(' ', 3);
    chains_[line.substr(3, end - 3)].push_back(rules_.size());
    Rule& rule = rules_.emplace_back();
    std::vector<std::string> options = optionsIn(line.substr(end));
    // What a generated rule does stands last: a jump, or a match module used for its side effect.
    rule.target = std::move(options.back());
    options.pop_back();
    for (const std::string& option : options) {
      rule.condition.append(rule.condition.empty() ? "" : " ").append(option);
    }
    rule.isGoto = rule.target.starts_with("-g ");
    const bool leads = rule.target.substr(3).starts_with(kChainPrefix);
    if (leads) rule.chain = rule.target.substr(3);
    rule.returns = rule.target == "-j RETURN";
    if (leads || rule.returns) rule.target.clear();
    rule.line = std::move(line);
  }
}

Walk GeneratedChains::walk(const std::string& chain, Packet packet) const {
  struct Frame {
    const std::vector<std::size_t>* rules;
    std::size_t next;
  };
  Walk walk;
  const auto first = chains_.find(chain);
  if (first == chains_.end()) return walk;
  std::vector<Frame> frames = {{&first->second, 0}};
  while (!frames.empty()) {
    Frame& frame = frames.back();
    if (frame.next == frame.rules->size()) {
      frames.pop_back();
      continue;
    }
    const std::size_t number = (*frame.rules)[frame.next++];
    const Rule& rule = rules_[number];
    Step asked = ask(packet, rule.condition);
    asked.rule = number;
    const bool holds = asked.answer == Answer::kYes;
    walk.steps.push_back(std::move(asked));
    if (!holds) continue;
    if (rule.returns) {
      frames.pop_back();
    } else if (!rule.chain.empty()) {
      // After a goto, the end of that chain returns to where this one was jumped from.
      if (rule.isGoto) frames.pop_back();
      // A chain without rules is not there.
      const auto next = chains_.find(rule.chain);
      if (next != chains_.end()) frames.push_back({&next->second, 0});
    } else if (!goesOn(walk, packet, {.text = rule.target, .rule = number})) {
      return walk;
    }
  }
  return walk;
}

}  // namespace tavrix::inspect
