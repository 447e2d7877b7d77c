#include "tests/support/random_configuration.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdlib>
#include <random>
#include <set>
#include <sstream>
#include <string_view>
#include <utility>
#include <vector>

#include "testbed/uci/uci_parser.h"
#include "tests/support/random_source.h"

namespace test_support {
namespace {

using Lines = std::vector<std::string>;

constexpr std::array<std::string_view, 7> kUsers = {"1", "2", "3", "03", "2nd", "guest", "-1"};

// The number by which the options of a listed user are named.
std::string numberOf(std::string_view user) {
  const auto number = std::strtol(std::string(user).c_str(), nullptr, 10);
  return std::to_string(static_cast<unsigned>(number));
}

// From few values, so that users share them.
struct UserOption {
  std::string_view name;
  std::vector<std::string_view> values;
};

const std::vector<UserOption>& userOptions() {
  static const std::vector<UserOption> kOptions = {
      {"mac_set_user", {"macs_a", "macs_b"}},
      {"mac_user", {"02:00:00:00:00:01", "02:00:00:00:00:02", "02:00:00:00:00:03"}},
      {"mac_label_user", {"101", "102", "103"}},
      {"reject_user", {"1", "0", "01", "true"}},
      {"blacklist_v4_user", {"black_a", "black_b"}},
      {"blacklist_v6_user", {"black_a", "black_c"}},
      {"keywords_user", {"hosts_a", "hosts_b"}},
      {"host_counter_user", {"7", "8"}},
      {"app_counter_user", {"8", "9"}},
      {"class_user", {"games", "video", "news", ""}},
      {"class_label_user", {"201", "202", "203"}},
      {"class_reject_user", {"games", "video", "news"}},
      {"class_games_except_user", {"chess", "go"}},
      {"class_video_except_user", {"news", "go"}}};
  return kOptions;
}

// What the tools take in both families, and in the chain of incoming and that of outgoing packets;
// only an option that stands twice in one text is refused.
const RandomTexts& queueTexts() {
  static const RandomTexts kTexts = {
      {"-4", "! --ipv4", "-6", "! -6", "-p tcp", "! -p udp", "--protocol 47", "-c 1 2",
       "-m mark --mark 0x1", "-m mark ! --mark 0x2", "--match mark --mark 0x4",
       "-m comment --comment \"two words\"", "-m conntrack --ctstate NEW",
       "-m conntrack ! --ctstate INVALID"},
      // The one with "mark" also comes out as a text that is among the matches.
      {"-j MARK --set-xmark 0x", "--jump CONNMARK --set-mark 0x", "-m mark --mark 0x",
       "--match tavrix-xtcounter --inc 0x"}};
  return kTexts;
}

// A value that is not alone in its rule text.
constexpr std::array<std::string_view, 3> kOddValues = {"", "two words", "5 -p tcp"};

class ConfigurationMaker {
 public:
  ConfigurationMaker(std::uint64_t seed, bool hasOddValues)
      : random_(seed), hasOddValues_(hasOddValues) {}

  std::string text() {
    if (!oneIn(12)) addQueue();
    if (!oneIn(12)) addUsers();
    return std::move(text_);
  }

 private:
  std::size_t below(std::size_t end) { return static_cast<std::size_t>(random_() % end); }
  bool oneIn(std::size_t chances) { return below(chances) == 0; }

  template <class Values>
  std::string_view oneOf(const Values& values) {
    return hasOddValues_ && oneIn(500) ? kOddValues.at(below(kOddValues.size()))
                                       : values[below(values.size())];
  }

  // A single value may be written as a list too.
  void add(std::string_view option, const Lines& values) {
    const std::string_view keyword = values.size() == 1 && oneIn(2) ? "option" : "list";
    for (const std::string& value : values) {
      text_.append("\t").append(keyword).append(" ").append(option);
      text_.append(" '").append(value).append("'\n");
    }
  }

  template <class Values>
  void addSome(std::string_view option, const Values& values) {
    Lines chosen(1 + (oneIn(2) ? below(3) : 0));
    for (std::string& value : chosen) value = oneOf(values);
    add(option, chosen);
  }

  void addQueue() {
    constexpr std::array<std::string_view, 2> kFirst = {"0", "1"};
    constexpr std::array<std::string_view, 3> kLast = {"1", "2", "02"};
    text_ += "config nfnlq 'nfnlq'\n";
    if (!oneIn(12)) addSome("queue_first", kFirst);
    if (!oneIn(12)) addSome("queue_last", kLast);
    if (!oneIn(6)) add("pre_targets", losingOne(program(below(40))));
    if (!oneIn(6)) add("matches", losingOne(condition()));
  }

