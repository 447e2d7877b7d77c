// The comparison of two tables. First every chain of one is given its partner in the other: chains
// with names of others by name, generated ones by the rules that lead to them. Then the rules of
// each pair are shown that have no counterpart.
//
// All walks over chains have a stack of their own, since tables nest as deep as they are long.
#include "inspect/table_comparison.h"

#include <algorithm>
#include <limits>
#include <map>
#include <numeric>
#include <string>
#include <unordered_map>
#include <utility>

#include "ipt_compiler/generated_marks.h"

namespace tavrix::inspect {
namespace {

constexpr std::size_t kNone = std::numeric_limits<std::size_t>::max();

using Place = std::pair<std::size_t, std::size_t>;  // of a rule in the live and in the next chain

// Numbers for values: the same for the same value, and never 0.
template <class Value>
class Numbers {
 public:
  std::size_t of(const Value& value) {
    return numbers_.try_emplace(value, numbers_.size() + 1).first->second;
  }

 private:
  std::map<Value, std::size_t> numbers_;
};

// A line under so many others. Deeper ones than 20 are not indented further, to stay readable.
std::string indented(const std::string& text, std::size_t depth) {
  return std::string(2 + 2 * std::min<std::size_t>(depth, 20), ' ') + text;
}

struct Rule {
  std::string text;
  std::size_t words = 0;      // the number of TableRule::words
  std::size_t chain = kNone;  // the generated chain that it leads to
  std::size_t key = 0;        // the number of the words and of what that chain holds
};

struct Chain {
  std::string name;
  std::string policy;
  std::vector<Rule> rules = {};
  bool isGenerated = false;
  bool isReferenced = false;
  bool isShown = false;
  std::size_t content = 0;         // the number of its rules' keys
  std::size_t partner = kNone;     // the chain that it is compared with
  std::vector<Place> common = {};  // of a live chain: rules that its partner has, too
};

using Chains = std::vector<Chain>;

// The numbers that both tables share.
struct SharedNumbers {
  Numbers<std::string> words;
  Numbers<std::pair<std::size_t, std::size_t>> keys;
  Numbers<std::vector<std::size_t>> contents;
};

// Gives the rules of every chain their keys, those of the chains that they lead to first.
void numberContents(Chains& chains, SharedNumbers& numbers) {
  enum class State { kNew, kOpen, kDone };
  std::vector<State> states(chains.size(), State::kNew);
  std::vector<std::size_t> toVisit(chains.size());
  std::iota(toVisit.begin(), toVisit.end(), std::size_t{0});
  while (!toVisit.empty()) {
    const std::size_t visited = toVisit.back();
    Chain& chain = chains[visited];
    if (states[visited] == State::kNew) {
      states[visited] = State::kOpen;
      for (const Rule& rule : chain.rules) {
        if (rule.chain != kNone && states[rule.chain] == State::kNew) toVisit.push_back(rule.chain);
      }
      continue;
    }
    toVisit.pop_back();
    if (states[visited] == State::kDone) continue;
    states[visited] = State::kDone;
    std::vector<std::size_t> keys;
    for (Rule& rule : chain.rules) {
      rule.key =
          numbers.keys.of({rule.words, rule.chain == kNone ? 0 : chains[rule.chain].content});
      keys.push_back(rule.key);
    }
    chain.content = numbers.contents.of(keys);
  }
}

// The chains of a table, and after them one that stands for the generated chains that no rule leads
// to: it has a rule for each of them.
Chains numbered(const std::vector<TableChain>& table, SharedNumbers& numbers) {
  Chains chains;
  std::unordered_map<std::string_view, std::size_t> byName;
  for (const TableChain& chain : table) {
    byName.emplace(chain.name, chains.size());
    chains.push_back({.name = chain.name, .policy = chain.policy});
    chains.back().isGenerated = chain.name.starts_with(kChainPrefix);
  }
  for (std::size_t i = 0; i < table.size(); ++i) {
    for (const TableRule& rule : table[i].rules) {
      const auto found = byName.find(rule.chain);
      const std::size_t chain = found == byName.end() ? kNone : found->second;
      if (chain != kNone) chains[chain].isReferenced = true;
      chains[i].rules.push_back(
          {.text = rule.text, .words = numbers.words.of(rule.words), .chain = chain});
    }
  }
  Chain others = {.name = "chains that no rule leads to", .policy = ""};
  for (std::size_t i = 0; i < chains.size(); ++i) {
    if (chains[i].isGenerated && !chains[i].isReferenced) {
      others.rules.push_back({.text = chains[i].name, .words = numbers.words.of(""), .chain = i});
    }
  }
  // In the order of their numbers, as the generator makes them. The kernel has an order of its own.
  std::ranges::sort(others.rules, {},
                    [](const Rule& rule) { return std::make_pair(rule.text.size(), rule.text); });
  chains.push_back(std::move(others));
  numberContents(chains, numbers);
  return chains;
}

// Places of the same key in both lists, ascending in both. Key 0 has no counterpart. The first rule
// with a key is compared with the first, the second with the second, and so on, and of these pairs
// as many are taken as can be. That is less than a full comparison finds where rules are repeated,
// but it takes no time for large lists that differ in everything.
std::vector<Place> commonPlaces(const std::vector<std::size_t>& live,
                                const std::vector<std::size_t>& next) {
  struct Link {
    Place place;
    std::size_t before;
  };
  std::vector<Link> links;
  std::vector<std::size_t> ends;  // per length, the link that ends such a list earliest in `next`
  std::unordered_map<std::size_t, std::vector<std::size_t>> placesOf;  // in `next`, the last first
  for (std::size_t i = next.size(); i-- > 0;) placesOf[next[i]].push_back(i);
  for (std::size_t i = 0; i < live.size(); ++i) {
    const auto found = placesOf.find(live[i]);
    if (live[i] == 0 || found == placesOf.end() || found->second.empty()) continue;
    const Place place = {i, found->second.back()};
    found->second.pop_back();
    const auto longer = std::partition_point(ends.begin(), ends.end(), [&](std::size_t end) {
      return links[end].place.second < place.second;
    });
    links.push_back({place, longer == ends.begin() ? kNone : *(longer - 1)});
    if (longer == ends.end()) {
      ends.push_back(links.size() - 1);
    } else {
      *longer = links.size() - 1;
    }
  }
  std::vector<Place> places;
  for (std::size_t at = ends.empty() ? kNone : ends.back(); at != kNone; at = links[at].before) {
    places.push_back(links[at].place);
  }
  std::ranges::reverse(places);
  return places;
}

class Comparison {
 public:
  Comparison(const std::vector<TableChain>& live, const std::vector<TableChain>& next,
             const std::string& title, Screen& screen)
      : live_(numbered(live, numbers_)),
        next_(numbered(next, numbers_)),
        labels_({title}),
        screen_(screen) {}

