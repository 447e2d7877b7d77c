// filter INPUT and FORWARD: rejects a user's blocked traffic, counts it, and assigns the statistics
// nodes of traffic classes.
#include <algorithm>
#include <stdexcept>

#include "firewall_cpp/kovsel/kovsel.h"
#include "firewall_cpp/kovsel/user_rules.h"

namespace tavrix::kovsel {
namespace {

enum class Direction { kInput, kForward };

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
IptProg rejectWhen(const IptCond& condition, const User& user, Direction direction,
                   std::string_view counterOption) {
  return If(condition).then(
      {If(makeConstCond(direction == Direction::kForward))
           .then({refreshBlacklist(user, kBlacklistV4), refreshBlacklist(user, kBlacklistV6)}),
       increment(user, counterOption), reject()});
}

// Each class gets the node at the same place in the list.
IptProg setClassNodes(const User& user) {
  const User::Values& classes = user.values("class_user");
  const User::Values& nodes = user.values("class_label_user");
  IptProg all = makeEmptyProg();
  for (std::size_t i = 0; i < std::min(classes.size(), nodes.size()); ++i) {
    all = sequence(
        {all, If(isOfClass(user, classes[i], text::kCountedClass, text::kNotSubclassOfCounted))
                  .then({text::kCountForClass.target(nodes[i])})});
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

IptProg userProgram(const User& user, Direction direction) {
  const std::string_view label = requireLabel(user);
  return If(isLabelled(user))
      .then({If(isRejected(user))
                 .then({reject()})
                 .orElse({markShortConnections(user),
                          rejectWhen(hasBlockedHost(user), user, direction, "host_counter_user"),
                          rejectWhen(isOfBlockedClass(user), user, direction, "app_counter_user"),
                          If(text::kIsLabelledAndMarked.matches(label)).then({reject()}),
                          setClassNodes(user)})});
}

IptProg inputProgram(const User& user) {
  return userProgram(user, Direction::kInput);
}
IptProg forwardProgram(const User& user) {
  return userProgram(user, Direction::kForward);
}

}  // namespace

// The service that blocked connections are redirected to is open to every user.
IptProg filterInputProgram() {
  return If(!text::kToRedirectService.matches()).then({forEachUser(inputProgram)});
}

IptProg filterForwardProgram() {
  return forEachUser(forwardProgram);
}

}  // namespace tavrix::kovsel
