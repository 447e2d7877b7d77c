// What the user asks for: a command's options and words, and what a command answers to its caller.
#pragma once

#include <string_view>
#include <vector>

#include "firewall_cpp/schedule.h"

namespace tavrix::inspect {

struct Request {
  std::string_view table = {};   // empty: all three
  std::string_view family = {};  // "ipv4" or "ipv6"; empty: both
  bool simplified = false;
  bool chains = false;
  std::vector<std::string_view> words = {};  // what is no option

  // Whether the pass is one of those that table and family name.
  bool selects(const Pass& pass) const {
    return (table.empty() || table == pass.table) &&
           (family.empty() || (family == "ipv6") == (pass.tool == "ip6tables"));
  }
};

// Exit statuses, which is what commands return.
inline constexpr int kFine = 0;
inline constexpr int kDifference = 1;  // or a finding
inline constexpr int kError = 2;

}  // namespace tavrix::inspect
