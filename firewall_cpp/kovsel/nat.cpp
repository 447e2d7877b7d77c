// nat PREROUTING: sends a user's blocked TCP connections to the local service that explains the
// block, and keeps blacklisted destinations on their lists.
#include "firewall_cpp/kovsel/kovsel.h"
#include "firewall_cpp/kovsel/user_rules.h"

namespace tavrix::kovsel {
namespace {

IptProg redirect() {
  return If(text::kRedirectable.matches()).then({text::kRedirect.target()});
}

IptProg redirectBlacklisted(const User& user, const BlacklistTexts& blacklist) {
  return If(isBlacklisted(user, blacklist)).then({refreshBlacklist(user, blacklist), redirect()});
}

IptProg userRedirection(const User& user) {
  return If(isLabelled(user))
      .then({If(isRejected(user))
                 .then({redirect()})
                 .orElse({redirectBlacklisted(user, kBlacklistV4),
                          redirectBlacklisted(user, kBlacklistV6),
                          If(hasBlockedHost(user))
                              .then({increment(user, "host_counter_user"), redirect()}),
                          If(isOfBlockedClass(user)).then({redirect()})})});
}

}  // namespace

IptProg natPreroutingProgram() {
  return forEachUser(userRedirection);
}

}  // namespace tavrix::kovsel
