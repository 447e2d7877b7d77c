// Statements about what becomes of a user's packets, as statements.txt has them.
#pragma once

#include <string>
#include <vector>

#include "tests/policy/packet.h"

namespace policy {

struct Statement {
  std::string text;
  std::string options;              // lines of section "kovsel"
  std::vector<std::string> listed;  // values of "user_list"
  Packet packet;
  // What happens in each family, as policy_walk.h writes it.
  std::string happensOnV4;
  std::string happensOnV6;
};

struct StatementTable {
  std::string name;
  std::vector<Hook> hooks;  // each statement holds in each of them
  std::vector<Statement> statements;
};

// Throws for what is no statement.
std::vector<StatementTable> readStatements(const std::string& file);

}  // namespace policy
