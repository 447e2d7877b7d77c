// Checks every statement in both address families, with the user alone and with other users before
// and after in the list.
#include <gtest/gtest.h>

#include <iostream>
#include <string>

#include "tests/policy/policy_walk.h"
#include "tests/policy/statements.h"
#include "tests/support/configuration.h"

namespace policy {
namespace {

// Users of every kind, whose packets none of the statements is about.
constexpr const char* kNeighbours = R"(
	option mac_set_user1 rejected_macs
	option label_user1 10
	option reject_user1 1

	option mac_set_user2 child_macs
	option label_user2 20
	list mac_user2 02:00:00:00:00:01
	list mac_user2 02:00:00:00:00:02
	list mac_label_user2 201
	list mac_label_user2 202
	option blacklist_v4_user2 black4
	option blacklist_v6_user2 black6
	option keywords_user2 hosts
	option host_counter_user2 21
	option app_counter_user2 22
	list class_reject_user2 games
	list class_reject_user2 video
	list class_games_except_user2 chess
	list class_user2 news
	list class_label_user2 203

	option label_user8 80
	option keywords_user8 hosts

	option mac_set_user9 phone_macs
	option label_user9 90
	list mac_user9 02:00:00:00:00:03
	list mac_label_user9 901
)";

struct Company {
  const char* name;
  const char* before;
  const char* after;
};

constexpr Company kCompanies[] = {
    {"alone", "", ""},
    {"after others", "\tlist user_list 1\n\tlist user_list 2\n", ""},
    {"before others", "", "\tlist user_list 8\n\tlist user_list 9\n"},
    {"among others", "\tlist user_list 8\n\tlist user_list 2\n",
     "\tlist user_list 1\n\tlist user_list 9\n"},
};

std::string configuration(const Statement& statement, const Company& company) {
  std::string text = "config kovsel 'kovsel'\n" + std::string(company.before);
  for (const std::string& listed : statement.listed) text += "\tlist user_list '" + listed + "'\n";
  return text + company.after + statement.options + kNeighbours;
}

TEST(Policy, IsAsStated) {
  for (const StatementTable& table : readStatements(STATEMENTS)) {
    ASSERT_FALSE(table.statements.empty()) << table.name;
    int walks = 0;
    for (const Statement& statement : table.statements) {
      for (const Company& company : kCompanies) {
        test_support::setConfiguration(configuration(statement, company));
        for (const Hook hook : table.hooks) {
          const Tables tables = compileTables(hook);
          EXPECT_EQ(walk(tables, hook, Family::kV4, statement.packet), statement.happensOnV4)
              << statement.text << "\n(IPv4, " << table.name << ", " << company.name << ")";
          EXPECT_EQ(walk(tables, hook, Family::kV6, statement.packet), statement.happensOnV6)
              << statement.text << "\n(IPv6, " << table.name << ", " << company.name << ")";
          walks += 2;
        }
      }
    }
    std::cout << table.name << ": " << table.statements.size() << " statements checked with "
              << walks << " packet walks\n";
  }
}

}  // namespace
}  // namespace policy
