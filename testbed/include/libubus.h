/*
 * Stands in for libubus's header of the same name: look an object up, call one of its methods and
 * wait for the end. Leaves out what the program does not use: objects of one's own, events,
 * subscriptions, calls in the background, time limits, descriptors in messages. A status is a small
 * number, 0 for success; ubus_strerror has the texts.
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
};

/*
 * Connects and waits for the daemon's hello; a null path means "/var/run/ubus/ubus.sock". Returns a
 * connection for ubus_free, null if there is no daemon or it does not speak the protocol.
 */
struct ubus_context* ubus_connect(const char* path);
void ubus_free(struct ubus_context* ctx);
/* Stores the id of the object with this path. Returns a status; `id` is set only if it is 0. */
int ubus_lookup_id(struct ubus_context* ctx, const char* path, uint32_t* id);
/*
 * Calls a method with the arguments in `msg` and waits for its status; `cb` runs once per reply
 * with req->priv == priv. `timeout_ms` must be 0, no limit, and `fd` -1, none: else the status
 * is 8.
 */
int ubus_invoke_fd(struct ubus_context* ctx, uint32_t id, const char* method, struct blob_attr* msg,
                   ubus_data_handler_t cb, void* priv, int timeout_ms, int fd);
/* The text of a status, in static storage that the next call may overwrite. */
const char* ubus_strerror(int status);

#ifdef __cplusplus
}
#endif
