// Which namespaces a run gets, and what has to be done in fresh ones before anything else.
#pragma once

#include <sys/types.h>

#include <optional>
#include <vector>

namespace testbed::router {

// Mount and pid namespaces always; the others by choice.
struct Namespaces {
  bool user = false;  // needed by whoever may not make the others alone
  bool network = true;
};

// The combinations to try, best first. Kernel tables need the network namespace; tables in files
// get it where it can be had, and may do with no namespace at all (the last entry, empty).
std::vector<std::optional<Namespaces>> namespacesToTry(bool forKernelTables);

// Forks into the given namespaces; without any, a plain fork. Returns 0 in the child. Throws
// NamespacesRefused.
pid_t forkInto(const std::optional<Namespaces>& namespaces);

// In a fresh user namespace: makes the caller its root. `user` and `group` are the effective ids
// from before. Throws NamespacesRefused.
void becomeNamespaceRoot(uid_t user, gid_t group);

// In a fresh network namespace: switches the loopback device on. Throws NamespacesRefused.
void bringUpLoopback();

}  // namespace testbed::router
