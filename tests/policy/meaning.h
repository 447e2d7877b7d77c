// What the settings mean, as a plain function of a packet: nothing here knows rules, graphs or
// chains. The generated chains have to come to the same result.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "tests/policy/packet.h"

namespace policy {

struct UserSettings {
  unsigned number = 0;
  std::string macSet;  // every text is empty where the option is absent
  std::string label = "1";
  std::vector<std::string> macs;
  std::vector<std::string> macNodes;
  std::string reject;
  std::string blacklistV4;
  std::string blacklistV6;
  std::string keywords;
  std::string hostCounter;
  std::string appCounter;
  std::vector<std::string> blockedClasses;
  std::vector<std::string> countedClasses;
  std::vector<std::string> classNodes;
  std::map<std::string, std::vector<std::string>> exceptions;  // by class
};

// The configuration of these users, listed in this order.
std::string uciText(const std::vector<UserSettings>& users);

// What happens to the packet in one hook (not kJourney), as walk() in policy_walk.h writes it.
std::string meaning(const std::vector<UserSettings>& users, Hook hook, Family family,
                    Packet packet);

}  // namespace policy
