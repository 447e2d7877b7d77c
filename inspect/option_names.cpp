// The table of names, and the search in it.
#include "inspect/option_names.h"

#include <algorithm>
#include <array>
#include <limits>
#include <numeric>
#include <vector>

namespace tavrix::inspect {
namespace {

constexpr std::array kNames = {
    OptionName{kQueue, "queue_first", false, false},
    OptionName{kQueue, "queue_last", false, false},
    OptionName{kQueue, "pre_targets", false, true},
    OptionName{kQueue, "matches", false, true},
    OptionName{kUsers, "user_list", false, true},
    OptionName{kUsers, "mac_set_user", true, false},
    OptionName{kUsers, "label_user", true, false},
    OptionName{kUsers, "mac_user", true, true},
    OptionName{kUsers, "mac_label_user", true, true},
    OptionName{kUsers, "class_user", true, true},
    OptionName{kUsers, "class_label_user", true, true},
    OptionName{kUsers, "reject_user", true, false},
    OptionName{kUsers, "blacklist_v4_user", true, false},
    OptionName{kUsers, "blacklist_v6_user", true, false},
    OptionName{kUsers, "keywords_user", true, false},
    OptionName{kUsers, "host_counter_user", true, false},
    OptionName{kUsers, "app_counter_user", true, false},
    OptionName{kUsers, "class_reject_user", true, true},
};

constexpr std::string_view kBeforeClass = "class_";
constexpr std::string_view kAfterClass = "_except_user";

}  // namespace

std::span<const OptionName> optionNames() {
  return kNames;
}

NumberedName::NumberedName(std::string_view name)
    : base(name.substr(0, name.find_last_not_of("0123456789") + 1)),
      number(name.substr(base.size())) {}

ExceptionName::ExceptionName(std::string_view base)
    : isOne(base.size() >= kBeforeClass.size() + kAfterClass.size() &&
            base.starts_with(kBeforeClass) && base.ends_with(kAfterClass)) {
  if (!isOne) return;
  trafficClass =
      base.substr(kBeforeClass.size(), base.size() - kBeforeClass.size() - kAfterClass.size());
}

std::string nearestOption(std::string_view section, std::string_view name) {
  const NumberedName written(name);
  // As the number of a user is written.
  std::string number(written.number);
  number.erase(0, std::min(number.find_first_not_of('0'), number.size()));
  if (number.empty()) number = written.number.empty() ? "N" : "0";
  std::string nearest;
  std::size_t least = std::numeric_limits<std::size_t>::max();
  for (const OptionName& known : kNames) {
    if (known.section != section) continue;
    const std::size_t changes = distance(known.isOfUser ? written.base : name, known.name);
    if (changes >= least) continue;
    least = changes;
    nearest = known.name;
    if (known.isOfUser) nearest += number;
  }
  return nearest;
}

// Of a long name only the beginning is compared. No known one is as long.
std::size_t distance(std::string_view from, std::string_view to) {
  constexpr std::size_t kLongest = 64;
  from = from.substr(0, kLongest);
  to = to.substr(0, kLongest);
  std::vector<std::size_t> changes(to.size() + 1);
  std::iota(changes.begin(), changes.end(), std::size_t{0});
  for (const char c : from) {
    std::size_t diagonal = changes[0]++;
    for (std::size_t i = 0; i < to.size(); ++i) {
      const std::size_t replaced = diagonal + (c == to[i] ? 0 : 1);
      diagonal = changes[i + 1];
      changes[i + 1] = std::min({replaced, changes[i] + 1, diagonal + 1});
    }
  }
  return changes.back();
}

}  // namespace tavrix::inspect
