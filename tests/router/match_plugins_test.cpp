// The platform's matches: which options each takes, and that the tools print back what was written.
#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

#include "tests/support/router_under_test.h"
#include "tests/support/temp_dir.h"

namespace {

using test_support::ProcessResult;
using test_support::TempDir;

class PlatformMatches : public testing::TestWithParam<std::string> {
 protected:
  void SetUp() override {
    if (const std::string reason = router_test::refusal(GetParam()); !reason.empty()) {
      GTEST_SKIP() << reason;
    }
  }

  // Feeds each text to the restore tools of both families, every one on empty tables; one outcome
  // per family and text, IPv4 first:
  //   the exit status, a newline, and the rules that the table then has; or, when it was refused,
  //   the tool's message without the tool's name
  static std::vector<std::string> outcomes(const std::vector<std::string>& texts) {
    const TempDir directory;
    for (std::size_t i = 0; i < texts.size(); ++i) {
      test_support::writeFile(directory / ("text" + std::to_string(i)), texts[i]);
    }
    const ProcessResult result = router_test::runScript(
        {"--no-bus", "--tables=" + GetParam()}, "directory=" + directory.path().string() +
                                                    "; count=" + std::to_string(texts.size()) +
                                                    R"sh(
for family in iptables ip6tables; do
  index=0
  while [ $index -lt $count ]; do
    printf '*mangle\nCOMMIT\n' | $family-restore
    status=0
    $family-restore < $directory/text$index 2> /tmp/message || status=$?
    {
      echo $status
      if [ $status = 0 ]; then
        $family-save -t mangle | grep -e ^-A || true
      else
        sed -n '1s/^ip6*tables[^:]*: //; 1p' /tmp/message
      fi
    } > $directory/$family.$index
    index=$((index + 1))
  done
done)sh");
    EXPECT_EQ(result.exitStatus, 0) << result.err;
    std::vector<std::string> outcomes;
    for (const char* family : {"iptables.", "ip6tables."}) {
      for (std::size_t i = 0; i < texts.size(); ++i) {
        outcomes.push_back(test_support::readFile(directory / (family + std::to_string(i))));
      }
    }
    return outcomes;
  }

  static std::string tableWith(const std::string& rule) {
    return "*mangle\n" + rule + "\nCOMMIT\n";
  }

  // Each text is the whole of a rule after "-A PREROUTING ".
  static void expectEchoed(const std::vector<std::string>& rules) {
    std::vector<std::string> texts;
    texts.reserve(rules.size());
    for (const std::string& rule : rules) texts.push_back(tableWith("-A PREROUTING " + rule));
    const std::vector<std::string> found = outcomes(texts);
    for (std::size_t i = 0; i < found.size(); ++i) {
      EXPECT_EQ(found[i], "0\n-A PREROUTING " + rules[i % rules.size()] + "\n");
    }
  }

  struct Refusal {
    std::string rule;
    std::string message;
  };
  static void expectRefused(const std::vector<Refusal>& refusals) {
    std::vector<std::string> texts;
    texts.reserve(refusals.size());
    for (const Refusal& refusal : refusals) {
      texts.push_back(tableWith("-A PREROUTING " + refusal.rule));
    }
    const std::vector<std::string> found = outcomes(texts);
    for (std::size_t i = 0; i < found.size(); ++i) {
      const Refusal& refusal = refusals[i % refusals.size()];
      EXPECT_EQ(found[i], "2\n" + refusal.message + "\n") << refusal.rule;
    }
  }
};
INSTANTIATE_TEST_SUITE_P(Kinds, PlatformMatches, testing::Values("legacy", "nft", "files"),
                         [](const auto& kind) { return kind.param; });

TEST_P(PlatformMatches, EveryUseInTheRulesIsPrintedBackAsWritten) {
  expectEchoed({
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
  });
}

TEST_P(PlatformMatches, StandBesideOtherMatchesAndEachOther) {
  expectEchoed({
      "-p tcp -m tavrix-connlabel --label 16 -m comment --comment ipt_compiler -j ACCEPT",
      "-m tavrix-conndurvan --class 7 -m tavrix-conndurvan --invert --subclass 71"
      " -m tavrix-conndurvan --invert --subclass 72 -m comment --comment ipt_compiler -j RETURN",
      "-m mark --mark 0x2 -m tavrix-connlabel --mark 0x1 --label 16 -m tavrix-xtcounter --inc 1",
  });
}

TEST_P(PlatformMatches, ARealCommentStaysAComment) {
  expectEchoed({
      "-m comment --comment \"tavrix-connlabel --label 16\" -j ACCEPT",
      R"(-m comment --comment "two \"quoted\" words" -m comment --comment ipt_compiler)",
      "-m comment --comment \"" + std::string(250, 'x') + " tail\"",
  });
}

TEST_P(PlatformMatches, AValueMayHoldAnyCharacter) {
  expectEchoed({
      "-m tavrix-connlabel --label 0x10/0xff:a,b",
      "-m tavrix-xthostset --set-name \"two words\"",
      R"(-m tavrix-xthostset --set-name "a \"quoted\" \\ word")",
      "-m tavrix-xthostset --set-name " + std::string(127, 'x'),
  });
}

