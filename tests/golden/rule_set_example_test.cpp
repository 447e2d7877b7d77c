// The rule set that docs/rule-sets.md builds: the page shows its files as they are compiled, and
// the rules and the error that they give.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <sstream>
#include <string>

#include "examples/rule_set/bulk.h"
#include "ipt_compiler/chain_generation.h"
#include "ipt_compiler/rule_model.h"
#include "tests/support/configuration.h"
#include "tests/support/temp_dir.h"

namespace {

using testing::HasSubstr;

std::string exampleFile(const std::string& name) {
  return test_support::readFile(EXAMPLES_DIR "/rule_set/" + name);
}

// The page, and a block as it stands there.
std::string page() {
  return test_support::readFile(DOCS_DIR "/rule-sets.md");
}
std::string fenced(const std::string& kind, const std::string& text) {
  return "\n```" + kind + "\n" + text + "```\n";
}

std::string compiled(const std::string& configuration) {
  test_support::setConfiguration(configuration);
  tavrix::IptProg program = tavrix::bulk::bulkProgram();
  std::uint32_t counter = 0;
  std::ostringstream block;
  tavrix::compileHook(counter, block, program, "PREROUTING", false);
  return block.str();
}

TEST(RuleSetExample, StandsOnThePageAsItIsCompiled) {
  EXPECT_THAT(page(), HasSubstr(fenced("uci", exampleFile("bulk.config"))));
  EXPECT_THAT(page(), HasSubstr(fenced("cpp", exampleFile("bulk.h"))));
  EXPECT_THAT(page(), HasSubstr(fenced("cpp", exampleFile("bulk.cpp"))));
}

TEST(RuleSetExample, GivesTheRulesOfThePage) {
  EXPECT_THAT(page(), HasSubstr(fenced("rules", compiled(exampleFile("bulk.config")))));
}

TEST(RuleSetExample, GivesNoRuleWithoutItsSection) {
  EXPECT_EQ(compiled(""), "");
}

TEST(RuleSetExample, RefusesABlankAfterAValueWithTheErrorOfThePage) {
  const std::string configuration = "config bulk 'bulk'\n\toption port '873 '\n";
  EXPECT_THAT(page(), HasSubstr(fenced("uci", configuration)));
  try {
    compiled(configuration);
    FAIL() << "no error";
  } catch (const tavrix::IptCompileFailed& error) {
    EXPECT_THAT(page(), HasSubstr(fenced("error", error.what() + std::string("\n"))));
  }
}

}  // namespace
