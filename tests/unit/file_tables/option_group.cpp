// Plain text replacement.
#include "tests/unit/file_tables/option_group.h"

#include <cstddef>

#include "tests/unit/file_tables/restore_cases.h"

namespace file_tables {
namespace {

constexpr std::string_view kSeparator = " | ";

}  // namespace

std::string setName(Family family) {
  return family == Family::Ipv4 ? "guests" : "guests6";
}

std::string fillIn(std::string_view text, Family family) {
  const bool isIpv4 = family == Family::Ipv4;
  std::string filled;
  for (std::size_t position = 0; position < text.size(); ++position) {
    if (text[position] != '%' || position + 1 == text.size()) {
      filled += text[position];
      continue;
    }
    switch (text[++position]) {
      case 'A':
        filled += isIpv4 ? "10.0.0.1" : "fd00::1";
        break;
      case 'B':
        filled += isIpv4 ? "10.0.1.1" : "fd00::1:1";
        break;
      case 'C':
        filled += isIpv4 ? "10.0.0.2" : "fd00::2";
        break;
      case 'S':
        filled += setName(family);
        break;
      default: {
        const std::size_t end = text.find('%', position);
        filled.append(std::stoul(std::string(text.substr(position + 1, end - position - 1))), 'a');
        position = end;
      }
    }
  }
  return filled;
}

std::string ruleText(std::string_view table, std::string_view chain, std::string_view options) {
  return std::string("*").append(table).append("\n-A ").append(chain).append(" ").append(options) +
         "\nCOMMIT\n";
}

std::vector<std::string> expandGroups(const std::vector<OptionGroup>& groups, Family family) {
  std::vector<std::string> texts;
  for (const OptionGroup& group : groups) {
    std::size_t begin = 0;
    while (begin != std::string::npos) {
      const std::size_t end = group.variants.find(kSeparator, begin);
      const std::string variant = group.variants.substr(begin, end - begin);
      texts.push_back(
          ruleText(group.table, group.chain, fillIn(group.prefix + " " + variant, family)));
      begin = end == std::string::npos ? end : end + kSeparator.size();
    }
  }
  return texts;
}

}  // namespace file_tables
