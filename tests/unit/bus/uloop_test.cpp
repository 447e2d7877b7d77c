// Registration with the event loop: what is accepted, what is refused, what becomes of the
// descriptor.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <libubox/uloop.h>
#include <unistd.h>

#include <array>
#include <cerrno>

namespace {

class UloopRegistration : public testing::Test {
 protected:
  UloopRegistration() { EXPECT_EQ(pipe2(pipe_.data(), O_CLOEXEC), 0); }
  ~UloopRegistration() override {
    uloop_done();
    close(pipe_[0]);
    close(pipe_[1]);
  }
  bool isNonBlocking() const { return (fcntl(pipe_[0], F_GETFL) & O_NONBLOCK) != 0; }

  std::array<int, 2> pipe_{};
};

TEST_F(UloopRegistration, MarksTheRecordAndKeepsABlockingDescriptorBlocking) {
  ASSERT_EQ(uloop_init(), 0);
  uloop_fd record{};
  record.fd = pipe_[0];
  EXPECT_EQ(uloop_fd_add(&record, ULOOP_BLOCKING | ULOOP_READ), 0);
  EXPECT_TRUE(record.registered);
  EXPECT_EQ(record.flags, 9);
  EXPECT_FALSE(record.eof);
  EXPECT_FALSE(record.error);
  EXPECT_FALSE(isNonBlocking());
}

TEST_F(UloopRegistration, WithoutTheBlockingFlagMakesTheDescriptorNonBlocking) {
  ASSERT_EQ(uloop_init(), 0);
  uloop_fd record{};
  record.fd = pipe_[0];
  EXPECT_EQ(uloop_fd_add(&record, ULOOP_READ), 0);
  EXPECT_TRUE(isNonBlocking());
}

TEST_F(UloopRegistration, OfARegisteredRecordChangesItsFlags) {
  ASSERT_EQ(uloop_init(), 0);
  uloop_fd record{};
  record.fd = pipe_[0];
  ASSERT_EQ(uloop_fd_add(&record, ULOOP_READ), 0);
  EXPECT_EQ(uloop_fd_add(&record, ULOOP_READ | ULOOP_WRITE), 0);
  EXPECT_EQ(record.flags, 3);
}

TEST_F(UloopRegistration, FailsWithoutALoop) {
  uloop_fd record{};
  record.fd = pipe_[0];
  EXPECT_EQ(uloop_fd_add(&record, ULOOP_BLOCKING | ULOOP_READ), -1);
  EXPECT_EQ(errno, EBADF);
  EXPECT_FALSE(record.registered);
  ASSERT_EQ(uloop_init(), 0);
  uloop_done();
  EXPECT_EQ(uloop_fd_add(&record, ULOOP_BLOCKING | ULOOP_READ), -1);
}

TEST_F(UloopRegistration, FailsForSomethingThatIsNoDescriptor) {
  ASSERT_EQ(uloop_init(), 0);
  uloop_fd record{};
  record.fd = -1;
  EXPECT_EQ(uloop_fd_add(&record, ULOOP_BLOCKING | ULOOP_READ), -1);
  EXPECT_EQ(errno, EBADF);
  EXPECT_FALSE(record.registered);
}

TEST_F(UloopRegistration, WorksAgainInALaterLoop) {
  ASSERT_EQ(uloop_init(), 0);
  uloop_fd first{};
  first.fd = pipe_[0];
  ASSERT_EQ(uloop_fd_add(&first, ULOOP_READ), 0);
  uloop_done();
  ASSERT_EQ(uloop_init(), 0);
  uloop_fd second{};
  second.fd = pipe_[0];
  EXPECT_EQ(uloop_fd_add(&second, ULOOP_READ), 0);
}

}  // namespace
