// The platform's matches: which options each takes, and that the tools print back what was written.
#include "tests/router/product_run.h"

namespace product_test {
namespace {

class PlatformMatches : public ProductTest {
 protected:
  // Each text is the whole of a rule after "-A PREROUTING ", its outcome the exit status of the
  // restore tool, a newline, and the rules that the table then has; or, when it was refused, the
  // tool's message without the tool's name. Every rule is alone in its table, in both families.
  static void expectOutcomes(const std::vector<std::pair<std::string, std::string>>& rules) {
    const test_support::TempDir directory;
    std::string expected;
    int number = 1000;  // the shell takes them in this order
    for (const auto& [rule, outcome] : rules) {
      test_support::writeFile(directory / ("text" + std::to_string(number++)),
                              "*mangle\n-A PREROUTING " + rule + "\nCOMMIT\n");
      expected += outcome;
    }
    const test_support::ProcessResult result = router_test::runScript(
        {"--no-bus", "--tables=" + GetParam()}, "cd " + directory.path().string() + R"sh(
for family in iptables ip6tables; do
  for text in text*; do
    printf '*mangle\nCOMMIT\n' | $family-restore
    status=0
    $family-restore < $text 2> /tmp/message || status=$?
    echo $status
    if [ $status = 0 ]; then
      $family-save -t mangle | grep -e ^-A || true
    else
      sed -n '1s/^ip6*tables[^:]*: //; 1p' /tmp/message
    fi
  done
done)sh");
    EXPECT_EQ(result.exitStatus, 0) << result.err;
    EXPECT_EQ(result.out, expected + expected);
  }
};
INSTANTIATE_TEST_SUITE_P(Kinds, PlatformMatches, testing::Values("legacy", "nft", "files"),
                         [](const auto& kind) { return kind.param; });

TEST_P(PlatformMatches, AndRealCommentsArePrintedBackAsWritten) {
  const std::string tag = " -m comment --comment ipt_compiler";
  const std::string except = " -m tavrix-conndurvan --invert --subclass ";
  const std::string counter = " -m tavrix-xtcounter --inc 1";
  std::vector<std::pair<std::string, std::string>> rules;
  for (const std::string& rule : std::vector<std::string>{
           "-m tavrix-connlabel --label 16",
           "-m tavrix-connlabel ! --label 16",
           "-m tavrix-connlabel --mark 0x1 --label 16",
           "-m tavrix-connlabel --set --label 16",
           "-m tavrix-connlabel --set --mark 0x1 --label 16",
           "-m tavrix-connstat --set --stat-node 5",
           "-m tavrix-conndurvan --mark",
           "-m tavrix-conndurvan --class 7",
           "-m tavrix-conndurvan --invert --subclass 71",
           "-m tavrix-xtcounter --inc 2001",
           "-m tavrix-xthostset --set-name words",
           // Beside other matches and each other.
           "-p tcp -m tavrix-connlabel --label 16" + tag + " -j ACCEPT",
           "-m tavrix-conndurvan --class 7" + except + "71" + except + "72" + tag + " -j RETURN",
           "-m mark --mark 0x2 -m tavrix-connlabel --mark 0x1 --label 16" + counter,
           // Values may hold any character.
           "-m tavrix-connlabel --label 0x10/0xff:a,b",
           R"(-m tavrix-xthostset --set-name "a \"quoted\" \\ word")",
           "-m tavrix-xthostset --set-name " + std::string(127, 'x'),
           // Comments.
           "-m comment --comment \"tavrix-connlabel --label 16\" -j ACCEPT",
           R"(-m comment --comment "two \"quoted\" words" -m comment --comment ipt_compiler)",
           "-m comment --comment \"" + std::string(250, 'x') + " tail\"",
       }) {
    rules.emplace_back(rule, "0\n-A PREROUTING " + rule + "\n");
  }
  expectOutcomes(rules);
}

TEST_P(PlatformMatches, RefuseWhatTheirModulesDoNotKnow) {
  struct Row {
    std::string match;
    std::string options;
    std::string message;  // after the match's name; whole if it does not begin with ": "
  };
  const std::string classes = ": one of --mark, --class or --subclass is required";
  const auto required = [](const std::string& option) {
    return ": option \"--" + option + "\" must be specified";
  };
  const auto together = [](const std::string& one, const std::string& other) {
    return ": option \"" + one + "\" cannot be used together with \"" + other + "\".";
  };
  const auto inverted = [](const std::string& option) {
    return ": option \"--" + option + "\" cannot be inverted.";
  };
  std::string quotes;
  for (int i = 0; i < 120; ++i) quotes += "\\\"";
  const std::vector<Row> rows = {
      // Options that are required.
      {"connlabel", "", required("label")},
      {"connstat", "--set", required("stat-node")},
      {"connstat", "--stat-node 5", required("set")},
      {"conndurvan", "", classes},
      {"conndurvan", "--invert", classes},
      {"xtcounter", "", required("inc")},
      {"xthostset", "", required("set-name")},
      // Their values.
      {"connlabel", "--label", "option \"--label\" requires an argument"},
      {"connlabel", "--label \"\"", "Argument must have a minimum length of 1 characters"},
      {"connlabel", "--label 1 --mark x",
       ": bad integer value for option \"--mark\", or out of range."},
      {"conndurvan", "--mark 0x1", "Bad argument `0x1'"},
      {"xthostset", "--set-name " + std::string(128, 'x'),
       "Argument must have a maximum length of 127 characters"},
      // The kernel has 254 characters for a match; each of these needs two.
      {"xthostset", "--set-name \"" + quotes + "\"",
       "a platform match is longer than 254 characters"},
      // Options of others.
      {"connlabel", "--label 1 --stat-node 2", "unknown option \"--stat-node\""},
      {"other", "", "Couldn't load match `tavrix-other':No such file or directory"},
      // Contradictions.
      {"connlabel", "--set ! --label 1", together("--set", "! --label")},
      {"connlabel", "--label 1 --label 2", ": option \"--label\" can only be used once."},
      {"conndurvan", "--mark --class 1", together("--mark", "--class")},
      {"conndurvan", "--mark --invert", together("--mark", "--invert")},
      {"conndurvan", "--class 1 --subclass 2", together("--class", "--subclass")},
      // Only a label may be negated.
      {"connlabel", "! --mark 0x1 --label 1", inverted("mark")},
      {"connlabel", "! --set --label 1", inverted("set")},
      {"connstat", "--set ! --stat-node 1", inverted("stat-node")},
      {"conndurvan", "! --class 1", inverted("class")},
      {"conndurvan", "! --subclass 1", inverted("subclass")},
      {"xtcounter", "! --inc 1", inverted("inc")},
      {"xthostset", "! --set-name 1", inverted("set-name")},
  };
  std::vector<std::pair<std::string, std::string>> rules;
  for (const Row& row : rows) {
    const std::string name = "tavrix-" + row.match;
    rules.emplace_back("-m " + name + " " + row.options,
                       "2\n" + (row.message[0] == ':' ? name : "") + row.message + "\n");
  }
  expectOutcomes(rules);
}

}  // namespace
}  // namespace product_test
