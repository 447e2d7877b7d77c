// Configurations in cases/, each beside the rules that whole runs make of it: NAME.config and
// NAME.tables. What is foreign in the tables stays, the tables of IPv6 get the same as those of
// IPv4, a second run changes nothing, and without the configuration nothing is left.
//
// `./check --update` writes the expected tables anew; `git diff` then shows what has changed. Rules
// of a case whose name begins with "refused" are not for the kernel's tools.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "tests/golden/golden_run.h"
#include "tests/support/temp_dir.h"

namespace golden {
namespace {

namespace fs = std::filesystem;
using test_support::readFile;

std::vector<fs::path> configurations() {
  std::vector<fs::path> files;
  for (const fs::directory_entry& entry : fs::directory_iterator(GOLDEN_SOURCE_DIR "/cases")) {
    if (entry.path().extension() == ".config") files.push_back(entry.path());
  }
  std::ranges::sort(files);
  return files;
}

TEST(Cases, GiveTheTablesThatAreWrittenDownBesideThemAndKeepThem) {
  for (fs::path file : configurations()) {
    SCOPED_TRACE(file.filename());
    Scenario scenario;
    const std::string config = readFile(file);
    scenario.configs = {config, config, ""};
    scenario.tools = Tools::Texts;
    std::vector<std::string> foreign;
    for (const PassName& pass : kPasses) {
      foreign.push_back(readFile(EXAMPLES_DIR "/foreign_rules/" + pass.key()));
      scenario.tables[pass.key()] = foreign.back();
    }
    const std::vector<RunRecord> runs = runAll(scenario);
    for (const RunRecord& run : runs) {
      ASSERT_EQ(run.calls, expectedCalls());
      EXPECT_EQ(programError(run.err), "");
      EXPECT_EQ(run.status, 0);
    }

    std::string tables;
    for (std::size_t i = 0; i < kPasses.size(); ++i) {
      const std::string& text = runs[0].restoreTexts[i];
      EXPECT_EQ(linesOf(text, false), foreign[i]);
      if (kPasses[i].tool == "iptables") {
        tables += "*" + std::string(kPasses[i].table) + "\n" + linesOf(text, true);
      } else {
        EXPECT_EQ(linesOf(text, true), linesOf(runs[0].restoreTexts[i - 3], true));
      }
    }
    file.replace_extension("tables");
    if (std::getenv("UPDATE_GOLDEN") != nullptr) test_support::writeFile(file, tables);
    EXPECT_EQ(tables, readFile(file));
    EXPECT_EQ(runs[1].restoreTexts, runs[0].restoreTexts);
    EXPECT_EQ(runs[2].restoreTexts, foreign);
  }
}

}  // namespace
}  // namespace golden
