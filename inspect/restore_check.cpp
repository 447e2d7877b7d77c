// The way back from a line that the tool names to the values in it: the rule is a condition and a
// target of the program, each with the texts that it was made of.
#include "inspect/restore_check.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <optional>
#include <set>
#include <sstream>
#include <stdexcept>
#include <string>
#include <unordered_map>
#include <utility>

#include "inspect/next_run.h"
#include "inspect/program_graph.h"
#include "inspect/tool_output.h"
#include "ipt_compiler/generated_marks.h"
#include "ipt_compiler/tokenizer.h"

namespace tavrix::inspect {
namespace {

// Each refusal takes a run of the tool.
constexpr int kMostRefusals = 100;

// The noted texts that a condition or target of the simplified programs was made of.
using Sources = std::unordered_map<std::string, std::set<int>>;

Sources sourcesOf(const Pass& pass) {
  Sources sources;
  for (const HookPlan& plan : pass.hooks) {
    for (const GraphNode& node : readGraph(plan.makeProgram(), true)) {
      sources[node.condition].insert(node.conditionSources.begin(), node.conditionSources.end());
      for (std::size_t i = 0; i < node.targets.size(); ++i) {
        if (node.targetSources[i]) sources[node.targets[i]].insert(*node.targetSources[i]);
      }
    }
  }
  sources.try_emplace("");  // the condition of a rule without one
  return sources;
}

// The options of a generated rule, without the mark; empty for another line.
std::string withoutMark(const std::string& line) {
  const std::string mark = std::string(" ") + kRuleMark;
  if (!line.starts_with("-A ") || !line.ends_with(mark)) return {};
  const std::size_t start = line.find(' ', 3) + 1;
  return line.substr(start, line.size() - mark.size() - start);
}

// Where one option of a rule may end and the next one begin.
bool beginsOption(std::string_view rest) {
  constexpr std::array<std::string_view, 5> kWords = {"-j ", "-g ", "-m ", "--jump ", "--match "};
  return std::ranges::any_of(kWords, [&](std::string_view word) { return rest.starts_with(word); });
}

std::set<int> sourcesOf(const Sources& sources, const std::string& rule) {
  std::set<int> found;
  const std::string_view whole = rule;
  for (std::size_t at = 0; at < whole.size();) {
    const std::string_view rest = whole.substr(at);
    if (beginsOption(rest)) {
      const auto condition = sources.find(rule.substr(0, at - std::min<std::size_t>(at, 1)));
      const auto target = sources.find(std::string(rest));
      const std::string_view jump = rest.substr(std::min<std::size_t>(3, rest.size()));
      const bool leads = jump.starts_with(kChainPrefix) || jump == "RETURN";
      if (condition != sources.end() && (target != sources.end() || leads)) {
        found.insert(condition->second.begin(), condition->second.end());
        if (target != sources.end()) found.insert(target->second.begin(), target->second.end());
      }
    }
    at = std::min(whole.find(' ', at), whole.size() - 1) + 1;
  }
  return found;
}

// What the tool says, without its own name and version.
std::string messageOf(const std::string& output) {
  std::string line = output.substr(0, output.find('\n'));
  const std::size_t after = line.find("): ");
  if (line.starts_with("ip") && after != std::string::npos) line.erase(0, after + 3);
  return line;
}

// The number after the last "line" of the output; 0 if there is none.
std::size_t lineIn(const std::string& output) {
  const std::size_t at = output.rfind("line");
  if (at == std::string::npos) return 0;
  const std::size_t digits = output.find_first_of("0123456789", at);
  return digits == std::string::npos ? 0 : std::strtoul(output.c_str() + digits, nullptr, 10);
}

// The words of a message that stand between quotes.
std::vector<std::string> quotedIn(const std::string& message) {
  std::vector<std::string> words;
  for (std::size_t at = 0; (at = message.find_first_of("`\"", at)) != std::string::npos; ++at) {
    const std::size_t end = message.find(message[at] == '`' ? '\'' : '"', at + 1);
    if (end == std::string::npos) break;
    words.push_back(message.substr(at + 1, end - at - 1));
    at = end;
  }
  return words;
}

// How clearly the message of the tool means a value of a text, and the word in the text that it
// names, empty for all of the value. It quotes the value, or a part of it, or names an option.
struct Meaning {
  int weight = 0;
  std::string word;
};

Meaning meaningOf(const std::string& message, const NotedText& noted, std::string_view value) {
  Meaning meaning;
  for (const std::string& word : quotedIn(message)) {
    if (word.empty()) continue;
    if (word == value) return {3, {}};
    if (value.find(word) != std::string_view::npos) meaning = {2, word};
  }
  if (meaning.weight > 0) return meaning;
  std::istringstream words(message);
  for (std::string word; words >> word;) {
    const bool isOption = word.starts_with("--") && noted.text.find(word) != std::string::npos;
    if (isOption || word == value) meaning.weight = 1;
  }
  return meaning;
}

// Where a word begins that the tool has no use for; or the word before it, if that has one dash too
// few: "-dport 53" means "-d port" and a word more, and the tool names only the latter.
std::size_t startOfOption(std::string_view text, std::size_t unused) {
  std::string_view before = text.substr(0, unused);
  while (before.ends_with(' ')) before.remove_suffix(1);
  const std::string_view word = before.substr(before.rfind(' ') + 1);
  const bool lacksDash = word.size() > 2 && word.starts_with('-') && !word.starts_with("--");
  return lacksDash ? before.size() - word.size() : unused;
}

class TableCheck {
 public:
  // What a run stops at is not found again.
  TableCheck(const NotedTexts& texts, std::vector<Finding>& findings)
      : texts_(texts), findings_(findings) {
    for (const Finding& finding : findings) {
      if (finding.effect == Finding::Effect::kStops) places_.insert(finding.where);
    }
  }

