// How the options of a user become conditions and actions.
#include "firewall_cpp/kovsel/user_rules.h"

namespace tavrix::kovsel {

IptCond ifConfigured(const User& user, std::string_view option, const RuleText& around) {
  const User::Values& values = user.values(option);
  return values.empty() ? makeConstCond(false) : around.matches(values.front());
}

IptCond isLabelled(const User& user) {
  return ifConfigured(user, "label_user", text::kIsLabelled);
}

IptCond isRejected(const User& user) {
  const User::Values& reject = user.values("reject_user");
  return makeConstCond(!reject.empty() && reject.front() == "1");
}

IptCond hasBlockedHost(const User& user) {
  return ifConfigured(user, "keywords_user", text::kBlockedHost);
}

IptCond isOfBlockedClass(const User& user) {
  IptCond any = makeConstCond(false);
  for (const std::string_view trafficClass : user.values("class_reject_user")) {
    any = any || isOfClass(user, trafficClass, text::kBlockedClass, text::kNotSubclassOfBlocked);
  }
  return any;
}

IptCond isOfClass(const User& user, std::string_view trafficClass, const RuleText& ofClass,
                  const RuleText& notSubclass) {
  IptCond all = ofClass.matches(trafficClass);
  for (const std::string_view subclass : user.classExceptions(trafficClass)) {
    all = all && notSubclass.matches(subclass);
  }
  return all;
}

IptCond isBlacklisted(const User& user, const BlacklistTexts& blacklist) {
  return ifConfigured(user, blacklist.option, blacklist.isListed);
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
