// The legacy save and restore tools in namespaces of their own, to hold the file tables against.
#pragma once

#include <map>
#include <string>
#include <utility>
#include <vector>

#include "testbed/file_tables/table_layout.h"

namespace file_tables {

// What two tools that differ in wording can be compared by.
struct TablesShape {
  // "TABLE CHAIN": policy and number of rules. Only the tables raw, mangle, nat and filter.
  std::map<std::string, std::pair<std::string, std::size_t>> chains;
  bool operator==(const TablesShape&) const = default;
};

struct RestoreOutcome {
  int exitStatus = -1;
  TablesShape tables;
  std::string message;  // standard error of the restore tool
};

// Why the kernel's tables cannot be used here; "" when they can.
std::string kernelTablesObstacle();
std::string ipsetObstacle();

// Feeds each text to the family's legacy restore tool, every one on empty tables, in one namespace.
// The set that setName() names exists there when the machine has ipset.
std::vector<RestoreOutcome> restoreInKernel(Family family, const std::vector<std::string>& texts);

// The same on tables in memory.
std::vector<RestoreOutcome> restoreInMemory(Family family, const std::vector<std::string>& texts);

}  // namespace file_tables
