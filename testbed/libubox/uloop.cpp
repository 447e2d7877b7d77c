// Registrations of the event loop, kept by the kernel's own event poll so that a descriptor that
// cannot be watched is refused as on the router.
#include <libubox/uloop.h>

#include <fcntl.h>
#include <sys/epoll.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>

bool uloop_handle_sigchld = true;
bool uloop_support_paramtimer = false;

namespace {

int loop = -1;

bool makeNonBlocking(int fd) {
  const int flags = fcntl(fd, F_GETFL);
  return flags >= 0 && fcntl(fd, F_SETFL, flags | O_NONBLOCK) == 0;
}

}  // namespace

int uloop_init() {
  if (loop < 0) loop = epoll_create1(EPOLL_CLOEXEC);
  return loop < 0 ? -1 : 0;
}

void uloop_done() {
  if (loop >= 0) close(loop);
  loop = -1;
}

int uloop_fd_add(uloop_fd* record, unsigned int flags) {
  if (loop < 0) {
    errno = EBADF;
    return -1;
  }
  if ((flags & ULOOP_BLOCKING) == 0 && !makeNonBlocking(record->fd)) return -1;
  epoll_event event{};
  if ((flags & ULOOP_READ) != 0) event.events |= EPOLLIN | EPOLLRDHUP;
  if ((flags & ULOOP_WRITE) != 0) event.events |= EPOLLOUT;
  event.data.ptr = record;
  const int operation = record->registered ? EPOLL_CTL_MOD : EPOLL_CTL_ADD;
  if (epoll_ctl(loop, operation, record->fd, &event) != 0) return -1;
  record->registered = true;
  record->flags = static_cast<std::uint8_t>(flags);
  record->eof = false;
  record->error = false;
  return 0;
}
