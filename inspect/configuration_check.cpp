// Findings that need no tool; configuration_check.h says which.
#include "inspect/configuration_check.h"

#include <algorithm>
#include <map>
#include <set>
#include <stdexcept>
#include <string>
#include <unordered_set>
#include <utility>

#include "firewall_cpp/kovsel/kovsel.h"
#include "firewall_cpp/kovsel/user.h"
#include "firewall_cpp/nfnlq/nfnlq.h"
#include "inspect/next_run.h"
#include "inspect/option_names.h"
#include "ipt_compiler/rule_parser.h"
#include "ipt_compiler/tokenizer.h"
#include "wrt_cppwrap/uci_config.h"

namespace tavrix::inspect {
namespace {

using Values = std::vector<std::string_view>;
using Effect = Finding::Effect;

bool isOption(std::string_view word) {
  try {
    parseMatches(word, "", 0);
    return true;
  } catch (const IptCompileFailed&) {
    return false;
  }
}

// The place of the error that the parser has thrown for the text. It has to be found in the words
// of the error: the parser itself keeps none.
Token faultIn(const std::string& text, std::string_view error) {
  constexpr std::string_view kBefore = "failed to parse '";
  constexpr std::string_view kTarget = "' as a target. ";
  constexpr std::string_view kRedundant = "redundant parameters: '";
  constexpr std::string_view kNoMatch = "' as matches. not a valid match of iptables.";
  error.remove_prefix(std::min(error.find(kBefore) + kBefore.size(), error.size()));
  const Token first = nextToken(text, 0);
  if (!first.exists()) return {0, text.size()};

  if (error.starts_with(text + std::string(kTarget))) {
    error.remove_prefix(text.size() + kTarget.size());
    if (!error.starts_with(kRedundant)) return first;
    const std::size_t length = error.size() - kRedundant.size() - std::string_view("'.").size();
    return {text.size() - length, length};
  }
  if (error.ends_with(kNoMatch)) {
    const std::size_t start = text.find(error.substr(0, error.size() - kNoMatch.size()));
    return nextToken(text, start);
  }
  // A word that is no option, at the beginning or after the "!" there; or a blank at the end, which
  // takes the last option's arguments away; or a "!" at the end.
  const Token second = nextToken(text, first.end());
  const Token word = first.in(text) == "!" && second.exists() ? second : first;
  if (!isOption(word.in(text))) return word;
  const std::size_t end = text.find_last_not_of(' ') + 1;
  if (end < text.size()) return {end, text.size() - end};
  return {end - 1, 1};
}

// The values of an option, to be changed; null without it.
Values* valuesOf(std::string_view section, std::string_view option) {
  const auto options = params.find(section);
  if (options == params.end()) return nullptr;
  const auto values = options->second.find(option);
  return values == options->second.end() ? nullptr : &values->second;
}

// The classes that the user's rules ask for, and whose exceptions they ask for.
std::set<std::string_view> classesOf(const std::string& number) {
  const UciConfig::Section& section = params[kUsers];
  const Values& blocked = section["class_reject_user" + number];
  const Values& counted = section["class_user" + number];
  const std::size_t nodes = section["class_label_user" + number].size();
  std::set<std::string_view> classes(blocked.begin(), blocked.end());
  for (std::size_t i = 0; i < std::min(counted.size(), nodes); ++i) classes.insert(counted[i]);
  return classes;
}

class Check {
 public:
  explicit Check(const NotedTexts& texts) : texts_(texts), seen_(texts.texts().size()) {}

  std::vector<Finding> run() {
    buildUsers(0, kovsel::mangleProgram);
    readList("pre_targets", [](IptTokenPosition& position, IptTokenPosition end) {
      parseSerializedTargets(position, end);
    });
    readList("matches", [](IptTokenPosition& position, IptTokenPosition end) {
      parseSerializedMatches(position, end);
    });
    nfnlq::queueProgram();
    takeErrors(0);
    buildUsers(1, kovsel::natPreroutingProgram);
    buildUsers(2, kovsel::filterInputProgram);
    buildUsers(2, kovsel::filterForwardProgram);
    dropUnusableUsers();
    buildSchedule();

    lookAtNames();
    lookAtQueue();
    lookAtUsers();
    return std::move(findings_);
  }

 private:
  // Once for each value, however many texts and tables it goes into.
  void addStop(const Place& place, std::size_t pass, Finding finding) {
    if (!stopping_.insert(place.value.data()).second) return;
    finding.reason = titleOf(kPasses[pass]) + ": " + finding.reason;
    findings_.push_back(std::move(finding));
  }

  void add(std::string_view value, Effect effect, std::string reason) {
    const auto place = texts_.placeOf(value);
    if (place) findings_.push_back(findingAt(*place, effect, std::move(reason)));
  }

  void ignore(std::string_view value, std::string reason) {
    add(value, Effect::kIgnored, std::move(reason));
  }

  // Looks at the texts that were noted since the last call.
  void takeErrors(std::size_t pass) {
    for (; seen_ < texts_.texts().size(); ++seen_) {
      const NotedText& noted = texts_.texts()[seen_];
      if (!noted.error.empty()) addWrongText(noted, pass);
    }
  }

