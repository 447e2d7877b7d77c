// Finds the testbed's pieces beside the running program.
#include "testbed/router/paths.h"

#include <filesystem>

namespace testbed::router {

TestbedFiles findTestbedFiles() {
  const std::filesystem::path directory =
      std::filesystem::read_symlink("/proc/self/exe").parent_path();
  const std::filesystem::path plugins = directory / "match_plugins";
  return {
      .directory = directory,
      .busDaemon = directory / "ubusd",
      .preloadLibrary = directory / "libxtlock_intercept.so",
      .fileTools = directory / "file_tables",
      .matchPlugins = std::filesystem::exists(plugins / "libxt_comment.so") ? plugins : "",
  };
}

}  // namespace testbed::router
