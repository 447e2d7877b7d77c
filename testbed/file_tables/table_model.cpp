// Look-ups in the table's data.
#include "testbed/file_tables/table_model.h"

#include <algorithm>
#include <utility>

#include "testbed/file_tables/argument_shapes.h"

namespace file_tables {
namespace {

const OptionUse* findOption(const std::vector<OptionUse>& options, std::string_view name) {
  for (const OptionUse& option : options) {
    if (option.name == name) {
      return &option;
    }
  }
  return nullptr;
}

}  // namespace

bool isVerdictName(std::string_view name) {
  return name == "ACCEPT" || name == "DROP" || name == "RETURN" || name == "QUEUE";
}

const OptionUse* ExtensionUse::find(std::string_view optionName) const {
  return findOption(options, optionName);
}

const OptionUse* Rule::findSelector(std::string_view optionName) const {
  return findOption(selectors, optionName);
}

bool Rule::isUnconditional(Family family) const {
  const auto holdsAlways = [&](const OptionUse& selector) {
    if (selector.negated || selector.arguments.empty()) {
      return false;
    }
    const std::string& argument = selector.arguments.front();
    if (selector.name == "protocol") {
      // The IPv6 kernel remembers that there was a "-p".
      return family == Family::Ipv4 && parseProtocol(argument) == 0;
    }
    const std::size_t slash = argument.find('/');
    return (selector.name == "source" || selector.name == "destination") &&
           slash != std::string::npos && isEmptyMask(argument.substr(slash + 1));
  };
  return matches.empty() && std::all_of(selectors.begin(), selectors.end(), holdsAlways);
}

Table::Table(Family family, const TableLayout& layout) : family_(family), layout_(&layout) {
  for (const BuiltInChain& builtIn : layout.chains) {
    index_.emplace(builtIn.name, chains_.size());
    chains_.push_back({std::string(builtIn.name), "ACCEPT", builtIn.hook, {}});
  }
}

const Chain* Table::findChain(std::string_view chainName) const {
  const auto found = index_.find(std::string(chainName));
  return found == index_.end() ? nullptr : &chains_[found->second];
}

Chain* Table::findChain(std::string_view chainName) {
  const auto found = index_.find(std::string(chainName));
  return found == index_.end() ? nullptr : &chains_[found->second];
}

void Table::addUserChain(std::string chainName) {
  index_.emplace(chainName, chains_.size());
  chains_.push_back({std::move(chainName), "-", 0, {}});
}

}  // namespace file_tables