  void addWrongText(const NotedText& noted, std::size_t pass) {
    Token mark = faultIn(noted.text, noted.error);
    const NotedText::Part* wrong = nullptr;
    for (const NotedText::Part& part : noted.parts) {
      const auto start = static_cast<std::ptrdiff_t>(mark.start) - part.start;
      const bool isHere = start >= 0 && static_cast<std::size_t>(start) < part.place.value.size();
      if (wrong == nullptr || isHere) wrong = &part;
      if (isHere) break;
    }
    if (wrong == nullptr) {
      // Made of a value in a way that is not known here.
      if (!nameless_.insert(noted.text).second) return;
      findings_.push_back({Effect::kStops, nullptr, "a text of a rule set", noted.text, mark.start,
                           mark.length, titleOf(kPasses[pass]) + ": " + noted.error});
      return;
    }
    std::string text = noted.text;
    if (wrong->start <= 0) {
      // The value is the text, and maybe the "NOT" before it.
      text = wrong->place.value;
      mark.start += static_cast<std::size_t>(-wrong->start);
    } else if (static_cast<std::ptrdiff_t>(mark.start) < wrong->start) {
      mark = {static_cast<std::size_t>(wrong->start), wrong->place.value.size()};
    }
    addStop(wrong->place, pass,
            {Effect::kStops, wrong->place.value.data(), nameOf(wrong->place), text, mark.start,
             mark.length, noted.error});
  }

  // User by user, so that one who cannot be built does not hide the others.
  void buildUsers(std::size_t pass, IptProg (*makeProgram)()) {
    Values* const list = valuesOf(kUsers, "user_list");
    if (list == nullptr) return;
    const Values listed = *list;
    for (const std::string_view user : listed) {
      *list = {user};
      try {
        makeProgram();
        takeErrors(pass);
      } catch (const std::invalid_argument& error) {
        takeErrors(pass);
        unusable_.insert(user.data());
        const auto place = texts_.placeOf(user);
        addStop(*place, pass, findingAt(*place, Effect::kStops, error.what()));
      }
    }
    *list = listed;
  }

  void dropUnusableUsers() {
    if (Values* const list = valuesOf(kUsers, "user_list")) {
      std::erase_if(*list, [this](auto user) { return unusable_.contains(user.data()); });
    }
  }

  // The programs as a run has them, those of other rule sets among them.
  void buildSchedule() {
    for (std::size_t pass = 0; pass < std::size(kPasses); ++pass) {
      if (kPasses[pass].tool != kPasses[0].tool) continue;
      for (const HookPlan& plan : kPasses[pass].hooks) plan.makeProgram();
      takeErrors(pass);
    }
  }

  // A list in the language of the configuration, and its statements one by one.
  void readList(std::string_view option, void (*read)(IptTokenPosition&, IptTokenPosition)) {
    Values* const list = valuesOf(kQueue, option);
    if (list == nullptr) return;
    auto position = list->cbegin();
    auto complete = position;
    try {
      for (; position != list->cend(); complete = position) read(position, list->cend());
      takeErrors(0);
    } catch (const std::invalid_argument& error) {
      takeErrors(0);
      // The readers stop after the value that does not fit.
      const auto place = texts_.placeOf(*(position == list->cbegin() ? position : position - 1));
      const char* const what = position == list->cend() ? ", or one is missing after this."
                                                        : "; what follows is not read.";
      addStop(*place, 0,
              findingAt(*place, Effect::kStops,
                        std::string(error.what()) +
                            " The words of the list do not fit together here" + what));
      list->erase(complete, list->cend());
    }
  }

  void lookAtNames() {
    for (const auto& [section, options] : params) {
      if (section != kQueue && section != kUsers) {
        lookAtSection(section, options);
        continue;
      }
      for (const auto& [option, values] : options) {
        if (option.starts_with('.') || values.empty()) continue;
        if (const std::string reason = reasonToIgnore(section, option); !reason.empty()) {
          findings_.push_back({Effect::kIgnored, option.data(),
                               std::string(section) + "." + std::string(option),
                               std::string(option), 0, option.size(), reason});
        }
      }
    }
  }

  void lookAtSection(std::string_view section, const UciConfig::Section& options) {
    const Values& types = options[".type"];
    const std::string_view type = types.empty() ? std::string_view() : types.front();
    const bool isQueue = distance(section, kQueue) < distance(section, kUsers);
    const std::string_view nearest = isQueue ? kQueue : kUsers;
    const std::string_view meant = type == kQueue || type == kUsers ? type : nearest;
    const std::string name(section);
    const std::string reason =
        "no section of this name is read; it would have to begin with: config " +
        std::string(meant) + " '" + std::string(meant) + "'";
    findings_.push_back({Effect::kIgnored, section.data(), name, name, 0, name.size(), reason});
  }

