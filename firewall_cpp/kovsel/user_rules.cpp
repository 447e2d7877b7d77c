// How the options of a user become conditions and actions.
#include "firewall_cpp/kovsel/user_rules.h"

#include <string>

namespace tavrix::kovsel {
namespace {

IptCond holdsForFirstValue(const User& user, std::string_view option, const RuleText& ruleText) {
  const User::Values& values = user.values(option);
  return values.empty() ? makeConstCond(false) : ruleText.matches(values.front());
}

}  // namespace

IptCond isFromUser(const User& user) {
  return holdsForFirstValue(user, "mac_set_user", text::kFromUser);
}

IptCond isLabelled(const User& user) {
  return holdsForFirstValue(user, "label_user", text::kIsLabelled);
}

IptCond isRejected(const User& user) {
  const User::Values& reject = user.values("reject_user");
  return makeConstCond(!reject.empty() && reject.front() == "1");
}

IptCond hasBlockedHost(const User& user) {
  return holdsForFirstValue(user, "keywords_user", text::kBlockedHost);
}

IptCond isOfBlockedClass(const User& user) {
  IptCond any = makeConstCond(false);
  for (const std::string_view trafficClass : user.values("class_reject_user")) {
    any = any || isOfClass(user, trafficClass, kBlockedClass);
  }
  return any;
}

IptCond isOfClass(const User& user, std::string_view trafficClass, const ClassTexts& texts) {
  const std::string exceptions = "class_" + std::string(trafficClass) + "_except_user";
  IptCond all = texts.isOf.matches(trafficClass);
  for (const std::string_view subclass : user.values(exceptions)) {
    all = all && texts.isNotSubclass.matches(subclass);
  }
  return all;
}

IptCond isBlacklisted(const User& user, const BlacklistTexts& blacklist) {
  return holdsForFirstValue(user, blacklist.option, blacklist.isListed);
}

IptProg refreshBlacklist(const User& user, const BlacklistTexts& blacklist) {
  const User::Values& set = user.values(blacklist.option);
  if (set.empty()) return makeEmptyProg();
  return If(blacklist.isOriginal.matches()).then({blacklist.refresh.target(set.front())});
}

IptProg increment(const User& user, std::string_view option) {
  const User::Values& counter = user.values(option);
  return counter.empty() ? makeEmptyProg() : text::kIncrement.target(counter.front());
}

}  // namespace tavrix::kovsel
