// The conditions and actions of one user that the programs of the tables consist of. Each call
// builds new ones. Without its option, a condition never holds and an action does nothing.
#pragma once

#include <string_view>

#include "firewall_cpp/kovsel/rule_texts.h"
#include "firewall_cpp/kovsel/user.h"

namespace tavrix::kovsel {

// The packet comes from one of the user's devices.
IptCond isFromUser(const User& user);

// The connection carries the user's label.
IptCond isLabelled(const User& user);

// All of the user's traffic is blocked: "reject_user" is "1".
IptCond isRejected(const User& user);

// The connection goes to a host of the user's keyword set.
IptCond hasBlockedHost(const User& user);

// The connection is of a class to be blocked, and of none of its exempt subclasses.
IptCond isOfBlockedClass(const User& user);

// The connection is of the class, and of none of its exempt subclasses.
IptCond isOfClass(const User& user, std::string_view trafficClass, const ClassTexts& texts);

// The packet goes to a destination on the user's blacklist of that family.
IptCond isBlacklisted(const User& user, const BlacklistTexts& blacklist);

// Puts the packet's destination on the blacklist again, so that its time-out there starts anew.
IptProg refreshBlacklist(const User& user, const BlacklistTexts& blacklist);

// Increments the counter that the option names.
IptProg increment(const User& user, std::string_view option);

}  // namespace tavrix::kovsel
