// Starts the built `router` for a test.
#include "tests/support/router_under_test.h"

#include <stdexcept>

namespace router_test {

const std::string kRouter = ROUTER_PROGRAM;
const std::string kBusDaemon = BUS_DAEMON;
const std::string kPreloadLibrary = PRELOAD_LIBRARY;
const std::string kDeny = DENY_PROGRAM;
const std::string kLegacyLine =
    "router: tables in the kernel (legacy tools), namespaces of its own\n";
const std::string kNftLine = "router: tables in the kernel (nft tools), namespaces of its own\n";
const std::string kFilesLine = "router: tables in files, namespaces of its own\n";
const std::string kProotLine =
    "router: tables in files, paths shown by proot, because namespaces are refused (unshare: "
    "unshare failed: Operation not permitted)\n";

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
  const auto result = runScript({"--no-bus", "--tables=" + tables}, "true");
  const std::string& expected = tables == "legacy" ? kLegacyLine
                                : tables == "nft"  ? kNftLine
                                                   : kFilesLine;
  constexpr int kRefused = 125;  // another failure of the router is no reason to skip a test
  if (result.exitStatus != 0 && result.exitStatus != kRefused) {
    throw std::runtime_error("the router ended with " + std::to_string(result.exitStatus) + ": " +
                             result.err);
  }
  return result.exitStatus == 0 && result.err == expected ? "" : result.err;
}

void RouterTest::SetUp() {
  const test_support::ProcessResult result = run({"--no-bus"}, "true");
  if (result.exitStatus != 0 || result.err != firstLine()) GTEST_SKIP() << result.err;
}

std::vector<std::string> RouterTest::command(const std::vector<std::string>& options,
                                             const std::vector<std::string>& command) {
  std::vector<std::string> words;
  if (GetParam() == "proot") words = {kDeny, "namespaces"};
  words.insert(words.end(), {kRouter, "--tables=files"});
  words.insert(words.end(), options.begin(), options.end());
  words.emplace_back("--");
  words.insert(words.end(), command.begin(), command.end());
  return words;
}

test_support::ProcessResult RouterTest::run(const std::vector<std::string>& options,
                                            const std::string& script) {
  return test_support::runProcess(command(options, {"sh", "-e", "-c", script}));
}

}  // namespace router_test
