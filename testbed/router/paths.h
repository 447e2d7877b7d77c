// The paths that the product and the router's programs have fixed, and where this build tree keeps
// the testbed's own pieces.
#pragma once

#include <string>
#include <string_view>

namespace testbed::router {

constexpr std::string_view kBusSocket = "/var/run/ubus/ubus.sock";
constexpr std::string_view kTablesLock = "/var/run/xtables.lock";
constexpr std::string_view kCompilerOutput = "/tmp/ipt_compiler_out";
constexpr std::string_view kInstalledPreloadLibrary = "/usr/lib/libxtlock_intercept.so";
constexpr std::string_view kConfigPackage = "firewall_cpp";

// Pieces of the testbed, found beside the running program: a build tree can be moved.
struct TestbedFiles {
  std::string directory;
  std::string busDaemon;
  std::string preloadLibrary;
  std::string fileTools;     // directory with the save and restore tools of tables in files
  std::string matchPlugins;  // directory with the kernel tools' plugins; empty if none were built
};

// Throws std::filesystem::filesystem_error when the program's own path cannot be read.
TestbedFiles findTestbedFiles();

}  // namespace testbed::router
