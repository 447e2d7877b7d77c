// "check" against the run itself, without tools: it finds a fault that stops the run exactly if the
// run stops, with the same message, and what it calls ignored makes no difference.
#include <gtest/gtest.h>

#include <exception>
#include <iostream>
#include <set>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "firewall_cpp/schedule.h"
#include "inspect/configuration_check.h"
#include "inspect/option_names.h"
#include "ipt_compiler/restore_text.h"
#include "tests/inspect/odd_configuration.h"
#include "tests/support/configuration.h"
#include "tests/support/temp_dir.h"
#include "wrt_cppwrap/uci_config.h"

namespace inspect_test {
namespace {

using tavrix::inspect::Finding;
using tavrix::inspect::NotedTexts;

// What ends a run, empty if nothing does. That the programs can be built decides it.
std::string runError() {
  try {
    for (const tavrix::Pass& pass : std::span(tavrix::kPasses).first(3)) {
      for (const tavrix::HookPlan& plan : pass.hooks) plan.makeProgram();
    }
    return {};
  } catch (const std::exception& error) {
    return error.what();
  }
}

// What a run writes for the IPv4 tables, if they are empty before.
std::string runText() {
  std::ostringstream out;
  for (const tavrix::Pass& pass : std::span(tavrix::kPasses).first(3)) {
    tavrix::HookMap hooks;
    std::string saved;
    for (const tavrix::HookPlan& plan : pass.hooks) {
      hooks[plan.chain].push_back(
          {plan.chain, plan.position, tavrix::kOwnChain, plan.makeProgram()});
      saved.append(":").append(plan.chain).append(" ACCEPT [0:0]\n");
    }
    tavrix::writeRestoreText(out, saved + "COMMIT\n", hooks);
  }
  return out.str();
}

TEST(Check, FindsWhatStopsARunAndNothingElse) {
  constexpr unsigned kConfigurations = 20000;
  unsigned stopping = 0;
  unsigned ignored = 0;
  for (unsigned seed = 1; seed <= kConfigurations; ++seed) {
    const bool isWhole = seed % 80 == 0;
    const std::string configuration = oddConfiguration(seed, isWhole);
    test_support::setConfiguration(configuration);
    const std::string error = runError();
    SCOPED_TRACE("seed " + std::to_string(seed) + "\n" + configuration + error);
    const NotedTexts texts(NotedTexts::Wrong::kIsNoted);
    const std::vector<Finding> findings = checkConfiguration(texts);
    const bool finds = !findings.empty() && findings.front().effect == Finding::Effect::kStops;
    ASSERT_EQ(finds, !error.empty());
    for (const Finding& finding : findings) {
      ASSERT_LE(finding.markStart + finding.markLength, finding.text.size()) << finding.where;
    }
    if (finds) {
      ++stopping;
      ASSERT_NE(findings.front().reason.find(error), std::string::npos) << findings.front().reason;
      if (seed % 4 == 0) {
        ASSERT_EQ(runError(), "") << "what stopped it is out of the way afterwards";
      }
      continue;
    }
    if (!isWhole) continue;
    const std::string text = runText();
    bool drops = false;
    for (const Finding& finding : findings) {
      for (auto& [section, options] : tavrix::params) {
        const bool isHere = finding.where == std::string(section) + "." + finding.text;
        const auto option = isHere ? options.find(finding.text) : options.end();
        if (option == options.end()) continue;
        options.erase(option);
        drops = true;
      }
    }
    ignored += drops ? 1 : 0;
    ASSERT_EQ(runText(), text) << "options that are ignored as a whole make no difference";
  }
  std::cout << "check: " << kConfigurations << " random odd configurations: " << stopping
            << " stop a run, " << ignored << " have options that are ignored\n";
  EXPECT_GT(stopping, kConfigurations / 10);
  EXPECT_GT(ignored, kConfigurations / 400);
}

// Without any option that is known, the household gets other tables or none.
TEST(Check, KnowsTheOptionsThatAreRead) {
  const std::string household = test_support::readFile(EXAMPLES_DIR "/firewall_cpp");
  test_support::setConfiguration(household);
  const std::string text = runText();
  std::set<std::string_view> unread;
  for (const tavrix::inspect::OptionName& known : tavrix::inspect::optionNames()) {
    test_support::setConfiguration(household);
    auto& options = tavrix::params.find(known.section)->second;
    std::erase_if(options, [&](const auto& option) {
      const tavrix::inspect::NumberedName name(option.first);
      return option.first == known.name ||
             (known.isOfUser && name.base == known.name && !name.number.empty());
    });
    if (runError().empty() && runText() == text) unread.insert(known.name);
  }
  EXPECT_EQ(unread, std::set<std::string_view>());
}

}  // namespace
}  // namespace inspect_test
