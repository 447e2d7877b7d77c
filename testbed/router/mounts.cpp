// Replaces directories of a private mount namespace by mirrors of themselves that leave some names
// out: a fresh tmpfs, with each old entry bound at its old name. Unlike an overlay this works in
// every kind of container, and what is written below a kept entry is really written there.
#include "testbed/router/mounts.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <climits>
#include <filesystem>
#include <functional>
#include <memory>
#include <string_view>

#include "testbed/router/errors.h"
#include "testbed/router/paths.h"

namespace testbed::router {
namespace {

constexpr std::string_view kRunDirectory = "/run";
constexpr std::string_view kVarRunDirectory = "/var/run";

void mountOrRefuse(const std::string& source, const std::string& target, const char* type,
                   unsigned flags, const char* data) {
  if (mount(source.c_str(), target.c_str(), type, flags, data) != 0) {
    throw NamespacesRefused(withErrno("mount on " + target));
  }
}

void createEmptyFile(const std::string& path) {
  const int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0644);
  if (fd < 0) throw NamespacesRefused(withErrno(path));
  close(fd);
}

void copyLink(int directory, const std::string& name, const std::string& path) {
  std::string target(PATH_MAX, '\0');
  const ssize_t length = readlinkat(directory, name.c_str(), target.data(), target.size());
  if (length < 0) return;
  target.resize(static_cast<std::size_t>(length));
  if (symlink(target.c_str(), path.c_str()) != 0) throw NamespacesRefused(withErrno(path));
}

// Binds the entry `name` of the covered directory at `path`. An entry that has vanished meanwhile,
// or that even its owner's root may not look at, stays out.
void bindEntry(int directory, const std::string& name, const std::string& path) {
  struct stat status = {};
  if (fstatat(directory, name.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0) return;
  if (S_ISLNK(status.st_mode)) {
    copyLink(directory, name, path);
    return;
  }
  if (S_ISDIR(status.st_mode)) {
    if (mkdir(path.c_str(), 0755) != 0) throw NamespacesRefused(withErrno(path));
  } else {
    createEmptyFile(path);
  }
  // The descriptor leads below the tmpfs that now covers the directory. A user namespace may not
  // bind a directory without the mounts inside it, hence MS_REC.
  const std::string source = "/proc/self/fd/" + std::to_string(directory) + "/" + name;
  if (mount(source.c_str(), path.c_str(), nullptr, MS_BIND | MS_REC, nullptr) == 0) return;
  if (errno != ENOENT && errno != EACCES) throw NamespacesRefused(withErrno("mount on " + path));
  if (S_ISDIR(status.st_mode)) {
    rmdir(path.c_str());
  } else {
    unlink(path.c_str());
  }
}

// Covers `path` by a tmpfs made with `options` and binds the entries that `keep` accepts.
void mirrorDirectory(const std::string& path, const char* options,
                     const std::function<bool(const std::string&)>& keep) {
  const std::unique_ptr<DIR, int (*)(DIR*)> listing(opendir(path.c_str()), closedir);
  if (!listing) throw NamespacesRefused(withErrno(path));
  mountOrRefuse("router", path, "tmpfs", MS_NOSUID | MS_NODEV, options);
  while (const dirent* entry = readdir(listing.get())) {
    const std::string name = entry->d_name;
    if (name != "." && name != ".." && keep(name)) {
      bindEntry(dirfd(listing.get()), name, (path + "/").append(name));
    }
  }
}

bool leadsTo(const std::string& directory, const std::string& path) {
  return path.starts_with(directory) &&
         (path.size() == directory.size() || path[directory.size()] == '/');
}

}  // namespace

void setUpMounts(const std::string& preloadLibrary, const std::vector<std::string>& keptPaths) {
  const std::filesystem::path current = std::filesystem::current_path();
  // Nothing that is mounted from here on may reach the machine.
  mountOrRefuse("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr);

  const std::filesystem::path installedLibrary(kInstalledPreloadLibrary);
  mirrorDirectory(installedLibrary.parent_path(), "mode=755",
                  [&](const std::string& name) { return name != installedLibrary.filename(); });
  createEmptyFile(installedLibrary);
  mountOrRefuse(preloadLibrary, installedLibrary, nullptr, MS_BIND, nullptr);

  const std::filesystem::path compilerOutput(kCompilerOutput);
  mirrorDirectory(compilerOutput.parent_path(), "mode=1777",
                  [&](const std::string& name) { return name != compilerOutput.filename(); });

  const std::string run(kRunDirectory);
  mirrorDirectory(run, "mode=755", [&](const std::string& name) {
    return std::any_of(keptPaths.begin(), keptPaths.end(),
                       [&](const std::string& path) { return leadsTo(run + "/" + name, path); });
  });
  const std::string varRun(kVarRunDirectory);
  if (std::filesystem::canonical(varRun) != run) {
    mountOrRefuse(run, varRun, nullptr, MS_BIND | MS_REC, nullptr);
  }

  // Some containers refuse this one. /proc then shows the processes under their outer ids, which
  // only a command that looks processes up there would notice.
  mount("proc", "/proc", "proc", MS_NOSUID | MS_NODEV | MS_NOEXEC, nullptr);
  std::filesystem::current_path(current);
}

}  // namespace testbed::router
