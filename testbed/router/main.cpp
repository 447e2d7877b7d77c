// `router`: runs a command on this machine as on the router. Read options.cpp for the usage text,
// session.cpp for what a run consists of.
#include <csignal>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <stdexcept>

#include "testbed/router/errors.h"
#include "testbed/router/options.h"
#include "testbed/router/session.h"

namespace testbed::router {
namespace {

constexpr int kRouterFailed = 125;

int fail(const std::string& message) {
  std::cerr << "router: " << message << "\n";
  return kRouterFailed;
}

std::string readConfig(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  // A directory opens as well as a file does.
  if (!file || std::filesystem::is_directory(path)) {
    throw std::runtime_error("cannot read " + path);
  }
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

// Dies of the signal that ended the run, as the caller expects from any program.
int endBySignal(int number, const RunSignals& signals) {
  if (signal(number, SIG_DFL) != SIG_ERR) {
    signals.restore();
    if (raise(number) != 0) return kRouterFailed;
  }
  return 128 + number;
}

// The kinds that the choice allows, best first.
std::vector<TablesKind> kindsToTry(TablesChoice choice) {
  switch (choice) {
    case TablesChoice::Legacy:
      return {TablesKind::Legacy};
    case TablesChoice::Nft:
      return {TablesKind::Nft};
    case TablesChoice::Files:
      return {TablesKind::Files};
    case TablesChoice::Auto:
      break;
  }
  return {TablesKind::Legacy, TablesKind::Files};
}

// Every namespace choice for one kind of tables, until one lets the command run or ends the search.
Outcome tryKind(const SessionInput& input, TablesKind kind, const std::string& because) {
  const bool kernel = kind != TablesKind::Files;
  if (kernel) requireKernelTools(kind);
  Outcome outcome;
  for (const std::optional<Namespaces>& namespaces : namespacesToTry(kernel)) {
    if (!namespaces && !input.options.machinePaths) break;
    std::string reason = because;
    // A run without namespaces has their refusal to tell too, unless that is the reason already.
    if (!namespaces && because.empty()) reason = outcome.message;
    if (!namespaces && !because.empty() && because != outcome.message) {
      reason += " and " + outcome.message;
    }
    outcome = runSession(input, {kind, namespaces, reason});
    if (outcome.kind != Outcome::Kind::NamespacesRefused) return outcome;
    outcome.message = "namespaces are refused (" + outcome.message + ")";
  }
  return outcome;
}

int run(const Options& options) {
  const RunSignals signals;
  const TestbedFiles files = findTestbedFiles();
  SessionInput input{options, files, signals, {}, {}};
  if (!options.configFile.empty()) input.configText = readConfig(options.configFile);
  if (!options.tableDirectory.empty()) {
    std::filesystem::create_directories(options.tableDirectory);
    input.tableDirectory = std::filesystem::canonical(options.tableDirectory);
  }

  Outcome outcome;
  for (const TablesKind kind : kindsToTry(options.tables)) {
    try {
      outcome = tryKind(input, kind, outcome.message);
    } catch (const TablesUnavailable& error) {
      outcome = {Outcome::Kind::TablesUnavailable, 0, error.what()};
    }
    if (outcome.kind == Outcome::Kind::Ran) return outcome.status;
    if (outcome.kind == Outcome::Kind::Interrupted) return endBySignal(outcome.status, signals);
    if (outcome.kind == Outcome::Kind::Failed) break;
  }
  return fail(outcome.message);
}

int runCommandLine(const std::vector<std::string_view>& arguments) {
  try {
    const Options options = parseOptions(arguments);
    if (options.help) {
      std::cout << usageText();
      return 0;
    }
    return run(options);
  } catch (const UsageError& error) {
    return fail(std::string(error.what()) + "\nTry --help.");
  } catch (const std::exception& error) {
    return fail(error.what());
  }
}

}  // namespace
}  // namespace testbed::router

int main(int argc, char** argv) {
  return testbed::router::runCommandLine({argv + 1, argv + argc});
}
