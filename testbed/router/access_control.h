// What the rules of access control need beside the tables: the tools' plugins for the platform's
// matches, and the IP sets that the configuration names. On a router both are there already.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "testbed/router/paths.h"

namespace testbed::router {

struct IpSet {
  enum class Members { SourceMacs, Ipv4Addresses, Ipv6Addresses };

  std::string name;
  Members members = Members::SourceMacs;
  bool operator==(const IpSet&) const = default;
};

struct AccessControl {
  bool hasUsers = false;
  std::vector<IpSet> ipSets;  // of every user, listed or not, in the order of the file
};

// A file with a syntax error says nothing: the bus daemon reports it.
AccessControl readAccessControl(std::string_view configText);

// Lets the kernel tools that this process and its children start find the platform's plugins,
// before the system's own. Does nothing when none were built.
void offerMatchPlugins(const TestbedFiles& files);

// Throws TablesUnavailable when the configuration has users and no plugins were built.
void requireMatchPlugins(const TestbedFiles& files, const AccessControl& configuration);

// Makes the sets, empty, in the current network namespace. A set of MAC addresses is a list of sets
// where the kernel knows no other kind: rules of both address families accept it, and it can hold
// sets of source addresses. A set that cannot be made, say for its name, is reported on standard
// error and left out. Throws TablesUnavailable without the tool or the kernel's part of it.
void createIpSets(const std::vector<IpSet>& sets);

}  // namespace testbed::router
