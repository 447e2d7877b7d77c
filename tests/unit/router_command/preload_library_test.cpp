// The preload library: the tables' lock is passed over, every other lock is taken as ever.
#include <gtest/gtest.h>

#include "tests/support/process.h"
#include "tests/support/router_under_test.h"
#include "tests/support/temp_dir.h"

namespace {

using test_support::BackgroundProcess;
using test_support::ProcessResult;
using test_support::runProcess;
using test_support::TempDir;

// A file whose lock another process holds as long as this lives.
class HeldLock {
 public:
  explicit HeldLock(const std::string& file)
      : file_(file),
        holder_({"flock", "--no-fork", file, "sh", "-c", "echo held; exec cat " + file + ".end"}) {
    std::string line;
    if (!holder_.readLine(line) || line != "held") throw std::runtime_error("flock failed");
  }

  const std::string& file() const { return file_; }

 private:
  std::string file_;
  BackgroundProcess holder_;
};

// Tries for the lock of `file` with the library loaded; 0 when it was had, 1 when another has it.
int tryLock(const std::string& file, const std::string& mode, const std::string& tablesLock) {
  const ProcessResult result =
      runProcess({"flock", mode, "--nonblock", file, "true"},
                 {.input = "",
                  .variables = {{"LD_PRELOAD", router_test::kPreloadLibrary},
                                {"XTABLES_LOCKFILE", tablesLock}}});
  EXPECT_EQ(result.err, "");
  return result.exitStatus;
}

class PreloadLibrary : public testing::Test {
 protected:
  // What keeps the lock's holder alive: it waits for a writer that never comes.
  void SetUp() override {
    ASSERT_EQ(runProcess({"mkfifo", directory_ / "lock.end"}).exitStatus, 0);
  }

  TempDir directory_;
};

TEST_F(PreloadLibrary, TheTablesLockIsPassedOverWhileAnotherProcessHoldsIt) {
  const HeldLock held(directory_ / "lock");
  EXPECT_EQ(tryLock(held.file(), "--exclusive", held.file()), 0);
  EXPECT_EQ(tryLock(held.file(), "--shared", held.file()), 0);
}

TEST_F(PreloadLibrary, TheTablesLockIsKnownUnderEveryName) {
  const HeldLock held(directory_ / "lock");
  ASSERT_EQ(runProcess({"ln", "-s", held.file(), directory_ / "link"}).exitStatus, 0);
  EXPECT_EQ(tryLock(directory_ / "link", "--exclusive", held.file()), 0);
}

TEST_F(PreloadLibrary, EveryOtherLockIsStillWaitedFor) {
  const HeldLock held(directory_ / "lock");
  EXPECT_EQ(tryLock(held.file(), "--exclusive", directory_ / "other"), 1);
  EXPECT_EQ(tryLock(held.file(), "--exclusive", ""), 1);
}

TEST_F(PreloadLibrary, AFreeLockOfAnotherFileIsReallyTaken) {
  const ProcessResult result =
      runProcess({"flock", directory_ / "lock", "sh", "-c",
                  "flock --nonblock " + (directory_ / "lock") + " true; echo $?"},
                 {.input = "", .variables = {{"LD_PRELOAD", router_test::kPreloadLibrary}}});
  EXPECT_EQ(result.out, "1\n");
}

}  // namespace
