// Statements about what becomes of a user's packets. They are written from what a setting means to
// a household, never from the rules that are made of it.
#pragma once

#include <vector>

#include "tests/policy/packet.h"

namespace policy {

// The one whom a statement is about: always user 5, unless the statement is about several.
struct Household {
  const char* options;                      // lines of section "kovsel"
  std::vector<const char*> listed = {"5"};  // values of "user_list"
};

struct Statement {
  const char* text;
  Household household;
  Packet packet;
  // What happens, as policy_walk.h writes it; "$" stands for the family's number.
  std::string happens;
  // The same for IPv6, where the families differ; "same" when they do not.
  std::string happensOnV6 = "same";
};

struct StatementTable {
  const char* name;
  std::vector<Hook> hooks;  // each statement holds in each of them
  std::vector<Statement> statements;
};

StatementTable mangleStatements();
StatementTable natStatements();
StatementTable filterStatements();  // INPUT and FORWARD alike
StatementTable inputStatements();
StatementTable forwardStatements();
StatementTable journeyStatements();

}  // namespace policy
