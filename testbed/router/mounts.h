// The file system that a run sees in a mount namespace of its own.
#pragma once

#include <string>
#include <vector>

namespace testbed::router {

// Gives the current mount namespace an empty /run (and /var/run), a /tmp of its own, the preload
// library in /usr/lib, and a /proc that fits the pid namespace where the system allows one.
//
// The new /tmp shows the entries that the old one has now, so that a build tree or a test's files
// below /tmp stay usable, except the compiler's output file. Of the old /run only what leads to
// one of `keptPaths` (canonical, absolute) stays visible.
//
// The current directory is entered anew by its path. Throws NamespacesRefused.
void setUpMounts(const std::string& preloadLibrary, const std::vector<std::string>& keptPaths);

}  // namespace testbed::router
