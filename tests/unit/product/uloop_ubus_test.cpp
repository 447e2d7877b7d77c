// The loop and the bus connection as owning objects, over a bus of the test's own: what fails.
// Nothing that exists before main is linked here; startup_test.cpp has what succeeds.
#include <gtest/gtest.h>

#include <optional>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <vector>

#include "tests/support/fake_bus.h"
#include "tests/unit/product/error_text.h"
#include "wrt_cppwrap/ubus.h"
#include "wrt_cppwrap/uloop.h"

namespace wrt_cppwrap {
namespace {

using test_support::errorText;
using test_support::FakeBus;
using test_support::fakeBus;
using Calls = std::vector<std::string>;

static_assert(!std::is_copy_constructible_v<Uloop> && !std::is_copy_assignable_v<Uloop>);
static_assert(!std::is_copy_constructible_v<Ubus> && !std::is_copy_assignable_v<Ubus>);

class UloopTest : public testing::Test {
 protected:
  UloopTest() { fakeBus() = FakeBus(); }
};
using UbusTest = UloopTest;

TEST_F(UloopTest, ExistsOnceAtATime) {
  std::optional<Uloop> first(std::in_place, true);
  EXPECT_EQ(errorText<std::logic_error>([] { Uloop(true); }), "Uloop: Uloop instance existed.");
  EXPECT_EQ(fakeBus().calls, (Calls{"uloop_init sigchld=1 paramtimer=1"}));
  first.reset();
  const Uloop second(false);
  EXPECT_EQ(errorText<std::logic_error>([] { Uloop(true); }), "Uloop: Uloop instance existed.");
  EXPECT_EQ(fakeBus().calls, (Calls{"uloop_init sigchld=1 paramtimer=1", "uloop_done",
                                    "uloop_init sigchld=0 paramtimer=1"}));
}

TEST_F(UloopTest, FailsWithTheLibraryAndCanBeTriedAgain) {
  fakeBus().loopResult = -1;
  EXPECT_EQ(errorText<std::runtime_error>([] { Uloop(true); }), "Uloop: Failed to init.");
  fakeBus().loopResult = 0;
  const Uloop loop(true);
  EXPECT_EQ(fakeBus().calls,
            (Calls{"uloop_init sigchld=1 paramtimer=1", "uloop_init sigchld=1 paramtimer=1"}));
}

TEST_F(UbusTest, FailsWithoutADaemon) {
  Uloop loop(true);
  fakeBus().calls.clear();
  fakeBus().daemonRuns = false;
  EXPECT_EQ(errorText<std::runtime_error>([&] { const Ubus bus(loop); }),
            "Ubus: Failed to connect to ubusd.");
  EXPECT_EQ(fakeBus().calls, (Calls{"ubus_connect (default)"}));
}

}  // namespace
}  // namespace wrt_cppwrap
