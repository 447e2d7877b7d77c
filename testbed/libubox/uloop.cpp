// Stands in for libubox's event loop. A registration is noted and nothing is ever watched, since
// no call of the program runs the loop. Leaves out timers, child processes and failures.
#include <libubox/uloop.h>

#include <cstdint>

bool uloop_handle_sigchld = true;
bool uloop_support_paramtimer = false;

int uloop_init() {
  return 0;
}

void uloop_done() {}

int uloop_fd_add(uloop_fd* record, unsigned int flags) {
  record->registered = true;
  record->flags = static_cast<std::uint8_t>(flags);
  return 0;
}
