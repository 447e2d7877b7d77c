// Finds out what a configuration of access control needs, and provides it.
#include "testbed/router/access_control.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <iostream>

#include "testbed/router/errors.h"
#include "testbed/router/run_tool.h"
#include "testbed/router/tables.h"
#include "testbed/uci/uci_parser.h"

namespace testbed::router {
namespace {

using Members = IpSet::Members;

// Where the tools look for plugins: directories with colons between them.
constexpr const char* kPluginPathVariable = "XTABLES_LIBDIR";

constexpr std::string_view kSection = "kovsel";
constexpr std::string_view kUserList = "user_list";

// Options that name a set: these words, then the number of a user.
constexpr std::array<std::pair<std::string_view, Members>, 3> kSetOptions = {{
    {"mac_set_user", Members::SourceMacs},
    {"blacklist_v4_user", Members::Ipv4Addresses},
    {"blacklist_v6_user", Members::Ipv6Addresses},
}};

// Words for the tool, best type first.
std::vector<std::vector<std::string>> typesOf(Members members) {
  switch (members) {
    case Members::SourceMacs:
      return {{"hash:mac"}, {"list:set"}};
    case Members::Ipv4Addresses:
      return {{"hash:ip", "family", "inet"}};
    case Members::Ipv6Addresses:
      break;
  }
  return {{"hash:ip", "family", "inet6"}};
}

bool isNumber(std::string_view text) {
  return !text.empty() && text.find_first_not_of("0123456789") == std::string_view::npos;
}

void readOption(const UciOption& option, AccessControl& configuration) {
  if (option.name == kUserList) configuration.hasUsers = true;
  for (const auto& [words, members] : kSetOptions) {
    if (!option.name.starts_with(words) || !isNumber(option.name.substr(words.size()))) continue;
    // The rules use an option's first value.
    const std::string& name = option.values.front();
    if (!name.empty()) configuration.ipSets.push_back({name, members});
  }
}

std::string firstLineOf(const std::string& text) {
  return text.substr(0, text.find('\n'));
}

// The tool, if it can talk to the kernel here.
std::string findIpset() {
  try {
    std::string ipset = findTool("ipset");
    const ToolResult listing = runTool({ipset, "list", "-name"}, "");
    if (listing.status == 0) return ipset;
    throw TablesUnavailable("ipset fails here: " + firstLineOf(listing.err));
  } catch (const TablesUnavailable& error) {
    throw TablesUnavailable(std::string("the configuration names IP sets, and ") + error.what());
  }
}

// The tool's message when no type would do, else empty.
std::string createIpSet(const std::string& ipset, const IpSet& set) {
  ToolResult result;
  for (const std::vector<std::string>& type : typesOf(set.members)) {
    std::vector<std::string> command = {ipset, "-exist", "create", set.name};
    command.insert(command.end(), type.begin(), type.end());
    result = runTool(command, "");
    if (result.status == 0) return "";
  }
  return firstLineOf(result.err);
}

}  // namespace

AccessControl readAccessControl(std::string_view configText) {
  AccessControl configuration;
  try {
    const UciPackage package = parseUci(configText, std::string(kConfigPackage));
    for (const UciSection& section : package.sections) {
      if (section.name != kSection) continue;
      for (const UciOption& option : section.options) readOption(option, configuration);
    }
  } catch (const UciSyntaxError&) {
    return {};
  }
  return configuration;
}

void offerMatchPlugins(const TestbedFiles& files) {
  if (files.matchPlugins.empty()) return;
  const char* present = getenv(kPluginPathVariable);
  const std::string others = present != nullptr ? present : SYSTEM_MATCH_PLUGINS;
  setenv(kPluginPathVariable, (files.matchPlugins + ":" + others).c_str(), 1);
}

void requireMatchPlugins(const TestbedFiles& files, const AccessControl& configuration) {
  if (configuration.hasUsers && files.matchPlugins.empty()) {
    throw TablesUnavailable(
        "the configuration has users, and the plugins for their matches were not built");
  }
}

void createIpSets(const std::vector<IpSet>& sets) {
  if (sets.empty()) return;
  const std::string ipset = findIpset();
  for (const IpSet& set : sets) {
    const std::string message = createIpSet(ipset, set);
    if (!message.empty()) {
      std::cerr << "router: no IP set " << set.name << ": " << message << '\n';
    }
  }
}

}  // namespace testbed::router
