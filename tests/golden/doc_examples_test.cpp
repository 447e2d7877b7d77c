// Every example of the pages for users is run and compared whole: a fenced block "uci" with a
// configuration, then a fenced block "rules" or "error" with what comes of it, the generated rules
// of mangle OUTPUT or the program's error text.
#include <gtest/gtest.h>

#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "tests/golden/golden_run.h"
#include "tests/support/temp_dir.h"

namespace golden {
namespace {

struct FencedBlock {
  std::size_t line = 0;  // of its fence, from 1
  std::string kind;
  std::string text;
};

std::vector<FencedBlock> readFencedBlocks(const std::string& page) {
  constexpr std::string_view fence = "```";
  std::vector<FencedBlock> blocks;
  bool isInside = false;
  std::istringstream lines(page);
  std::size_t number = 1;
  for (std::string line; std::getline(lines, line); ++number) {
    if (line.starts_with(fence)) {
      if (!isInside) blocks.push_back({number, line.substr(fence.size()), ""});
      isInside = !isInside;
    } else if (isInside) {
      blocks.back().text += line + "\n";
    }
  }
  if (isInside) throw std::runtime_error("the last block does not end");
  return blocks;
}

class DocPage : public testing::TestWithParam<std::string> {};

TEST_P(DocPage, HasExamplesThatGiveWhatStandsBelowThem) {
  const std::vector<FencedBlock> blocks =
      readFencedBlocks(test_support::readFile(DOCS_DIR "/" + GetParam() + ".md"));
  ASSERT_FALSE(blocks.empty());
  ASSERT_EQ(blocks.size() % 2, 0U);
  for (std::size_t i = 0; i < blocks.size(); i += 2) {
    SCOPED_TRACE(GetParam() + ".md:" + std::to_string(blocks[i].line));
    ASSERT_EQ(blocks[i].kind, "uci");
    const FencedBlock& outcome = blocks[i + 1];
    const RunRecord run = runOnce(blocks[i].text);
    if (outcome.kind == "error") {
      EXPECT_EQ(programError(run.err), outcome.text);
      EXPECT_EQ(run.status, kAborted);
    } else {
      ASSERT_EQ(outcome.kind, "rules");
      EXPECT_EQ(run.restoreTexts, restoreTextsWith(forBothHooks(outcome.text)));
      EXPECT_EQ(programError(run.err), "");
      EXPECT_EQ(run.status, 0);
    }
  }
}

INSTANTIATE_TEST_SUITE_P(, DocPage, testing::Values("nfnlq", "language"),
                         [](const auto& test) { return test.param; });

}  // namespace
}  // namespace golden
