// Every example of the pages for users is run and compared whole: a fenced block "uci" with a
// configuration, then a fenced block "rules" or "error" with what comes of it, the generated rules
// of mangle OUTPUT or the program's error text.
#include <gtest/gtest.h>

#include <regex>
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

// The generated lines of mangle OUTPUT, and after them those of PREROUTING: the same rules, with
// the next chain numbers.
std::string forBothHooks(const std::string& outputBlock) {
  const auto named = [](int chain) { return "ipt_compiler_" + std::to_string(chain); };
  int chains = 0;
  while (outputBlock.find(":" + named(chains) + " ") != std::string::npos) ++chains;
  std::string second = std::regex_replace(outputBlock, std::regex("-A OUTPUT "), "-A PREROUTING ");
  for (int chain = chains - 1; chain >= 0; --chain) {
    second = std::regex_replace(second, std::regex(named(chain) + "\\b"), named(chain + chains));
  }
  return outputBlock + second;
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
      ASSERT_EQ(run.restoreTexts.size(), kPasses.size());
      for (std::size_t pass = 0; pass < kPasses.size(); ++pass) {
        EXPECT_EQ(linesOf(run.restoreTexts[pass], true),
                  kPasses[pass].table == "mangle" ? forBothHooks(outcome.text) : "");
      }
      EXPECT_EQ(programError(run.err), "");
      EXPECT_EQ(run.status, 0);
    }
  }
}

INSTANTIATE_TEST_SUITE_P(, DocPage, testing::Values("nfnlq", "language"),
                         [](const auto& test) { return test.param; });

}  // namespace
}  // namespace golden
