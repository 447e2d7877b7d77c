// The layouts as data.
#include "testbed/file_tables/table_layout.h"

#include <array>

namespace file_tables {
namespace {

constexpr std::array<BuiltInChain, 5> kMangleChains{{{"PREROUTING", kPrerouting},
                                                     {"INPUT", kInput},
                                                     {"FORWARD", kForward},
                                                     {"OUTPUT", kOutput},
                                                     {"POSTROUTING", kPostrouting}}};
constexpr std::array<BuiltInChain, 4> kNatChains{{{"PREROUTING", kPrerouting},
                                                  {"INPUT", kInput},
                                                  {"OUTPUT", kOutput},
                                                  {"POSTROUTING", kPostrouting}}};
constexpr std::array<BuiltInChain, 3> kFilterChains{
    {{"INPUT", kInput}, {"FORWARD", kForward}, {"OUTPUT", kOutput}}};
constexpr std::array<BuiltInChain, 2> kRawChains{
    {{"PREROUTING", kPrerouting}, {"OUTPUT", kOutput}}};

constexpr std::array<TableLayout, 5> kTables{{{"raw", kRawChains},
                                              {"mangle", kMangleChains},
                                              {"nat", kNatChains},
                                              {"filter", kFilterChains},
                                              {"security", kFilterChains}}};

}  // namespace

std::string_view toolFamilyName(Family family) {
  return family == Family::Ipv4 ? "iptables" : "ip6tables";
}

const TableLayout* findTableLayout(std::string_view name) {
  for (const TableLayout& layout : kTables) {
    if (layout.name == name) {
      return &layout;
    }
  }
  return nullptr;
}

}  // namespace file_tables
