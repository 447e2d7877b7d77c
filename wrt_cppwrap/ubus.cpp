// The connection to the bus daemon.
#include "wrt_cppwrap/ubus.h"

#include <stdexcept>
#include <string>

#include "wrt_cppwrap/platform_headers.h"
#include "wrt_cppwrap/uloop.h"

namespace wrt_cppwrap {

Ubus::Ubus(Uloop& uloop) : loop(uloop), ctx(ubus_connect(nullptr), &ubus_free) {
  if (!ctx) throw std::runtime_error("Ubus: Failed to connect to ubusd.");
  uloop_fd_add(&ctx->sock, ULOOP_BLOCKING | ULOOP_READ);
}

void Ubus::checkStatus(int status) {
  if (status != 0) throw std::runtime_error(std::string("Ubus: ") + ubus_strerror(status));
}

}  // namespace wrt_cppwrap
