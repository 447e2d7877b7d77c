#include "tests/support/random_source.h"

#include <algorithm>
#include <array>
#include <random>
#include <string_view>
#include <utility>

namespace test_support {
namespace {

using Kind = ConditionSource::Kind;

// Both words of a family selector, by family.
constexpr std::array<std::array<std::string_view, 2>, 2> kFamilies = {
    {{"-4", "--ipv4"}, {"-6", "--ipv6"}}};

bool selectsFamily(const std::string& option, const std::array<std::string_view, 2>& words) {
  return std::ranges::any_of(words, [&](std::string_view word) { return option.ends_with(word); });
}

class ProgramMaker {
 public:
  ProgramMaker(std::uint64_t seed, const RandomTexts& texts) : random_(seed), texts_(texts) {}

  // Statements with `size` texts and constants.
  ProgramSource statements(std::size_t size) {
    ProgramSource all;
    while (size > 0) {
      if (oneIn(3)) {
        all.push_back({target(), {}, {}});
        --size;
      } else {
        // A large share leads to deep nesting, small ones to a long sequence.
        const std::size_t share = oneIn(3) ? size : 1 + below(size);
        all.push_back(block(share));
        size -= share;
      }
    }
    return all;
  }

 private:
  std::size_t below(std::size_t end) { return static_cast<std::size_t>(random_() % end); }
  bool oneIn(std::size_t chances) { return below(chances) == 0; }

  StatementSource block(std::size_t size) {
    StatementSource whole;
    do {
      StatementSource::Branch branch;
      // Mostly short; a long one takes all that is left.
      const std::size_t tested = std::min(size, oneIn(8) ? size : 1 + below(4));
      branch.condition = condition(tested);
      size -= tested;
      const std::size_t done = oneIn(3) ? size : below(size + 1);
      branch.statements = statements(done);
      size -= done;
      whole.branches.push_back(std::move(branch));
    } while (size > 0 && oneIn(2));
    if (size > 0 || oneIn(6)) whole.otherwise = statements(size);
    return whole;
  }

  ConditionSource condition(std::size_t size) {
    if (size > 1) {
      const std::size_t left = 1 + below(size - 1);
      ConditionSource first = condition(left);
      ConditionSource second = condition(size - left);
      return {oneIn(2) ? Kind::kAnd : Kind::kOr, {}, {std::move(first), std::move(second)}};
    }
    switch (below(10)) {
      case 0:
        return {Kind::kTrue, {}, {}};
      case 1:
        return {Kind::kFalse, {}, {}};
      case 2:
      case 3:
      case 4:
        return {Kind::kNegatedText, matches(), {}};
      default:
        return {Kind::kText, matches(), {}};
    }
  }

  // One option or two, in any order.
  std::string matches() {
    const std::string first = option();
    return oneIn(4) ? first + " " + option() : first;
  }

  std::string option() {
    std::vector<std::string>& options = texts_.matches;
    std::string chosen = options[below(options.size())];
    if (texts_.repeatsFamilies) return chosen;
    for (const auto& family : kFamilies) {
      if (!selectsFamily(chosen, family)) continue;
      std::erase_if(options, [&](const std::string& text) { return selectsFamily(text, family); });
    }
    return chosen;
  }

  // Numbered, so that a target at a wrong place is seen.
  std::string target() {
    constexpr std::string_view kDigits = "0123456789abcdef";
    std::string number;
    for (std::size_t rest = ++targetCount_; rest > 0; rest /= 16) {
      number.insert(number.begin(), kDigits[rest % 16]);
    }
    return texts_.targets[below(texts_.targets.size())] + number;
  }

  std::mt19937_64 random_;
  RandomTexts texts_;
  std::size_t targetCount_ = 0;
};

}  // namespace

const RandomTexts& allKindsOfTexts() {
  static const RandomTexts kTexts = [] {
    const std::vector<std::string> kinds[] = {
        {"-4", "! -4", "--ipv4"},
        {"-6", "! --ipv6"},
        {"-p tcp", "! -p udp", "--protocol 47", "-p ! icmp"},
        {"-s 10.0.0.1", "-s ! 10.1.0.0/16", "! --source 10.2.0.0/16"},
        {"-d 192.168.0.0/24", "! -d 192.168.1.1", "--destination 192.168.2.2"},
        {"-i br-lan", "! --in-interface br-guest"},
        {"-o eth1", "! -o eth2", "--out-interface eth3"},
        {"-f", "! -f", "--fragment"},
        {"-c 1 2", "--set-counters 3 4"},
        {"-m mark --mark 0x1", "-m mark ! --mark 0x2", "-m comment --comment \"two words\"",
         "--match set --match-set a src", "-m conntrack --ctstate NEW", "-m tcp --dport 53"}};
    RandomTexts texts;
    for (const auto& kind : kinds) {
      texts.matches.insert(texts.matches.end(), kind.begin(), kind.end());
    }
    // The one with "mark" also comes out as a text that is among the matches.
    texts.targets = {"-j T", "-j MARK --set-mark 0x", "--jump U", "-m mark --mark 0x",
                     "--match counter --inc 0x"};
    return texts;
  }();
  return kTexts;
}

ProgramSource randomProgram(std::uint64_t seed, std::size_t size, const RandomTexts& texts) {
  return ProgramMaker(seed, texts).statements(size);
}

}  // namespace test_support
