// Conditions and notes about a user; an option that is absent never holds and does nothing.
#include "firewall_cpp/kovsel/blocking.h"

#include <utility>

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

IptCond exceptSubclasses(IptCond condition, const User& user, std::string_view trafficClass,
                         const RuleText& notSubclass) {
  for (const std::string_view subclass : user.classExceptions(trafficClass)) {
    IptCond notExempt = notSubclass.matches(subclass);
    condition = condAnd(std::move(condition), std::move(notExempt));
  }
  return condition;
}

IptCond isOfBlockedClass(const User& user) {
  IptCond any = makeConstCond(false);
  for (const std::string_view trafficClass : user.values("class_reject_user")) {
    IptCond blocked = exceptSubclasses(text::kBlockedClass.matches(trafficClass), user,
                                       trafficClass, text::kNotSubclassOfBlocked);
    any = condOr(std::move(any), std::move(blocked));
  }
  return any;
}

IptCond isBlacklisted(const User& user, const BlacklistTexts& blacklist) {
  return ifConfigured(user, blacklist.option, blacklist.isListed);
}

IptProg refreshBlacklist(const User& user, const BlacklistTexts& blacklist) {
  const User::Values& set = user.values(blacklist.option);
  if (set.empty()) return makeEmptyProg();
  IptIfBlock whenOriginal = openIf(blacklist.isOriginal.matches());
  IptProg refresh = blacklist.refresh.target(set.front());
  return closeFi(appendThen(std::move(whenOriginal), std::move(refresh)));
}

IptProg increment(const User& user, std::string_view option) {
  const User::Values& counter = user.values(option);
  return counter.empty() ? makeEmptyProg() : text::kIncrement.target(counter.front());
}

}  // namespace tavrix::kovsel
