/*
 * The event loop of the platform's utility library, as far as the program uses it: descriptors can
 * be registered, but there is no call that runs the loop.
 */
#pragma once

#include <stdbool.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

#define ULOOP_READ (1 << 0)
#define ULOOP_WRITE (1 << 1)
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

/* Returns 0, or -1 when the system refuses the loop's descriptor. A second call changes nothing. */
int uloop_init(void);
/* Forgets every registration. Harmless without a loop. */
void uloop_done(void);
/* Registers a record, or changes the flags of a registered one. Returns 0, or -1 with errno set. */
int uloop_fd_add(struct uloop_fd* record, unsigned int flags);

#ifdef __cplusplus
}
#endif
