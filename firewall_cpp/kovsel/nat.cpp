// nat PREROUTING: sends a user's blocked TCP connections to the local service that explains the
// block, and keeps blacklisted destinations on their lists.
#include <utility>

#include "firewall_cpp/kovsel/blocking.h"
#include "firewall_cpp/kovsel/kovsel.h"

namespace tavrix::kovsel {
namespace {

IptProg redirect() {
  IptIfBlock whenTcp = openIf(text::kRedirectable.matches());
  IptProg target = text::kRedirect.target();
  return closeFi(appendThen(std::move(whenTcp), std::move(target)));
}

// IF condition THEN note, redirect FI.
IptProg redirectWhen(IptCond condition, IptProg note) {
  IptProg target = redirect();
  return closeFi(appendThen(openIf(std::move(condition)), std::move(note), std::move(target)));
}

IptProg redirectBlacklisted(const User& user, const BlacklistTexts& blacklist) {
  IptCond condition = isBlacklisted(user, blacklist);
  IptProg refresh = refreshBlacklist(user, blacklist);
  return redirectWhen(std::move(condition), std::move(refresh));
}

IptProg redirectBlockedHost(const User& user) {
  IptCond condition = hasBlockedHost(user);
  IptProg count = increment(user, "host_counter_user");
  return redirectWhen(std::move(condition), std::move(count));
}

IptProg redirectBlockedClass(const User& user) {
  IptCond condition = isOfBlockedClass(user);
  IptProg target = redirect();
  return closeFi(appendThen(openIf(std::move(condition)), std::move(target)));
}

IptProg userProgram(const User& user) {
  IptIfBlock whenLabelled = openIf(isLabelled(user));
  IptIfBlock whenRejected = openIf(isRejected(user));
  IptProg redirectAll = redirect();
  whenRejected = appendThen(std::move(whenRejected), std::move(redirectAll));

  IptProg blacklistV4 = redirectBlacklisted(user, kBlacklistV4);
  IptProg blacklistV6 = redirectBlacklisted(user, kBlacklistV6);
  IptProg host = redirectBlockedHost(user);
  IptProg trafficClass = redirectBlockedClass(user);
  IptProg otherwise = sequence(std::move(blacklistV4), std::move(blacklistV6), std::move(host),
                               std::move(trafficClass));
  return closeFi(appendThen(std::move(whenLabelled),
                            closeElse(std::move(whenRejected), std::move(otherwise))));
}

}  // namespace

IptProg natPreroutingProgram() {
  return forEachUser(userProgram);
}

}  // namespace tavrix::kovsel
