// The lock file is created if it is missing. It is never written.
#include "firewall_cpp/xtables_lock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <stdexcept>

namespace tavrix {

// The save and restore tools inherit the descriptor on purpose: if this process is killed, the lock
// stays until the tool that still works on a table has ended.
XtablesLock::XtablesLock() : descriptor(open("/var/run/xtables.lock", O_RDONLY | O_CREAT, 0600)) {
  if (descriptor < 0 || flock(descriptor, LOCK_EX) != 0) {
    if (descriptor >= 0) close(descriptor);
    throw std::runtime_error("Can't get xtable lock.");
  }
}

XtablesLock::~XtablesLock() {
  close(descriptor);
}

}  // namespace tavrix
