// A configured user: the number, and the options that carry it in their name.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "ipt_compiler/export/ipt_lang.h"
#include "wrt_cppwrap/uci_config.h"

namespace tavrix::kovsel {

class User {
 public:
  using Values = std::vector<std::string_view>;

  // section: where the options stand; must outlive the object.
  // listed: a value of "user_list". The decimal number at its beginning counts: "7", "07" and
  // "7abc" are user 7, "-1" is user 4294967295 and "x" is user 0.
  User(const UciConfig::Section& section, std::string_view listed);

  const std::string& number() const { return number_; }

  // The option's name for this user: `name` followed by the number.
  std::string optionName(std::string_view name) const;

  // All values of that option; empty without it.
  const Values& values(std::string_view name) const;

 private:
  const UciConfig::Section& section_;
  std::string number_;
};

// The user's program for every value of "user_list" in section "kovsel", one after another.
IptProg forEachUser(IptProg (*makeProgram)(const User& user));

}  // namespace tavrix::kovsel