  // Empty for an option that is read, or about which enough is said.
  std::string reasonToIgnore(std::string_view section, std::string_view option) {
    const NumberedName name(option);
    const auto isNamed = [&](const OptionName& known) {
      return known.section == section && known.name == (known.isOfUser ? name.base : option);
    };
    const ExceptionName exception(name.base);
    const auto found = std::ranges::find_if(optionNames(), isNamed);
    const bool isException = section == kUsers && exception.isOne;
    const bool isKnown = isException || found != optionNames().end();
    const bool isOfUser = isException || (isKnown && found->isOfUser);
    const bool isNumber =
        name.number == "0" || !(name.number.empty() || name.number.starts_with('0'));
    if (!isKnown || (isOfUser && !isNumber)) {
      return "no option of this name is read; the nearest is " + nearestOption(section, option);
    }
    if (!isOfUser) return {};
    const std::string number(name.number);
    if (!users_.contains(number)) {
      // Said once for all options of the user.
      return unlisted_.insert(number).second
                 ? "user " + number + " is not in user_list, so no option of this user is read"
                 : std::string();
    }
    if (!isException) return {};
    const auto [classes, isNew] = classes_.try_emplace(number);
    if (isNew) classes->second = classesOf(number);
    if (!classes->second.contains(exception.trafficClass)) {
      return "class \"" + std::string(exception.trafficClass) +
             "\" is neither in class_reject_user" + number + " nor, with a node, in class_user" +
             number;
    }
    return {};
  }

  void lookAtQueue() {
    const UciConfig::Section& section = params[kQueue];
    const bool hasFirst = !section["queue_first"].empty();
    const bool hasLast = !section["queue_last"].empty();
    if (hasFirst && hasLast) return;
    for (const char* const option : {"queue_first", "queue_last", "pre_targets", "matches"}) {
      const Values& values = section[option];
      if (values.empty()) continue;
      ignore(values.front(), std::string("nothing of this section is used without ") +
                                 (hasFirst ? "queue_last" : "queue_first"));
      return;
    }
  }

  void lookAtUsers() {
    for (const auto& [section, options] : params) {
      if (section != kQueue && section != kUsers) continue;
      for (const auto& [option, values] : options) lookAtValues(section, option, values);
    }
    const UciConfig::Section& section = params[kUsers];
    std::map<std::string_view, std::string> usersOfLabels;
    std::set<std::string> before;
    for (const std::string_view listed : section["user_list"]) {
      const kovsel::User user(section, listed);
      const std::string& number = user.number();
      if (number != listed) ignore(listed, "it is read as user " + number);
      if (!before.insert(number).second) {
        add(listed, Effect::kAccepted, "user " + number + " stands twice and is handled twice");
        continue;
      }
      const Values& labels = user.values("label_user");
      if (labels.empty()) continue;
      const auto [first, isNew] = usersOfLabels.emplace(labels.front(), number);
      if (isNew) continue;
      add(labels.front(), Effect::kAccepted,
          "user " + first->second +
              " has this label, too; the connections of both meet the rules of both");
    }
    for (const std::string& number : users_) {
      compareLists(number, "mac_user", "mac_label_user");
      compareLists(number, "class_user", "class_label_user");
      const Values& reject = section["reject_user" + number];
      if (!reject.empty() && reject.front() != "1" && reject.front() != "0") {
        ignore(reject.front(), "only the value 1 rejects");
      }
    }
  }

  void lookAtValues(std::string_view section, std::string_view option, const Values& values) {
    const NumberedName name(option);
    for (const OptionName& known : optionNames()) {
      const bool isIt = known.section == section && !known.isList &&
                        known.name == (known.isOfUser ? name.base : option) &&
                        (!known.isOfUser || users_.contains(std::string(name.number)));
      if (isIt && values.size() > 1) ignore(values[1], "only the first value is read");
    }
  }

  // Each value has its counterpart at the same place. Classes without any node turn classification
  // on, so they are not for nothing.
  void compareLists(const std::string& number, const char* first, const char* second) {
    const std::string names[] = {first + number, second + number};
    const Values& one = params[kUsers][names[0]];
    const Values& other = params[kUsers][names[1]];
    if (one.size() == other.size()) return;
    if (other.empty() && std::string_view(first) == "class_user") return;
    const bool firstIsLonger = one.size() > other.size();
    const Values& longer = firstIsLonger ? one : other;
    const std::size_t common = std::min(one.size(), other.size());
    ignore(longer[common], names[firstIsLonger ? 1 : 0] + " has no value at this place");
  }

  const NotedTexts& texts_;
  std::size_t seen_;
  std::vector<Finding> findings_;
  std::unordered_set<const char*> stopping_;
  std::unordered_set<const char*> unusable_;
  std::set<std::string> unlisted_;
  std::map<std::string, std::set<std::string_view>> classes_;  // by user number
  std::set<std::string> nameless_;
  // The numbers of the listed users, those without a label among them.
  const std::set<std::string> users_ = [] {
    std::set<std::string> numbers;
    const UciConfig::Section& section = params[kUsers];
    for (const std::string_view listed : section["user_list"]) {
      numbers.insert(kovsel::User(section, listed).number());
    }
    return numbers;
  }();
};

}  // namespace

std::vector<Finding> checkConfiguration(const NotedTexts& texts) {
  return Check(texts).run();
}

}  // namespace tavrix::inspect
