// filter INPUT and FORWARD: rejects a user's blocked traffic, counts it, and assigns the statistics
// nodes of traffic classes.
#include <algorithm>
#include <stdexcept>

#include "firewall_cpp/kovsel/kovsel.h"
#include "firewall_cpp/kovsel/user_rules.h"

namespace tavrix::kovsel {
namespace {

enum class Chain { kInput, kForward };

IptProg reject() {
  return sequence(
      {If(text::kResettable.matches()).then({text::kReset.target()}), text::kReject.target()});
}

// Only for users with blocked keywords and without traffic classes.
IptProg markShortConnections(const User& user) {
  if (!user.values("class_user").empty() || user.values("keywords_user").empty()) {
    return makeEmptyProg();
  }
  return If(text::kShortTcp.matches()).then({text::kMarkShortTcp.target()});
}

// Only forwarded packets have a destination that belongs on a blacklist.
IptProg rejectIf(const IptCond& condition, const User& user, Chain chain,
                 std::string_view counterOption) {
  return If(condition).then(
      {If(makeConstCond(chain == Chain::kForward))
           .then({refreshBlacklist(user, kBlacklistV4), refreshBlacklist(user, kBlacklistV6)}),
       increment(user, counterOption), reject()});
}

IptProg countClass(const User& user, std::string_view trafficClass, std::string_view node) {
  return If(isOfClass(user, trafficClass, kCountedClass)).then({text::kCountForClass.target(node)});
}

// Each class gets the node at the same place in the list.
IptProg setClassNodes(const User& user) {
  const User::Values& classes = user.values("class_user");
  const User::Values& nodes = user.values("class_label_user");
  IptProg all = makeEmptyProg();
  for (std::size_t i = 0; i < std::min(classes.size(), nodes.size()); ++i) {
    all = sequence({all, countClass(user, classes[i], nodes[i])});
  }
  return all;
}

// Without a label a listed user could not be told from any other.
std::string_view requireLabel(const User& user) {
  const User::Values& label = user.values("label_user");
  if (label.empty()) {
    throw std::invalid_argument("kovsel: user " + user.number() + " is in user_list but has no " +
                                user.optionName("label_user") + ".");
  }
  return label.front();
}

IptProg userFilter(const User& user, Chain chain) {
  const std::string_view label = requireLabel(user);
  return If(isLabelled(user))
      .then({If(isRejected(user))
                 .then({reject()})
                 .orElse({markShortConnections(user),
                          rejectIf(hasBlockedHost(user), user, chain, "host_counter_user"),
                          rejectIf(isOfBlockedClass(user), user, chain, "app_counter_user"),
                          If(text::kIsLabelledAndMarked.matches(label)).then({reject()}),
                          setClassNodes(user)})});
}

}  // namespace

// The service that blocked connections are redirected to is open to every user.
IptProg filterInputProgram() {
  return If(!text::kToRedirectService.matches()).then({forEachUser([](const User& user) {
    return userFilter(user, Chain::kInput);
  })});
}

IptProg filterForwardProgram() {
  return forEachUser([](const User& user) { return userFilter(user, Chain::kForward); });
}

}  // namespace tavrix::kovsel
