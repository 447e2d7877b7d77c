// Starts the built `router` for a test.
#include "tests/unit/router_command/router_under_test.h"

namespace router_test {

const std::string kRouter = ROUTER_PROGRAM;
const std::string kBusDaemon = BUS_DAEMON;
const std::string kPreloadLibrary = PRELOAD_LIBRARY;
const std::string kDeny = DENY_PROGRAM;
const std::string kLegacyLine =
    "router: tables in the kernel (legacy tools), namespaces of its own\n";
const std::string kNftLine = "router: tables in the kernel (nft tools), namespaces of its own\n";
const std::string kFilesLine = "router: tables in files, namespaces of its own\n";

std::vector<std::string> routerCommand(std::vector<std::string> options,
                                       const std::string& script) {
  std::vector<std::string> command = {kRouter};
  command.insert(command.end(), options.begin(), options.end());
  command.insert(command.end(), {"--", "sh", "-e", "-c", script});
  return command;
}

test_support::ProcessResult runScript(const std::vector<std::string>& options,
                                      const std::string& script) {
  return test_support::runProcess(routerCommand(options, script));
}

std::string refusal(const std::string& tables) {
  const auto result = runScript({"--no-bus", "--no-machine-paths", "--tables=" + tables}, "true");
  const std::string& expected = tables == "legacy" ? kLegacyLine
                                : tables == "nft"  ? kNftLine
                                                   : kFilesLine;
  return result.exitStatus == 0 && result.err == expected ? "" : result.err;
}

}  // namespace router_test
