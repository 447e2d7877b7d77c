// One connection to the bus daemon.
#pragma once

#include <memory>

struct ubus_context;

namespace wrt_cppwrap {

class Uloop;

class Ubus {
 public:
  // Connects to the daemon's default socket and registers the connection with the loop, which must
  // outlive the object. Throws std::runtime_error if the daemon cannot be reached.
  explicit Ubus(Uloop& loop);

  // The library's own handle, owned by the object.
  ubus_context* context() const { return ctx.get(); }

  // Throws std::runtime_error with the library's text for a status other than success.
  static void checkStatus(int status);

 private:
  [[maybe_unused]] Uloop& loop;  // must outlive the connection, which is registered with it
  std::unique_ptr<ubus_context, void (*)(ubus_context*)> ctx;
};

}  // namespace wrt_cppwrap
