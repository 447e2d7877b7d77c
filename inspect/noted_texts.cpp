// The builders that take rule text and the functions that put a value into one, with a look at what
// passes through. Every value is a view into the store, so its address says where it stands.
#include "inspect/noted_texts.h"

#include <algorithm>
#include <functional>
#include <iterator>
#include <utility>

#include "firewall_cpp/kovsel/rule_texts.h"
#include "ipt_compiler/export/nodes.h"
#include "ipt_compiler/rule_parser.h"
#include "wrt_cppwrap/uci_config.h"

namespace tavrix {
namespace inspect {
namespace {

NotedTexts* noting = nullptr;  // the one that notes now

// The two names of source files that errors have.
constexpr const char* kUserTexts = "firewall_cpp/kovsel/kovsel";
constexpr const char* kQueueText = "firewall_cpp/nfnlq/nfnlq";

}  // namespace

const char* const NotedTexts::kFile = "noted";

std::string nameOf(const Place& place) {
  std::string name = std::string(place.section).append(".").append(place.option);
  if (place.count > 1) name += ", value " + std::to_string(place.index + 1);
  return name;
}

NotedTexts::NotedTexts(Wrong wrong) : wrong_(wrong) {
  for (const auto& [section, options] : params) {
    for (const auto& [option, values] : options) {
      for (std::size_t i = 0; i < values.size(); ++i) {
        ranges_.push_back({values[i].data(), {section, option, i, values.size(), values[i]}});
      }
    }
  }
  std::ranges::sort(ranges_, std::less<>(), &Range::begin);
  noting = this;
}

NotedTexts::~NotedTexts() {
  noting = nullptr;
}

// A byte follows every value in the store, so that even an empty one has an address of its own.
std::optional<Place> NotedTexts::placeOf(std::string_view value) const {
  const auto after = std::ranges::upper_bound(ranges_, value.data(), std::less<>(), &Range::begin);
  if (after == ranges_.begin()) return std::nullopt;
  const Range& range = *std::prev(after);
  const bool isInside = !std::less<>()(range.begin + range.place.value.size(), value.data());
  return isInside ? std::optional(range.place) : std::nullopt;
}

void NotedTexts::expect(std::string_view value, std::size_t start) {
  if (const std::optional<Place> place = placeOf(value)) {
    expected_ = {*place, static_cast<std::ptrdiff_t>(start)};
  }
}

// The rule set puts them into the text itself: "... --queue-num FIRST" or "... FIRST:LAST".
void NotedTexts::noteQueueNumbers(NotedText& noted) const {
  const UciConfig::Section& section = params["nfnlq"];
  const std::string_view first = section["queue_first"].front();
  const std::string_view last = section["queue_last"].front();
  const auto end = static_cast<std::ptrdiff_t>(noted.text.size());
  const auto lastStart = end - static_cast<std::ptrdiff_t>(last.size());
  const auto add = [&](std::string_view value, std::ptrdiff_t start) {
    if (const std::optional<Place> place = placeOf(value)) noted.parts.push_back({*place, start});
  };
  if (first != last) add(first, lastStart - 1 - static_cast<std::ptrdiff_t>(first.size()));
  add(last, lastStart);
}

int NotedTexts::note(std::string_view text, std::string_view file) {
  NotedText& noted = texts_.emplace_back();
  noted.text = text;
  if (expected_) {
    noted.parts.push_back(*std::exchange(expected_, std::nullopt));
  } else if (file == kQueueText) {
    noteQueueNumbers(noted);
  } else if (const std::optional<Place> place = placeOf(text)) {
    noted.parts.push_back({*place, place->value.data() - text.data()});
  }
  return static_cast<int>(texts_.size()) - 1;
}

IptCond NotedTexts::makeMatches(std::string_view text, const char* file, int line) {
  const int number = note(text, file);
  try {
    parseMatches(text, file, line);
  } catch (const IptCompileFailed& error) {
    if (wrong_ == Wrong::kThrows) throw;
    texts_.back().error = error.what();
    return makeConstCond(false);
  }
  return makeCondition(parseMatches(text, kFile, number));
}

IptProg NotedTexts::makeTarget(std::string_view text, const char* file, int line) {
  const int number = note(text, file);
  try {
    parseTarget(text, file, line);
  } catch (const IptCompileFailed& error) {
    if (wrong_ == Wrong::kThrows) throw;
    texts_.back().error = error.what();
    return makeEmptyProg();
  }
  return makeRule(parseTarget(text, kFile, number));
}

}  // namespace inspect

IptCond makeMatches(std::string_view text, const char* file, int line) {
  if (inspect::noting != nullptr) return inspect::noting->makeMatches(text, file, line);
  return makeCondition(parseMatches(text, file, line));
}

IptProg makeTarget(std::string_view text, const char* file, int line) {
  if (inspect::noting != nullptr) return inspect::noting->makeTarget(text, file, line);
  return makeRule(parseTarget(text, file, line));
}

namespace kovsel {
namespace {

std::string noted(const RuleText& text, std::string_view value) {
  const bool hasValue = value.data() != nullptr;
  if (inspect::noting != nullptr && hasValue) inspect::noting->expect(value, text.before.size());
  return std::string(text.before).append(value).append(text.after);
}

}  // namespace

IptCond RuleText::matches(std::string_view value) const {
  return tavrix::makeMatches(noted(*this, value), inspect::kUserTexts, line);
}

IptProg RuleText::target(std::string_view value) const {
  return tavrix::makeTarget(noted(*this, value), inspect::kUserTexts, line);
}

}  // namespace kovsel
}  // namespace tavrix
