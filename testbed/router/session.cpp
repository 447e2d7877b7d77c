// Puts the pieces of one run together, inside its supervisor.
#include "testbed/router/session.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>

#include "testbed/router/access_control.h"
#include "testbed/router/bus.h"
#include "testbed/router/errors.h"
#include "testbed/router/machine_paths.h"
#include "testbed/router/mounts.h"
#include "testbed/router/run_tool.h"

namespace testbed::router {
namespace {

// Where the run keeps its own files: on the private /run, which vanishes with the namespace, or in
// a temporary directory that the destructor removes.
class StateDirectory {
 public:
  explicit StateDirectory(bool onPrivateRun) : removed_(!onPrivateRun) {
    if (onPrivateRun) {
      path_ = "/run/router";
      std::filesystem::create_directory(path_);
      return;
    }
    std::string pattern = std::filesystem::temp_directory_path() / "router-XXXXXX";
    if (mkdtemp(pattern.data()) == nullptr) throw std::runtime_error(withErrno("mkdtemp"));
    path_ = pattern;
  }
  ~StateDirectory() {
    std::error_code ignored;
    if (removed_) std::filesystem::remove_all(path_, ignored);
  }
  StateDirectory(const StateDirectory&) = delete;
  StateDirectory& operator=(const StateDirectory&) = delete;

  std::string make(const std::string& name) const {
    std::filesystem::create_directory(path_ / name);
    return path_ / name;
  }

 private:
  std::filesystem::path path_;
  bool removed_;
};

// Kills what is left of a run without a pid namespace, before its files are taken away.
class DescendantsGuard {
 public:
  DescendantsGuard() { adoptOrphans(); }
  ~DescendantsGuard() { endDescendants(); }
  DescendantsGuard(const DescendantsGuard&) = delete;
  DescendantsGuard& operator=(const DescendantsGuard&) = delete;
};

void putFirstInPath(const std::string& directory) {
  const char* path = getenv("PATH");
  // The system's tools (ip, ipset) are within a root user's reach on a router.
  const std::string rest = path == nullptr ? "/usr/bin:/bin" : path;
  setenv("PATH", (directory + ":" + rest + ":/usr/sbin:/sbin").c_str(), 1);
}

std::string firstLine(const Attempt& attempt) {
  std::string line =
      attempt.tables == TablesKind::Files
          ? "router: tables in files"
          : "router: tables in the kernel (" + std::string(nameOf(attempt.tables)) + " tools)";
  line += attempt.namespaces ? ", namespaces of its own" : ", on the machine's own paths";
  if (!attempt.because.empty()) line += ", because " + attempt.because;
  return line + "\n";
}

// What the kernel tools need for the rules of the configuration that the run starts with.
void provideForAccessControl(const SessionInput& input) {
  const AccessControl configuration = readAccessControl(input.configText.value_or(""));
  requireMatchPlugins(input.files, configuration);
  if (input.options.ipSets) createIpSets(configuration.ipSets);
}

// What every kind of run has, once its /run and /tmp are in place.
int prepareAndRun(const SessionInput& input, const Attempt& attempt,
                  const std::function<void()>& started) {
  const StateDirectory state(attempt.namespaces.has_value());
  std::optional<DescendantsGuard> guard;
  if (!attempt.namespaces) guard.emplace();
  setenv("TESTBED_TABLES_KIND", std::string(nameOf(attempt.tables)).c_str(), 1);
  if (attempt.tables == TablesKind::Files) {
    const std::string tables =
        input.tableDirectory.empty() ? state.make("tables") : input.tableDirectory;
    setenv("TESTBED_TABLES", tables.c_str(), 1);
    offerMatchPlugins(input.files);
    putFirstInPath(input.files.fileTools);
  } else {
    const std::string tools = state.make("bin");
    linkKernelTools(attempt.tables, tools);
    offerMatchPlugins(input.files);
    probeKernelTables(tools);
    unsetenv("TESTBED_TABLES");
    putFirstInPath(tools);
    provideForAccessControl(input);
  }

  const std::string config = state.make("config");
  setenv("TESTBED_CONFIG_DIR", config.c_str(), 1);
  if (input.configText) {
    std::ofstream file(config + "/" + std::string(kConfigPackage), std::ios::binary);
    if (!(file << *input.configText).flush()) throw std::runtime_error("cannot write " + config);
  }
  if (input.options.bus) startBus(input.files.busDaemon, std::string(kBusSocket), config);

  const std::string line = firstLine(attempt);
  if (write(STDERR_FILENO, line.data(), line.size()) < 0) {
    // Nobody reads it; the run is not about this line.
  }
  started();
  const pid_t command = startProgram(input.options.command, [&] { input.signals.restore(); });
  return superviseCommand(command, input.signals);
}

int runInNamespaces(const SessionInput& input, const Attempt& attempt, uid_t user, gid_t group,
                    const std::function<void()>& started) {
  if (attempt.namespaces->user) becomeNamespaceRoot(user, group);
  std::vector<std::string> kept = {std::filesystem::current_path(), input.files.directory};
  if (!input.tableDirectory.empty()) kept.push_back(input.tableDirectory);
  setUpMounts(input.files.preloadLibrary, kept);
  if (attempt.namespaces->network) bringUpLoopback();
  // A daemon of the machine is out of sight here, so its socket's directory is missing too.
  std::filesystem::create_directories(std::filesystem::path(kBusSocket).parent_path());
  return prepareAndRun(input, attempt, started);
}

int runOnMachinePaths(const SessionInput& input, const Attempt& attempt,
                      const std::function<void()>& started) {
  // Another run may hold the lock for long; until there is something to give back, a signal may
  // simply end this process.
  input.signals.restore();
  const MachineLock lock;
  input.signals.block();
  const MachinePaths paths(lock);
  return prepareAndRun(input, attempt, started);
}

}  // namespace

Outcome runSession(const SessionInput& input, const Attempt& attempt) {
  const uid_t user = geteuid();
  const gid_t group = getegid();
  try {
    return runSupervised(
        attempt.namespaces, input.signals, [&](const std::function<void()>& started) {
          return attempt.namespaces ? runInNamespaces(input, attempt, user, group, started)
                                    : runOnMachinePaths(input, attempt, started);
        });
  } catch (const NamespacesRefused& error) {
    return {Outcome::Kind::NamespacesRefused, 0, error.what()};
  }
}

}  // namespace testbed::router
