// The lock of the netfilter tables, on a lock file of the test's own.
#include "firewall_cpp/xtables_lock.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <unistd.h>

#include <optional>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <vector>

#include "tests/support/temp_dir.h"
#include "tests/unit/product/error_text.h"
#include "tests/unit/product/system_calls.h"

namespace tavrix {
namespace {

using test_support::errorText;
using test_support::resetSystemCalls;
using test_support::systemCalls;

static_assert(!std::is_copy_constructible_v<XtablesLock> &&
              !std::is_move_constructible_v<XtablesLock> &&
              !std::is_copy_assignable_v<XtablesLock> && !std::is_move_assignable_v<XtablesLock>);

// The file is made private if there is none, and never written.
const std::string kOpenCall =
    "open /var/run/xtables.lock " + std::to_string(O_RDONLY | O_CREAT) + " " + std::to_string(0600);
// Without a flag that would keep it from waiting.
const std::string kFlockCall = "flock " + std::to_string(LOCK_EX);

class XtablesLockTest : public testing::Test {
 protected:
  XtablesLockTest() { resetSystemCalls(dir_ / "lock"); }

  // Whether somebody else could take the lock now.
  bool isFree() const {
    const int other = open((dir_ / "lock").c_str(), O_RDONLY);
    const bool taken = flock(other, LOCK_EX | LOCK_NB) == 0;
    close(other);
    return taken;
  }

  test_support::TempDir dir_;
};

TEST_F(XtablesLockTest, IsHeldAsLongAsTheObjectLives) {
  std::optional<XtablesLock> lock(std::in_place);
  EXPECT_FALSE(isFree());
  lock.reset();
  EXPECT_TRUE(isFree());
  EXPECT_EQ(systemCalls().log, (std::vector<std::string>{kOpenCall, kFlockCall, "close"}));
}

TEST_F(XtablesLockTest, FailsWhenTheFileCannotBeOpened) {
  systemCalls().lockFile.clear();
  EXPECT_EQ(errorText<std::runtime_error>([] { XtablesLock(); }), "Can't get xtable lock.");
  EXPECT_EQ(systemCalls().log, (std::vector<std::string>{kOpenCall}));
}

TEST_F(XtablesLockTest, FailsAndClosesTheFileWhenItCannotBeLocked) {
  systemCalls().flockFails = true;
  EXPECT_EQ(errorText<std::runtime_error>([] { XtablesLock(); }), "Can't get xtable lock.");
  EXPECT_EQ(systemCalls().log, (std::vector<std::string>{kOpenCall, kFlockCall, "close"}));
}

}  // namespace
}  // namespace tavrix
