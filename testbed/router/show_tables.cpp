// Turns the save text of one table into a tree of rules under their hooks.
#include "testbed/router/show_tables.h"

#include <algorithm>
#include <deque>
#include <map>
#include <set>
#include <vector>

namespace testbed::router {
namespace {

// What the product writes into every rule that it generates.
constexpr std::string_view kMarker = " -m comment --comment ipt_compiler";
// Deeper chains are not indented further: lines stay readable, and short.
constexpr std::size_t kDeepestIndent = 20;
constexpr std::string_view kGeneratedColour = "\033[32m";
constexpr std::string_view kPlain = "\033[0m";

struct Chain {
  std::string_view name;
  std::string_view policy;  // "-" for a chain that is no hook
  std::vector<std::string_view> rules;

  bool isHook() const { return policy != "-"; }
};

struct SavedTable {
  std::deque<Chain> chains;  // in the order of the text
  std::map<std::string_view, Chain*> byName;

  void add(std::string_view name, std::string_view policy) {
    chains.push_back({name, policy, {}});
    byName.emplace(name, &chains.back());
  }
};

// Cuts the text up to `separator` off the front of `rest`.
std::string_view takeUntil(std::string_view& rest, char separator) {
  const std::size_t end = std::min(rest.find(separator), rest.size());
  const std::string_view taken = rest.substr(0, end);
  rest.remove_prefix(std::min(end + 1, rest.size()));
  return taken;
}

SavedTable readTable(std::string_view saved) {
  SavedTable table;
  while (!saved.empty()) {
    std::string_view line = takeUntil(saved, '\n');
    if (line.starts_with(':')) {
      line.remove_prefix(1);
      const std::string_view name = takeUntil(line, ' ');
      table.add(name, takeUntil(line, ' '));
    } else if (line.starts_with("-A ")) {
      line.remove_prefix(3);
      const auto chain = table.byName.find(takeUntil(line, ' '));
      if (chain != table.byName.end()) chain->second->rules.push_back(line);
    }
  }
  return table;
}

// The chain that a rule jumps or goes to, or null.
const Chain* leadsTo(const SavedTable& table, std::string_view rule) {
  std::string_view previous;
  while (!rule.empty()) {
    const std::string_view word = takeUntil(rule, ' ');
    if (previous == "-j" || previous == "-g") {
      const auto chain = table.byName.find(word);
      if (chain != table.byName.end()) return chain->second;
    }
    previous = word;
  }
  return nullptr;
}

class TreeWriter {
 public:
  TreeWriter(const SavedTable& table, const ShowOptions& options)
      : table_(table), options_(options) {}

  // Writes the rules of a chain and of every chain below it that was not shown yet. A chain can be
  // as deep as the table is long, so the way back is kept in a list and not on the stack.
  void writeRules(const Chain& root) {
    struct Place {
      const Chain* chain;
      std::size_t nextRule;
    };
    std::vector<Place> way = {{&root, 0}};
    shown_.insert(&root);
    while (!way.empty()) {
      Place& place = way.back();
      if (place.nextRule == place.chain->rules.size()) {
        way.pop_back();
        continue;
      }
      const std::string_view rule = place.chain->rules[place.nextRule++];
      const Chain* below = leadsTo(table_, rule);
      const bool shownBefore = below != nullptr && !shown_.insert(below).second;
      writeRule(rule, way.size(), shownBefore && !below->rules.empty() ? "  (shown above)" : "");
      if (below != nullptr && !shownBefore) way.push_back({below, 0});
    }
  }

  void writeHeading(const std::string& text) { text_ += "  " + text + "\n"; }
  bool isShown(const Chain& chain) const { return shown_.contains(&chain); }
  std::string takeText() { return std::move(text_); }

 private:
  void writeRule(std::string_view rule, std::size_t depth, std::string_view note) {
    std::string shown(rule);
    const std::size_t marker = shown.find(kMarker);
    // A rule without matches begins with the marker itself.
    const std::size_t leading = shown.starts_with(kMarker.substr(1)) ? 0 : marker;
    const bool generated = leading != std::string::npos;
    if (generated) shown.erase(leading, kMarker.size());  // with the blank before or after it
    if (generated && options_.colours) text_ += kGeneratedColour;
    text_ += generated ? "  + " : "    ";
    text_.append(std::min(depth, kDeepestIndent) * 3 - 2, ' ');
    text_ += shown;
    text_ += note;
    if (generated && options_.colours) text_ += kPlain;
    text_ += "\n";
  }

  const SavedTable& table_;
  const ShowOptions& options_;
  std::set<const Chain*> shown_;
  std::string text_;
};

}  // namespace

std::string showTable(std::string_view saved, const ShowOptions& options) {
  const SavedTable table = readTable(saved);
  TreeWriter tree(table, options);
  std::string empty;
  for (const Chain& chain : table.chains) {
    if (!chain.isHook()) continue;
    const std::string heading =
        std::string(chain.name) + " (policy " + std::string(chain.policy) + ")";
    if (chain.rules.empty()) {
      empty += (empty.empty() ? "" : ", ") + heading;
      continue;
    }
    tree.writeHeading(heading);
    tree.writeRules(chain);
  }
  for (const Chain& chain : table.chains) {
    if (chain.isHook() || tree.isShown(chain)) continue;
    tree.writeHeading(std::string(chain.name) + " (no rule leads here)");
    tree.writeRules(chain);
  }
  if (!empty.empty()) tree.writeHeading("without rules: " + empty);
  return options.title + "\n" + tree.takeText();
}

}  // namespace testbed::router
