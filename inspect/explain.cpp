// The packet goes through the rule program as it is written and through the chains generated from
// it. One walk is shown; both have to meet the same targets.

#include <algorithm>
#include <set>
#include <span>
#include <string>
#include <unordered_map>
#include <vector>

#include "inspect/commands.h"
#include "inspect/next_run.h"
#include "inspect/noted_texts.h"
#include "inspect/packet_words.h"
#include "inspect/program_graph.h"
#include "inspect/walk.h"

namespace tavrix::inspect {
namespace {

// The generated rules of the hook's table, numbered as in a run.
GeneratedChains chainsOf(std::string_view table) {
  const Pass& pass = *std::ranges::find(kPasses, table, &Pass::table);
  std::string saved = "*" + std::string(table) + "\n";
  for (const HookPlan& plan : pass.hooks) {
    saved.append(":").append(plan.chain).append(" ACCEPT [0:0]\n");
  }
  return GeneratedChains(nextText({&pass, saved + "COMMIT\n"}));
}

// A return in the chains is none of the targets met there: most are generated.
bool doTheSame(const Walk& asWritten, const Walk& generated) {
  std::vector<std::string> targets = targetsOf(asWritten);
  std::erase(targets, "-j RETURN");
  return targets == targetsOf(generated);
}

std::string listOf(const std::vector<std::string>& texts) {
  std::string all;
  for (const std::string& text : texts) all.append(all.empty() ? "" : "; ").append(text);
  return all.empty() ? "nothing" : all;
}

std::string_view wordFor(const Step& step) {
  if (step.isTarget) return "does ";
  if (step.answer == Answer::kYes) return "yes  ";
  return step.answer == Answer::kNo ? "no   " : "no?  ";
}

Look lookOf(const Step& step) {
  if (step.isTarget) return Look::kAdded;
  return step.answer == Answer::kYes ? Look::kPlain : Look::kFaint;
}

// Finds the generated rules that belong to the statements of a program. Both walks meet the same
// targets in the same order. So the rule of a condition is among those between the two targets that
// stand before and after it.
class RuleFinder {
 public:
  explicit RuleFinder(const Walk& generated) : steps_(generated.steps) {
    for (std::size_t i = 0; i < steps_.size(); ++i) {
      if (steps_[i].isTarget) targets_.push_back(i);
      for (const std::string& option : optionsIn(steps_[i].text)) places_[option].push_back(i);
    }
  }

  // To be called for each statement of the walk in turn. Null for a condition that no rule has.
  const std::size_t* ruleOf(const Step& statement) {
    if (statement.isTarget) {
      const bool returns = statement.text == "-j RETURN";
      if (returns || target_ == targets_.size()) return nullptr;
      begin_ = targets_[target_++];
      cursor_ = begin_;
      return &steps_[begin_].rule;
    }
    // The last option says most.
    const auto found = places_.find(optionsIn(statement.text).back());
    if (found == places_.end()) return nullptr;
    const std::size_t end = target_ == targets_.size() ? steps_.size() : targets_[target_];
    for (const std::size_t from : {cursor_, begin_}) {
      const auto place = std::ranges::lower_bound(found->second, from);
      if (place == found->second.end() || *place >= end) continue;
      cursor_ = std::max(cursor_, *place);
      return &steps_[*place].rule;
    }
    return nullptr;
  }

 private:
  const std::vector<Step>& steps_;
  std::vector<std::size_t> targets_;                                  // the steps that are targets
  std::unordered_map<std::string, std::vector<std::size_t>> places_;  // the steps with an option
  std::size_t target_ = 0;                                            // how many targets are behind
  std::size_t begin_ = 0;                                             // the step of the last one
  std::size_t cursor_ = 0;  // the step that was found last
};

// Statement by statement, each rule after the last statement that it stands for.
void showProgram(const Walk& walk, const Walk& generated, const GeneratedChains& chains,
                 const std::vector<NotedText>& texts, Screen& screen) {
  RuleFinder finder(generated);
  const std::size_t* rule = nullptr;
  const auto showRule = [&] {
    if (rule != nullptr) screen.line("       " + chains.line(*rule), Look::kFaint);
  };
  for (const Step& step : walk.steps) {
    const std::size_t* const next = finder.ruleOf(step);
    if (rule != nullptr && (next == nullptr || *next != *rule)) showRule();
    rule = next;
    std::string names;
    if (step.source) {
      for (const NotedText::Part& part : texts[static_cast<std::size_t>(*step.source)].parts) {
        names.append(names.empty() ? "" : " and ").append(nameOf(part.place));
      }
    }
    if (!names.empty()) names += ": ";
    screen.line(std::string(wordFor(step)) + names + step.text, lookOf(step));
  }
  showRule();
}

// Rule by rule.
void showChains(const Walk& generated, const GeneratedChains& chains, Screen& screen) {
  for (std::size_t i = 0; i < generated.steps.size(); ++i) {
    const Step& step = generated.steps[i];
    if (step.isTarget) continue;
    const bool does = i + 1 < generated.steps.size() && generated.steps[i + 1].isTarget;
    const Step& shown = does ? generated.steps[i + 1] : step;
    screen.line(std::string(wordFor(shown)) + chains.line(step.rule), lookOf(shown));
  }
}

void showUnsaid(const Walk& walk, Screen& screen) {
  std::set<std::string> unsaid;
  for (const Step& step : walk.steps) unsaid.insert(step.unsaid.begin(), step.unsaid.end());
  if (unsaid.empty()) return;
  screen.line("Asked and not given, so taken as not holding (no?). Each may change the answer:");
  for (const std::string& text : unsaid) {
    const bool isNegated =
        Negatable(text).isNegated || text.find(" --invert ") != std::string::npos;
    screen.line("  " + text + (isNegated ? "  (negated: taken as not holding, too)" : ""));
  }
}

}  // namespace

int explain(const Request& request, Screen& screen) {
  const HookPlan& hook = hookOf(request);
  Packet packet = readPacket(std::span(request.words).subspan(2));
  if (!request.family.empty()) packet.family = request.family == "ipv6" ? 6 : 4;
  const NotedTexts texts(NotedTexts::Wrong::kThrows);
  const Walk asWritten = walkProgram(readGraph(hook.makeProgram(), false), packet);
  const GeneratedChains chains = chainsOf(request.words[0]);
  const Walk generated = chains.walk(std::string(hook.chain), packet);

  if (request.chains) {
    showChains(generated, chains, screen);
  } else {
    showProgram(asWritten, generated, chains, texts.texts(), screen);
  }
  const Walk& shown = request.chains ? generated : asWritten;
  const Walk& other = request.chains ? asWritten : generated;
  screen.line("What happens: " + listOf(targetsOf(shown)), Look::kTitle);
  screen.line(shown.hasLeft ? "The last one ends the packet's way through the chain."
                            : "The packet goes on after these rules.");
  showUnsaid(shown, screen);
  if (doTheSame(asWritten, generated)) return kFine;
  screen.line((request.chains ? "The program as it is written does" : "The generated chains do") +
                  std::string(" otherwise: ") + listOf(targetsOf(other)),
              Look::kRemoved);
  return kDifference;
}

}  // namespace tavrix::inspect
