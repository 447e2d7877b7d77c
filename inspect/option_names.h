// The names of options that the rule sets read.
#pragma once

#include <span>
#include <string>
#include <string_view>

namespace tavrix::inspect {

// The sections that they are in.
inline constexpr std::string_view kQueue = "nfnlq";
inline constexpr std::string_view kUsers = "kovsel";

struct OptionName {
  std::string_view section;
  std::string_view name;
  bool isOfUser;  // a user's number follows the name
  bool isList;    // all values are read, and not only the first
};

std::span<const OptionName> optionNames();

// A name taken apart: "label_user12" is "label_user" and "12".
struct NumberedName {
  explicit NumberedName(std::string_view name);

  std::string_view base;
  std::string_view number;  // the digits at the end, maybe none
};

// Whether a name without its number is like "class_games_except_user", and the class in it.
struct ExceptionName {
  explicit ExceptionName(std::string_view base);

  bool isOne;
  std::string_view trafficClass;
};

// The name among those of the section that is most like this one, written for the same user; empty
// if the section has none.
std::string nearestOption(std::string_view section, std::string_view name);

// How many characters have to be changed, added or taken away to come from one name to the other.
std::size_t distance(std::string_view from, std::string_view to);

}  // namespace tavrix::inspect
