/*
 * Stands in for libubox's header of the same name: descriptors can be registered. Leaves out
 * timers, child processes and the call that runs the loop.
 */
#pragma once

#include <stdbool.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

#define ULOOP_READ (1 << 0)
/* Leave the descriptor in blocking mode. */
#define ULOOP_BLOCKING (1 << 3)

struct uloop_fd;
typedef void (*uloop_fd_handler)(struct uloop_fd* record, unsigned int events);

/* One registered descriptor; the caller owns it and keeps it in place while it is registered. */
struct uloop_fd {
  uloop_fd_handler cb;
  int fd;
  bool eof;
  bool error;
  bool registered;
  uint8_t flags;
};

extern bool uloop_handle_sigchld;
extern bool uloop_support_paramtimer;

/* All but uloop_done return 0, or a negative number if they fail. */
int uloop_init(void);
void uloop_done(void);
int uloop_fd_add(struct uloop_fd* record, unsigned int flags);

#ifdef __cplusplus
}
#endif
