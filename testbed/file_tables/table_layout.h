// The tables that the kernel has for each address family, with their built-in chains in the
// kernel's order, and the places in a packet's way (hooks) that those chains hang on.
#pragma once

#include <cstdint>
#include <span>
#include <string_view>

namespace file_tables {

enum class Family { Ipv4, Ipv6 };

// "iptables" or "ip6tables": the first part of the tools' and the table files' names.
std::string_view toolFamilyName(Family family);

// A set of hooks, one bit each.
using HookMask = std::uint8_t;
constexpr HookMask kPrerouting = 1U << 0;
constexpr HookMask kInput = 1U << 1;
constexpr HookMask kForward = 1U << 2;
constexpr HookMask kOutput = 1U << 3;
constexpr HookMask kPostrouting = 1U << 4;
constexpr HookMask kAllHooks = 0x1F;

struct BuiltInChain {
  std::string_view name;
  HookMask hook;
};

struct TableLayout {
  std::string_view name;
  std::span<const BuiltInChain> chains;
};

// The layout of a table, null when the kernel has no table of that name. Both families have the
// same tables.
const TableLayout* findTableLayout(std::string_view name);

}  // namespace file_tables
