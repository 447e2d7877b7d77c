// filter INPUT and FORWARD: rejects a user's blocked traffic, counts it, and assigns the statistics
// nodes of traffic classes.
#include <algorithm>
#include <stdexcept>
#include <utility>

#include "firewall_cpp/kovsel/blocking.h"
#include "firewall_cpp/kovsel/kovsel.h"

namespace tavrix::kovsel {
namespace {

enum class Direction { kInput, kForward };

IptProg reject() {
  IptIfBlock whenTcp = openIf(text::kResettable.matches());
  IptProg reset = text::kReset.target();
  whenTcp = appendThen(std::move(whenTcp), std::move(reset));
  IptProg others = text::kReject.target();
  return sequence(std::move(whenTcp), std::move(others));
}

// Only for users whose host names are looked at and whose classes are not.
IptProg markShortConnections(const User& user) {
  if (!user.values("class_user").empty() || user.values("keywords_user").empty()) {
    return makeEmptyProg();
  }
  IptIfBlock whenShort = openIf(text::kShortTcp.matches());
  IptProg mark = text::kMarkShortTcp.target();
  return closeFi(appendThen(std::move(whenShort), std::move(mark)));
}

// IF condition THEN refresh the blacklists (of forwarded packets), count, reject FI.
IptProg rejectWhen(IptCond condition, const User& user, Direction direction,
                   std::string_view counterOption) {
  IptIfBlock whenForwarded = openIf(makeConstCond(direction == Direction::kForward));
  IptProg refreshV4 = refreshBlacklist(user, kBlacklistV4);
  IptProg refreshV6 = refreshBlacklist(user, kBlacklistV6);
  whenForwarded = appendThen(std::move(whenForwarded), std::move(refreshV4), std::move(refreshV6));
  IptProg count = increment(user, counterOption);
  IptProg target = reject();
  return closeFi(appendThen(openIf(std::move(condition)), std::move(whenForwarded),
                            std::move(count), std::move(target)));
}

IptProg rejectMarked(std::string_view label) {
  IptIfBlock whenMarked = openIf(text::kIsLabelledAndMarked.matches(label));
  IptProg target = reject();
  return closeFi(appendThen(std::move(whenMarked), std::move(target)));
}

// The node at the same place in the list, for each class.
IptProg classStatistics(const User& user) {
  const User::Values& classes = user.values("class_user");
  const User::Values& nodes = user.values("class_label_user");
  IptProg all = makeEmptyProg();
  for (std::size_t i = 0; i < std::min(classes.size(), nodes.size()); ++i) {
    IptCond isOfClass = exceptSubclasses(text::kCountedClass.matches(classes[i]), user, classes[i],
                                         text::kNotSubclassOfCounted);
    IptProg setNode = text::kCountForClass.target(nodes[i]);
    IptIfBlock whenOfClass = appendThen(openIf(std::move(isOfClass)), std::move(setNode));
    all = sequence(std::move(all), std::move(whenOfClass));
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

template <Direction direction>
IptProg userProgram(const User& user) {
  const std::string_view label = requireLabel(user);
  IptIfBlock whenLabelled = openIf(isLabelled(user));
  IptIfBlock whenRejected = openIf(isRejected(user));
  IptProg rejectAll = reject();
  whenRejected = appendThen(std::move(whenRejected), std::move(rejectAll));

  IptProg markShort = markShortConnections(user);
  IptProg host = rejectWhen(hasBlockedHost(user), user, direction, "host_counter_user");
  IptProg trafficClass = rejectWhen(isOfBlockedClass(user), user, direction, "app_counter_user");
  IptProg marked = rejectMarked(label);
  IptProg countClasses = classStatistics(user);
  IptProg otherwise = sequence(std::move(markShort), std::move(host), std::move(trafficClass),
                               std::move(marked), std::move(countClasses));
  return closeFi(appendThen(std::move(whenLabelled),
                            closeElse(std::move(whenRejected), std::move(otherwise))));
}

}  // namespace

// The service that blocked connections are redirected to is open to every user.
IptProg filterInputProgram() {
  IptIfBlock whenFiltered = openIf(condNot(text::kToRedirectService.matches()));
  IptProg users = forEachUser(userProgram<Direction::kInput>);
  return closeFi(appendThen(std::move(whenFiltered), std::move(users)));
}

IptProg filterForwardProgram() {
  return forEachUser(userProgram<Direction::kForward>);
}

}  // namespace tavrix::kovsel