TEST_P(PlatformMatches, OptionsAreRequired) {
  const std::string connlabel = "tavrix-connlabel: option \"--label\" must be specified";
  const std::string conndurvan =
      "tavrix-conndurvan: one of --mark, --class or --subclass is required";
  expectRefused({
      {"-m tavrix-connlabel", connlabel},
      {"-m tavrix-connlabel --set", connlabel},
      {"-m tavrix-connlabel --mark 0x1", connlabel},
      {"-m tavrix-connstat --set", "tavrix-connstat: option \"--stat-node\" must be specified"},
      {"-m tavrix-connstat --stat-node 5", "tavrix-connstat: option \"--set\" must be specified"},
      {"-m tavrix-conndurvan", conndurvan},
      {"-m tavrix-conndurvan --invert", conndurvan},
      {"-m tavrix-xtcounter", "tavrix-xtcounter: option \"--inc\" must be specified"},
      {"-m tavrix-xthostset", "tavrix-xthostset: option \"--set-name\" must be specified"},
  });
}

TEST_P(PlatformMatches, ValuesAreRequiredAndOfTheRightShape) {
  const std::string mark =
      "tavrix-connlabel: bad integer value for option \"--mark\", or out of range.";
  expectRefused({
      {"-m tavrix-connlabel --label", "option \"--label\" requires an argument"},
      {"-m tavrix-connlabel --label \"\"", "Argument must have a minimum length of 1 characters"},
      {"-m tavrix-connlabel --label 1 --mark x", mark},
      {"-m tavrix-connlabel --label 1 --mark 0x100000000", mark},
      {"-m tavrix-conndurvan --mark 0x1", "Bad argument `0x1'"},
      {"-m tavrix-xtcounter --inc 1 2", "Bad argument `2'"},
      {"-m tavrix-xthostset --set-name " + std::string(128, 'x'),
       "Argument must have a maximum length of 127 characters"},
  });
}

TEST_P(PlatformMatches, OptionsOfOthersAreUnknown) {
  expectRefused({
      {"-m tavrix-connlabel --label 1 --stat-node 2", "unknown option \"--stat-node\""},
      {"-m tavrix-connstat --set --stat-node 1 --label 2", "unknown option \"--label\""},
      {"-m tavrix-conndurvan --class 1 --inc 2", "unknown option \"--inc\""},
      {"-m tavrix-xtcounter --inc 1 --set-name 2", "unknown option \"--set-name\""},
      {"-m tavrix-xthostset --set-name 1 --class 2", "unknown option \"--class\""},
      {"-m tavrix-other --label 1", "Couldn't load match `tavrix-other':No such file or directory"},
  });
}

TEST_P(PlatformMatches, ContradictionsAreRefused) {
  const auto together = [](const std::string& match, const char* one, const char* other) {
    return "tavrix-" + match + ": option \"" + one + "\" cannot be used together with \"" + other +
           "\".";
  };
  expectRefused({
      {"-m tavrix-connlabel --set ! --label 1", together("connlabel", "--set", "! --label")},
      {"-m tavrix-connlabel ! --label 1 --set", together("connlabel", "--set", "! --label")},
      {"-m tavrix-connlabel --label 1 --label 2",
       "tavrix-connlabel: option \"--label\" can only be used once."},
      {"-m tavrix-conndurvan --mark --class 1", together("conndurvan", "--mark", "--class")},
      {"-m tavrix-conndurvan --mark --invert", together("conndurvan", "--mark", "--invert")},
      {"-m tavrix-conndurvan --class 1 --subclass 2",
       together("conndurvan", "--class", "--subclass")},
  });
}

TEST_P(PlatformMatches, OnlyALabelMayBeNegated) {
  const auto notInverted = [](const std::string& match, const std::string& option) {
    return "tavrix-" + match + ": option \"--" + option + "\" cannot be inverted.";
  };
  expectRefused({
      {"-m tavrix-connlabel ! --mark 0x1 --label 1", notInverted("connlabel", "mark")},
      {"-m tavrix-connlabel ! --set --label 1", notInverted("connlabel", "set")},
      {"-m tavrix-connstat --set ! --stat-node 1", notInverted("connstat", "stat-node")},
      {"-m tavrix-conndurvan ! --class 1", notInverted("conndurvan", "class")},
      {"-m tavrix-conndurvan ! --subclass 1", notInverted("conndurvan", "subclass")},
      {"-m tavrix-xtcounter ! --inc 1", notInverted("xtcounter", "inc")},
      {"-m tavrix-xthostset ! --set-name 1", notInverted("xthostset", "set-name")},
  });
}

// The kernel has 254 characters for it; each of these needs two.
TEST_P(PlatformMatches, AMatchThatTheKernelHasNoRoomForIsRefused) {
  std::string quotes;
  for (int i = 0; i < 120; ++i) quotes += "\\\"";
  const std::string rule = "-m tavrix-xthostset --set-name \"" + quotes + "\"";
  expectRefused({{rule, "a platform match is longer than 254 characters"}});
}

}  // namespace