  Lines program(std::size_t size) { return tokensOf(randomProgram(random_(), size, queueTexts())); }

  // The first condition of a program, empty if it has none.
  Lines condition() {
    const Lines tokens = program(1 + below(30));
    const auto begin = std::ranges::find(tokens, "IF");
    const auto end = std::find(begin, tokens.end(), "THEN");
    return begin == end ? Lines() : Lines(begin + 1, end);
  }

  Lines losingOne(Lines tokens) {
    if (!tokens.empty() && oneIn(25)) {
      tokens.erase(tokens.begin() + static_cast<std::ptrdiff_t>(below(tokens.size())));
    }
    return tokens;
  }

  void addUsers() {
    text_ += "config kovsel 'kovsel'\n";
    Lines entries;
    // One user may have options and not be listed.
    std::set<std::string> numbers = {numberOf(kUsers.at(below(kUsers.size())))};
    for (std::size_t count = below(5); count > 0; --count) {
      const std::string_view user = kUsers.at(below(kUsers.size()));
      entries.emplace_back(user);
      numbers.insert(numberOf(user));
    }
    add("user_list", entries);
    for (const std::string& number : numbers) addUser(number);
  }

  void addUser(const std::string& number) {
    constexpr std::array<std::string_view, 3> kLabels = {"4", "5", "6"};
    const auto named = [number](std::string_view option) { return std::string(option) + number; };
    if (!oneIn(40)) addSome(named("label_user"), kLabels);
    // Some users have nearly everything, some nearly nothing.
    const std::size_t share = 1 + below(4);
    for (const UserOption& option : userOptions()) {
      if (below(5) < share) addSome(named(option.name), option.values);
    }
  }

  std::mt19937_64 random_;
  bool hasOddValues_;
  std::string text_;
};

Lines linesOf(const std::string& text) {
  std::istringstream in(text);
  Lines lines;
  for (std::string line; std::getline(in, line);) lines.push_back(line + '\n');
  return lines;
}

std::string joined(const Lines& lines) {
  std::string text;
  for (const std::string& line : lines) text += line;
  return text;
}

bool isConfiguration(const std::string& text) {
  try {
    testbed::parseUci(text, "configuration");
    return true;
  } catch (const testbed::UciSyntaxError&) {
    return false;
  }
}

Lines without(Lines lines, std::size_t begin, std::size_t length) {
  const auto first = lines.begin() + static_cast<std::ptrdiff_t>(begin);
  lines.erase(first, first + static_cast<std::ptrdiff_t>(length));
  return lines;
}

// Takes smaller lines for the lines, if they still fail.
using Use = std::function<bool(Lines smaller)>;

// Sections, options, blocks.
bool dropRuns(const Lines& lines, const Use& use) {
  const std::size_t before = lines.size();
  for (std::size_t length = lines.size(); length > 0; --length) {
    for (std::size_t begin = 0; begin + length <= lines.size();) {
      if (!use(without(lines, begin, length))) ++begin;
    }
  }
  return lines.size() < before;
}

// What is around the statements of a block: its condition before them, its end after them.
bool dropRunsWithOneMore(const Lines& lines, const Use& use) {
  for (std::size_t length = 1; length < lines.size(); ++length) {
    for (std::size_t begin = 0; begin + length < lines.size(); ++begin) {
      const Lines rest = without(lines, begin, length);
      for (std::size_t other = begin; other < rest.size(); ++other) {
        if (use(without(rest, other, 1))) return true;
      }
    }
  }
  return false;
}

}  // namespace

std::string randomConfiguration(std::uint64_t seed, bool hasOddValues) {
  return ConfigurationMaker(seed, hasOddValues).text();
}

std::string shrinkConfiguration(const std::string& configuration, const ConfigurationFails& fails) {
  Lines lines = linesOf(configuration);
  const Use use = [&](Lines smaller) {
    const std::string text = joined(smaller);
    const bool isSmaller = isConfiguration(text) && fails(text);
    if (isSmaller) lines = std::move(smaller);
    return isSmaller;
  };
  // Neither way goes back to where something was dropped before; both until nothing more is.
  while (dropRuns(lines, use) || dropRunsWithOneMore(lines, use)) {
  }
  return joined(lines);
}

}  // namespace test_support
