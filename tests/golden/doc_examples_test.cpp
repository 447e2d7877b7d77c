// Every example of the pages for users is run and compared whole.
#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <vector>

#include "tests/golden/doc_examples.h"
#include "tests/golden/golden_run.h"
#include "tests/support/temp_dir.h"

namespace golden {
namespace {

class DocPage : public testing::TestWithParam<std::string> {
 protected:
  static std::string text() { return test_support::readFile(DOCS_DIR "/" + GetParam() + ".md"); }
};

TEST_P(DocPage, HasExamplesThatGiveWhatStandsBelowThem) {
  const std::vector<DocExample> examples = readDocExamples(text());
  ASSERT_FALSE(examples.empty());
  for (const DocExample& example : examples) {
    SCOPED_TRACE(GetParam() + ".md:" + std::to_string(example.line));
    const RunRecord run = runOnce(example.config);
    if (example.isError) {
      EXPECT_EQ(programError(run.err), example.outcome);
      EXPECT_EQ(run.status, kAborted);
    } else {
      EXPECT_EQ(run.restoreTexts, restoreTextsWith(forBothHooks(example.outcome)));
      EXPECT_EQ(programError(run.err), "");
      EXPECT_EQ(run.status, 0);
    }
  }
}

INSTANTIATE_TEST_SUITE_P(, DocPage, testing::Values("nfnlq", "language"),
                         [](const auto& test) { return test.param; });

TEST(DocExamples, AreReadWithTheLinesOfTheirFences) {
  const std::vector<DocExample> examples = readDocExamples(
      "# Title\n```uci\na\n\nb\n```\ntext\n```rules\nc\n```\n```uci\n```\n```error\nd\n```\n");
  ASSERT_EQ(examples.size(), 2U);
  EXPECT_EQ(examples[0].line, 2U);
  EXPECT_EQ(examples[0].config, "a\n\nb\n");
  EXPECT_FALSE(examples[0].isError);
  EXPECT_EQ(examples[0].outcome, "c\n");
  EXPECT_EQ(examples[1].line, 11U);
  EXPECT_EQ(examples[1].config, "");
  EXPECT_TRUE(examples[1].isError);
  EXPECT_EQ(examples[1].outcome, "d\n");
}

TEST(DocExamples, ThatAreNotWholeAreRefused) {
  for (const char* page : {"```uci\n```\n", "```rules\n```\n", "```uci\n```\n```uci\n```\n",
                           "```uci\n```\n```text\n```\n", "```uci\n"}) {
    EXPECT_THROW(readDocExamples(page), std::runtime_error) << page;
  }
}

}  // namespace
}  // namespace golden
