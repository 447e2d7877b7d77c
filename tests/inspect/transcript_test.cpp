// Every transcript in cases/ and the examples of docs/inspect.md come out as they are written.
// `./check --update` writes them anew; `git diff` then shows what has changed.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "tests/inspect/transcript.h"
#include "tests/support/router_under_test.h"
#include "tests/support/scripted_bus.h"
#include "tests/support/temp_dir.h"
#include "tests/support/wire_bytes.h"

namespace inspect_test {
namespace {

namespace fs = std::filesystem;

std::vector<fs::path> transcripts() {
  std::vector<fs::path> files = {INSPECT_PAGE};
  for (const fs::directory_entry& entry : fs::directory_iterator(INSPECT_CASES)) {
    files.push_back(entry.path());
  }
  return files;
}

TEST(Transcripts, ComeOutAsTheyAreWritten) {
  if (const std::string reason = router_test::refusal("files"); !reason.empty()) {
    GTEST_SKIP() << reason;
  }
  for (const fs::path& file : transcripts()) {
    SCOPED_TRACE(file);
    const std::string written = test_support::readFile(file);
    const std::string found = replayed(written);
    if (std::getenv("UPDATE_GOLDEN") != nullptr) {
      test_support::writeFile(file, found);
    } else {
      EXPECT_EQ(found, written);
    }
  }
}

// Who may read the tables but not open the lock file. The answer is the one that root gets.
TEST(OrdinaryUser, IsShownWhatTheToolsShow) {
  if (const std::string reason = router_test::refusal("files"); !reason.empty() || getuid() != 0) {
    GTEST_SKIP() << "needs root to become another user; " << reason;
  }
  EXPECT_EQ(runOnRouter(R"sh(
firewall_cpp-inspect diff >/dev/null || :
chmod -R a+rwX /run/router /var/run/ubus
flock /var/run/xtables.lock chmod 0 /var/run/xtables.lock
become="setpriv --reuid=65534 --clear-groups"
! $become flock -n /var/run/xtables.lock true 2>/dev/null
for command in print diff; do
  firewall_cpp-inspect $command --table=nat | grep -v '^# ' >/tmp/root
  $become firewall_cpp-inspect $command --table=nat | grep -v '^# ' >/tmp/other
  cmp /tmp/root /tmp/other
  head -n 1 /tmp/other
done
)sh"),
            "*nat\nIPv4 nat\n");
}

// It is refused inside a call of the bus library, where no exception may pass.
TEST(MalformedAnswer, EndsWithOneLineAndTheStatusOfErrors) {
  if (const std::string reason = router_test::refusal("files"); !reason.empty()) {
    GTEST_SKIP() << reason;
  }
  const test_support::TempDir directory;
  test_support::writeFile(
      directory / "conversations",
      test_support::conversationLines({{wire::hello(1), test_support::objectFound(),
                                        wire::data(2, test_support::kScriptedObject, "")}}));
  EXPECT_EQ(runOnRouter("cd " + directory.path().string() + R"sh(
rm /var/run/ubus/ubus.sock
mkfifo ready
"$SCRIPTED_BUS" conversations 1 >ready &
read -r _ <ready
status=0
firewall_cpp-inspect print 2>&1 || status=$?
echo $status
)sh"),
            "firewall_cpp-inspect: BlobMsgParser: Cannot find the element named values\n2\n");
}

}  // namespace
}  // namespace inspect_test
