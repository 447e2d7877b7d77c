// Builds the expected text of the tool around each row's message.
#include "tests/unit/file_tables/option_rows.h"

#include <gtest/gtest.h>

#include "testbed/file_tables/restore_text.h"

namespace file_tables {
namespace {

struct Outcome {
  int exitStatus;
  std::string message;
  bool operator==(const Outcome&) const = default;
};

void PrintTo(const Outcome& outcome, std::ostream* out) {
  *out << "status " << outcome.exitStatus << ": " << outcome.message;
}

Outcome restore(Family family, const std::string& text) {
  try {
    parseRestoreText(family, text);
  } catch (const RestoreFailure& failure) {
    return {failure.exitStatus(), failure.what()};
  }
  return {0, ""};
}

Outcome expected(Family family, const std::string& outcome) {
  const std::string tool = std::string(toolFamilyName(family)) + "-restore: ";
  if (outcome == kAccepted) {
    return {0, ""};
  }
  if (outcome == kKernelRefuses) {
    return {1, tool + "line 3 failed"};
  }
  return {2, tool + outcome + "\nError occurred at line: 2"};
}

}  // namespace

void expectOutcomes(Family family, const std::string& table, const std::string& chain,
                    const std::string& prefix, const std::vector<OptionOutcome>& outcomes) {
  const std::string start = "*" + table + "\n-A " + chain + " " + prefix + " ";
  for (const OptionOutcome& row : outcomes) {
    std::string text = start;
    text.append(row.options).append("\nCOMMIT\n");
    EXPECT_EQ(restore(family, text), expected(family, row.outcome)) << text;
  }
}

}  // namespace file_tables
