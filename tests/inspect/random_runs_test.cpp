// Random configurations, one after the other on the same tables: "diff" says nothing exactly when
// the run after it changes nothing, "print" shows what that run restores, and "check" says exactly
// of those that fail that they do.
#include <gtest/gtest.h>

#include <iostream>
#include <sstream>
#include <string>

#include "tests/inspect/odd_configuration.h"
#include "tests/inspect/transcript.h"
#include "tests/support/random_configuration.h"
#include "tests/support/router_under_test.h"
#include "tests/support/temp_dir.h"

namespace inspect_test {
namespace {

constexpr unsigned kSeeds = 12;

// Without every second option of the users, except their labels, which they need.
std::string withFewerOptions(const std::string& configuration) {
  std::istringstream lines(configuration);
  std::string fewer;
  bool isKept = false;
  for (std::string line; std::getline(lines, line);) {
    const bool isOption =
        line.find("_user") != std::string::npos && line.find(" label_") == std::string::npos;
    if (isOption) isKept = !isKept;
    if (!isOption || isKept) fewer += line + "\n";
  }
  return fewer;
}

// One line for each configuration: its name, the statuses of "diff" and of the run, then "said" if
// "diff" has printed something, "changed" if a table has another text afterwards, "printed" if
// "print" has shown what the run restored last, "faulty" if "check" has found what a run fails at.
// Times and counters do not count.
constexpr const char* kScript = R"sh(
plain() { sed -e '/^#/d' -e 's/\[[0-9]*:[0-9]*\]/[0:0]/'; }
save() {
  for family in iptables ip6tables; do
    for table in mangle nat filter; do $family-save -t $table; done
  done | plain
}
for configuration in "$CONFIGURATIONS"/*; do
  cp "$configuration" "$TESTBED_CONFIG_DIR/firewall_cpp"
  save >/tmp/before
  diff_status=0
  firewall_cpp-inspect diff >/tmp/diff 2>/tmp/diff_errors || diff_status=$?
  firewall_cpp-inspect print --table=filter --family=ipv6 2>/dev/null | plain >/tmp/print || :
  check_status=0
  firewall_cpp-inspect check >/tmp/check 2>&1 || check_status=$?
  faulty=
  if grep -q -e '^  a run stops at' -e '^  the restore tool refuses' /tmp/check; then faulty=faulty; fi
  [ $check_status -eq "$([ -s /tmp/check ] && echo 1 || echo 0)" ] || faulty="check $check_status"
  run_status=0
  firewall_cpp >/dev/null 2>/tmp/run_errors || run_status=$?
  save >/tmp/after
  plain </tmp/ipt_compiler_out >/tmp/restored
  echo "${configuration##*/} $diff_status $run_status" \
    "$([ ! -s /tmp/diff ] || echo said)" "$(cmp -s /tmp/before /tmp/after || echo changed)" \
    "$(! cmp -s /tmp/print /tmp/restored || echo printed)" "$faulty" "$(head -n 1 /tmp/diff_errors)"
done
)sh";

TEST(RandomRuns, AreShownBeforeTheyAreMade) {
  if (const std::string reason = router_test::refusal("files"); !reason.empty()) {
    GTEST_SKIP() << reason;
  }
  const test_support::TempDir directory;
  unsigned count = 0;
  for (unsigned seed = 1; seed <= kSeeds; ++seed) {
    const std::string configuration = test_support::randomConfiguration(seed);
    for (const std::string& text : {configuration, configuration, withFewerOptions(configuration),
                                    configuration, oddConfiguration(seed, true)}) {
      // Names of one length, for the order of the shell.
      test_support::writeFile(directory / std::to_string(1000 + count++), text);
    }
  }
  std::istringstream lines(
      runOnRouter("ulimit -c 0; CONFIGURATIONS=" + directory.path().string() + kScript));
  unsigned changes = 0;
  unsigned same = 0;
  unsigned failures = 0;
  for (std::string line; std::getline(lines, line);) {
    std::istringstream words(line);
    std::string name;
    int diffStatus = 0;
    int runStatus = 0;
    words >> name >> diffStatus >> runStatus;
    const bool said = line.find(" said") != std::string::npos;
    const bool changed = line.find(" changed") != std::string::npos;
    const bool isFaulty = line.find(" faulty") != std::string::npos;
    SCOPED_TRACE(line + "\n" + test_support::readFile(directory / name));
    EXPECT_EQ(isFaulty, runStatus != 0);
    if (runStatus != 0) {
      EXPECT_EQ(diffStatus, 2);
      ++failures;
      continue;
    }
    EXPECT_EQ(diffStatus, changed ? 1 : 0);
    EXPECT_EQ(said, changed);
    EXPECT_NE(line.find(" printed"), std::string::npos);
    ++(changed ? changes : same);
  }
  EXPECT_EQ(changes + same + failures, count);
  EXPECT_GT(changes, kSeeds);
  EXPECT_GT(same, kSeeds / 2);
  std::cout << "inspect: " << count << " runs of " << kSeeds << " seeds: " << changes
            << " change something, " << same << " do not, " << failures << " fail\n";
}

}  // namespace
}  // namespace inspect_test