  void check(const LiveTable& live) {
    const Pass& pass = *live.pass;
    std::optional<Sources> sources;  // asked for only if something is refused
    std::vector<std::string> lines;
    std::istringstream text(nextText(live));
    for (std::string line; std::getline(text, line);) lines.push_back(line);
    const std::string command = std::string(pass.tool) + "-restore --test 2>&1";
    std::size_t checked = 0;
    for (int i = 0; i < kMostRefusals; ++i) {
      std::string input;
      for (const std::string& line : lines) input.append(line).append("\n");
      const ToolResult result = runTool(command, input);
      if (result.isFine) return;
      const std::size_t number = lineIn(result.output);
      const std::string message = messageOf(result.output);
      if (number <= checked || number > lines.size()) {
        throw std::runtime_error(titleOf(pass) + ": " + message);
      }
      const std::string refused = lines[number - 1];
      if (!sources) sources = sourcesOf(pass);
      const std::string culprit = add(refused, *sources, titleOf(pass) + ": " + message, message);
      // A comment in their place, so that lines keep their numbers.
      for (std::size_t line = checked; line < lines.size(); ++line) {
        const bool isRule = lines[line].starts_with("-A ");
        const bool isKnown =
            line < number || (!culprit.empty() && lines[line].ends_with(kRuleMark) &&
                              lines[line].find(culprit) != std::string::npos);
        if (isRule && isKnown) lines[line] = "#";
      }
      checked = number;
    }
    throw std::runtime_error(titleOf(pass) + ": the restore tool refuses " +
                             std::to_string(kMostRefusals) + " rules, and maybe more");
  }

 private:
  // Adds the findings for a refused line. Returns the text that is refused wherever it stands, with
  // a blank on either side, so that it is no part of another; empty if that is not known.
  std::string add(const std::string& line, const Sources& sources, const std::string& reason,
                  const std::string& message) {
    const std::string rule = withoutMark(line);
    struct Part {
      const NotedText* noted;
      const NotedText::Part* part;
      std::string word;
    };
    std::vector<Part> parts;
    // The values that the tool means; all if it names none.
    int best = 0;
    for (const int source : sourcesOf(sources, rule)) {
      const NotedText& noted = texts_.texts()[static_cast<std::size_t>(source)];
      for (const NotedText::Part& part : noted.parts) {
        const Meaning meaning = meaningOf(message, noted, part.place.value);
        if (meaning.weight > best) parts.clear();
        if (meaning.weight >= best) parts.push_back({&noted, &part, meaning.word});
        best = std::max(best, meaning.weight);
      }
    }
    // Two values may make the same text. The one that the tool has refused already is meant.
    const bool isKnown = best > 0 && std::ranges::any_of(parts, [this](const Part& part) {
                           return places_.contains(nameOf(part.part->place));
                         });
    for (const auto& [noted, part, word] : parts) {
      const std::string where = nameOf(part->place);
      if (isKnown) break;
      if (!places_.insert(where).second) continue;
      const bool isWhole = part->start <= 0;
      const std::size_t start = isWhole ? 0 : static_cast<std::size_t>(part->start);
      const std::string text = isWhole ? std::string(part->place.value) : noted->text;
      std::size_t mark = start;
      std::size_t end = start + part->place.value.size();
      if (!word.empty()) {
        mark = text.find(word, start);
        end = mark + word.size();
        if (message.starts_with("Bad argument")) mark = startOfOption(text, mark);
      }
      findings_.push_back({Finding::Effect::kRefused, part->place.value.data(), where, text, mark,
                           end - mark, reason});
    }
    if (parts.empty() && lines_.insert(line).second) {
      const char* const whose = rule.empty() ? "a rule of another program" : "a generated rule";
      findings_.push_back(
          {Finding::Effect::kRefused, nullptr, whose, line, 0, line.size(), reason});
    }
    if (parts.empty()) return {};
    return " " + normalizeTokens(parts.front().noted->text) + " ";
  }

  const NotedTexts& texts_;
  std::vector<Finding>& findings_;
  std::set<std::string> places_;  // each value once, however many rules and tables have it
  std::set<std::string> lines_;
};

}  // namespace

void addRefusals(std::vector<Finding>& findings, const Request& request, const NotedTexts& texts) {
  TableCheck check(texts, findings);
  for (const LiveTable& live : readLiveTables(request)) check.check(live);
}

}  // namespace tavrix::inspect
