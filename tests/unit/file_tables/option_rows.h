// The notation of the tests on single options: rules with the outcome that each must have.
#pragma once

#include <string>
#include <vector>

#include "testbed/file_tables/table_layout.h"

namespace file_tables {

// Outcomes besides the tool's own messages.
inline constexpr char kAccepted[] = "accepted";
inline constexpr char kKernelRefuses[] = "refused at COMMIT";

struct OptionOutcome {
  std::string options;
  std::string outcome;
};

// Compares what becomes of each rule "-A CHAIN PREFIX OPTIONS" alone in its table: whole messages
// and statuses.
void expectOutcomes(Family family, const std::string& table, const std::string& chain,
                    const std::string& prefix, const std::vector<OptionOutcome>& outcomes);

}  // namespace file_tables