  bool show();

 private:
  enum class Side { kLive, kNext };

  // A chain whose rules are being shown beside those of its partner. Either may be missing.
  struct Frame {
    std::size_t live;
    std::size_t next;
    std::size_t common = 0;  // how many common places were passed
    Place at = {0, 0};       // the next rules to be shown
  };

  void findPartners();
  bool makePartners(std::size_t live, std::size_t next);
  void findCommonRules(Chain& live, const Chain& next);
  void addCommonPlaces(Chain& live, const Chain& next, Place begin, Place end, bool isSame);

  void showRoot(std::size_t live, std::size_t next);
  void showTree(Side side, std::size_t chain, std::size_t rule);
  void showDifference(Side side, const std::string& text, std::size_t depth);

  SharedNumbers numbers_;
  Chains live_;
  Chains next_;
  std::vector<Place> toCompare_;     // pairs of partners whose rules are not compared yet
  std::vector<std::string> labels_;  // the title, the chain and the rules that lead to this place
  std::size_t shownLabels_ = 0;
  Screen& screen_;
};

// Whether the chains are partners, or are now because they had none.
bool Comparison::makePartners(std::size_t live, std::size_t next) {
  if (live_[live].partner == kNone && next_[next].partner == kNone) {
    live_[live].partner = next;
    next_[next].partner = live;
    toCompare_.emplace_back(live, next);
  }
  return live_[live].partner == next;
}

// Between the two ends, adds the rules that are the same, or else those that lead, in the same
// words, to chains which hold something else.
void Comparison::addCommonPlaces(Chain& live, const Chain& next, Place begin, Place end,
                                 bool isSame) {
  const auto keys = [isSame](const Chain& chain, std::size_t from, std::size_t to) {
    std::vector<std::size_t> all;
    for (std::size_t i = from; i < to; ++i) {
      const Rule& rule = chain.rules[i];
      all.push_back(isSame ? rule.key : rule.chain == kNone ? 0 : rule.words);
    }
    return all;
  };
  for (const Place& place :
       commonPlaces(keys(live, begin.first, end.first), keys(next, begin.second, end.second))) {
    const Place rules = {begin.first + place.first, begin.second + place.second};
    const std::size_t chain = live.rules[rules.first].chain;
    if (chain == kNone || makePartners(chain, next.rules[rules.second].chain)) {
      live.common.push_back(rules);
    }
  }
}

void Comparison::findCommonRules(Chain& live, const Chain& next) {
  const Place end = {live.rules.size(), next.rules.size()};
  addCommonPlaces(live, next, {0, 0}, end, true);
  std::vector<Place> same = std::exchange(live.common, {});
  same.push_back(end);
  Place begin = {0, 0};
  for (const Place& place : same) {
    addCommonPlaces(live, next, begin, place, false);
    if (place != end) live.common.push_back(place);
    begin = {place.first + 1, place.second + 1};
  }
  // A chain whose rule has moved or got other words.
  std::unordered_map<std::size_t, std::size_t> byContent;
  for (const Rule& rule : next.rules) {
    if (rule.chain != kNone) byContent.emplace(next_[rule.chain].content, rule.chain);
  }
  for (const Rule& rule : live.rules) {
    if (rule.chain == kNone) continue;
    const auto found = byContent.find(live_[rule.chain].content);
    if (found != byContent.end()) makePartners(rule.chain, found->second);
  }
}

void Comparison::findPartners() {
  std::unordered_map<std::string_view, std::size_t> named;
  for (std::size_t i = 0; i < next_.size(); ++i) {
    if (!next_[i].isGenerated) named.emplace(next_[i].name, i);
  }
  for (std::size_t i = 0; i < live_.size(); ++i) {
    const auto found = named.find(live_[i].name);
    if (!live_[i].isGenerated && found != named.end()) makePartners(i, found->second);
    while (!toCompare_.empty()) {
      const auto [live, next] = toCompare_.back();
      toCompare_.pop_back();
      findCommonRules(live_[live], next_[next]);
    }
  }
}

bool Comparison::show() {
  findPartners();
  for (std::size_t i = 0; i < live_.size(); ++i) {
    if (!live_[i].isGenerated) showRoot(i, live_[i].partner);
  }
  for (std::size_t i = 0; i < next_.size(); ++i) {
    if (!next_[i].isGenerated && next_[i].partner == kNone) showRoot(kNone, i);
  }
  const auto renumbered = std::ranges::count_if(live_, [this](const Chain& chain) {
    return chain.partner != kNone && chain.name != next_[chain.partner].name;
  });
  if (renumbered != 0) {
    if (shownLabels_ == 0) screen_.line(labels_[0], Look::kTitle);
    screen_.line("  Another number: " + std::to_string(renumbered) + " generated chain" +
                     (renumbered == 1 ? "" : "s"),
                 Look::kFaint);
  }
  return shownLabels_ == 0 && renumbered == 0;
}

// Shows what is different in a chain and in those that its rules lead to.
void Comparison::showRoot(std::size_t live, std::size_t next) {
  static const Chain kMissing = {.name = "", .policy = ""};
  const auto chainOf = [](const Chains& chains, std::size_t chain) -> const Chain& {
    return chain == kNone ? kMissing : chains[chain];
  };
  const Chain& before = chainOf(live_, live);
  const Chain& after = chainOf(next_, next);
  labels_.push_back("  " + (live == kNone ? after : before).name);
  if (before.policy != after.policy) {
    if (live != kNone) showDifference(Side::kLive, ":" + before.name + " " + before.policy, 0);
    if (next != kNone) showDifference(Side::kNext, ":" + after.name + " " + after.policy, 0);
  }
  std::vector<Frame> frames = {{live, next}};
  while (!frames.empty()) {
    Frame& frame = frames.back();
    const Chain& liveChain = chainOf(live_, frame.live);
    const Chain& nextChain = chainOf(next_, frame.next);
    const bool isLast = frame.common == liveChain.common.size();
    const Place stop = isLast ? Place{liveChain.rules.size(), nextChain.rules.size()}
                              : liveChain.common[frame.common++];
    while (frame.at.first < stop.first) showTree(Side::kLive, frame.live, frame.at.first++);
    while (frame.at.second < stop.second) showTree(Side::kNext, frame.next, frame.at.second++);
    if (isLast) {
      frames.pop_back();
      labels_.pop_back();
      shownLabels_ = std::min(shownLabels_, std::max<std::size_t>(labels_.size(), 1));
      continue;
    }
    frame.at = {stop.first + 1, stop.second + 1};
    const Rule& rule = nextChain.rules[stop.second];
    const std::size_t below = liveChain.rules[stop.first].chain;
    if (below == kNone || std::exchange(live_[below].isShown, true)) continue;
    labels_.push_back(indented(rule.text, frames.size()));
    frames.push_back({below, rule.chain});
  }
}

// Shows a rule that goes or comes, and those of the chain that it leads to.
void Comparison::showTree(Side side, std::size_t chain, std::size_t rule) {
  Chains& chains = side == Side::kLive ? live_ : next_;
  struct Step {
    std::size_t chain;
    std::size_t rule;
    std::size_t end;
  };
  std::vector<Step> steps = {{chain, rule, rule + 1}};
  while (!steps.empty()) {
    Step& step = steps.back();
    if (step.rule == step.end) {
      steps.pop_back();
      continue;
    }
    const Rule& shown = chains[step.chain].rules[step.rule++];
    std::string note;
    std::size_t end = 0;
    if (shown.chain != kNone) {
      Chain& below = chains[shown.chain];
      if (below.partner != kNone) {
        note = "  (whose rules stay)";
      } else if (std::exchange(below.isShown, true)) {
        note = "  (shown above)";
      } else {
        end = below.rules.size();
      }
    }
    showDifference(side, shown.text + note, steps.size() - 1);
    if (end != 0) steps.push_back({shown.chain, 0, end});
  }
}

// Shows a line at that depth below the present place, and before it the labels that lead there.
void Comparison::showDifference(Side side, const std::string& text, std::size_t depth) {
  for (; shownLabels_ < labels_.size(); ++shownLabels_) {
    screen_.line(labels_[shownLabels_], shownLabels_ == 0 ? Look::kTitle : Look::kPlain);
  }
  std::string line = indented(text, labels_.size() - 1 + depth);
  line[0] = side == Side::kLive ? '-' : '+';
  screen_.line(line, side == Side::kLive ? Look::kRemoved : Look::kAdded);
}

}  // namespace

bool showDifferences(const std::vector<TableChain>& live, const std::vector<TableChain>& next,
                     const std::string& title, Screen& screen) {
  return Comparison(live, next, title, screen).show();
}

}  // namespace tavrix::inspect
