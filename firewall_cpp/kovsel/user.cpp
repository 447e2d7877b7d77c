// User numbers and the option names that are made of them.
#include "firewall_cpp/kovsel/user.h"

#include <cstdint>
#include <cstdlib>

namespace tavrix::kovsel {

// strtoll has the same range on every machine; strtol ends at 2147483647 on a 32-bit router. Of a
// larger number the low 32 bits count; beyond 64 bits, of the nearest number that they hold.
User::User(const UciConfig::Section& section, std::string_view listed)
    : section_(section),
      number_(std::to_string(
          static_cast<std::uint32_t>(std::strtoll(std::string(listed).c_str(), nullptr, 10)))) {}

std::string User::optionName(std::string_view name) const {
  return std::string(name) + number_;
}

const User::Values& User::values(std::string_view name) const {
  return section_[optionName(name)];
}

IptProg forEachUser(IptProg (*makeProgram)(const User& user)) {
  const UciConfig::Section& section = params["kovsel"];
  IptProg all = makeEmptyProg();
  for (const std::string_view listed : section["user_list"]) {
    all = sequence({all, makeProgram(User(section, listed))});
  }
  return all;
}

}  // namespace tavrix::kovsel
