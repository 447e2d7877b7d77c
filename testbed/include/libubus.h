/*
 * The client of the platform's message bus, as far as the program uses it: look an object up, call
 * one of its methods and wait for the end. A status is a small number, 0 for success; ubus_strerror
 * has the texts.
 */
#pragma once

#include <libubox/blobmsg.h>
#include <libubox/uloop.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

struct ubus_request;
/*
 * Receives one reply: `msg` is an attribute without a name whose payload is the reply's members,
 * and dies with the call; `type` is the type of the message that brought it, 2. The handler must
 * not throw and must not use the connection.
 */
typedef void (*ubus_data_handler_t)(struct ubus_request* req, int type, struct blob_attr* msg);

struct ubus_request {
  void* priv;
};

struct ubus_context {
  struct uloop_fd sock;
  uint32_t local_id; /* what the daemon calls this client */
};

/*
 * Connects and waits for the daemon's hello; a null path means "/var/run/ubus/ubus.sock". Returns a
 * connection for ubus_free, null when there is no daemon or it does not speak the protocol.
 */
struct ubus_context* ubus_connect(const char* path);
/* Closes the connection; null is allowed. */
void ubus_free(struct ubus_context* ctx);
/* Stores the id of the object with this path. Returns a status; `id` is set only when it is 0. */
int ubus_lookup_id(struct ubus_context* ctx, const char* path, uint32_t* id);
/*
 * Calls a method and waits for its status; `cb`, which may be null, runs once per reply with
 * req->priv == priv. `msg` holds the arguments, null means none. A `timeout_ms` of 0 or less waits
 * without a limit. `fd` must be -1: descriptors are not sent (status 8).
 */
int ubus_invoke_fd(struct ubus_context* ctx, uint32_t id, const char* method, struct blob_attr* msg,
                   ubus_data_handler_t cb, void* priv, int timeout_ms, int fd);
/* The text of a status, in static storage that the next call may overwrite. */
const char* ubus_strerror(int status);

#ifdef __cplusplus
}
#endif
