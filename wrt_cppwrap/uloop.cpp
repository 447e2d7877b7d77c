// The loop of the library, set up and taken down.
#include "wrt_cppwrap/uloop.h"

#include <stdexcept>

#include "wrt_cppwrap/platform_headers.h"

namespace wrt_cppwrap {

bool Uloop::isInit = false;

Uloop::Uloop(bool handleSigchld) {
  if (isInit) throw std::logic_error("Uloop: Uloop instance existed.");
#ifdef HAVE_ULOOP_SUPPORT_PARAMTIMER
  uloop_support_paramtimer = true;
#endif
  uloop_handle_sigchld = handleSigchld;
  if (uloop_init() != 0) throw std::runtime_error("Uloop: Failed to init.");
  isInit = true;
}

Uloop::~Uloop() {
  isInit = false;
  uloop_done();
}

}  // namespace wrt_cppwrap
