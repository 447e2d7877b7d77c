// Reads the command line of `router`.
#include "testbed/router/options.h"

#include <array>
#include <utility>

namespace testbed::router {
namespace {

constexpr std::array<std::pair<std::string_view, TablesChoice>, 4> kTablesChoices = {{
    {"auto", TablesChoice::Auto},
    {"legacy", TablesChoice::Legacy},
    {"nft", TablesChoice::Nft},
    {"files", TablesChoice::Files},
}};

TablesChoice parseTablesChoice(std::string_view word) {
  for (const auto& [name, choice] : kTablesChoices) {
    if (word == name) return choice;
  }
  throw UsageError("--tables is \"" + std::string(word) +
                   "\"; it must be auto, legacy, nft or files");
}

// The value of "NAME=VALUE" when the argument has that name, else false.
bool readValue(std::string_view argument, std::string_view name, std::string_view& value) {
  if (!argument.starts_with(name) || argument.substr(name.size(), 1) != "=") return false;
  value = argument.substr(name.size() + 1);
  if (value.empty()) throw UsageError(std::string(name) + " needs a value");
  return true;
}

}  // namespace

Options parseOptions(const std::vector<std::string_view>& arguments) {
  Options options;
  auto argument = arguments.begin();
  for (; argument != arguments.end() && argument->starts_with('-'); ++argument) {
    std::string_view value;
    if (*argument == "--") {
      ++argument;
      break;
    }
    if (*argument == "--help") {
      options.help = true;
    } else if (*argument == "--no-bus") {
      options.bus = false;
    } else if (*argument == "--no-ip-sets") {
      options.ipSets = false;
    } else if (*argument == "--no-machine-paths") {
      options.machinePaths = false;
    } else if (readValue(*argument, "--tables", value)) {
      options.tables = parseTablesChoice(value);
    } else if (readValue(*argument, "--config", value)) {
      options.configFile = value;
    } else if (readValue(*argument, "--table-files", value)) {
      options.tableDirectory = value;
    } else {
      throw UsageError("unknown option " + std::string(*argument));
    }
  }
  options.command.assign(argument, arguments.end());
  if (options.command.empty() && !options.help) throw UsageError("no command given");
  return options;
}

std::string_view usageText() {
  return R"(Usage: router [OPTION]... [--] COMMAND [ARGUMENT]...

Runs COMMAND on this machine as on the router: tables, /run, /tmp, bus and preload library of its
own. Everything ends with COMMAND, and nothing of the machine is changed.

  --tables=auto        the kernel's tables where they can be had, else files (default)
  --tables=legacy      the kernel's tables, through the legacy tools
  --tables=nft         the kernel's tables, through the nft tools
  --tables=files       tables in files, through save and restore tools of the testbed
  --config=FILE        the UCI file that the bus serves as package "firewall_cpp"; without it the
                       package is absent
  --table-files=DIR    keep the tables of --tables=files in DIR (made when missing)
  --no-bus             start no bus daemon
  --no-ip-sets         leave out the IP sets that FILE names; without this, kernel tables have them,
                       empty
  --no-machine-paths   fail where namespaces are refused, instead of using the machine's own paths
  --help               print this text

COMMAND finds the save and restore tools first in PATH, and these variables:
  TESTBED_TABLES_KIND  legacy, nft or files
  TESTBED_TABLES       the directory of the tables (files only)
  XTABLES_LIBDIR       where the kernel's tools find their plugins, the platform's matches first
  TESTBED_CONFIG_DIR   the directory that the bus serves; the file "firewall_cpp" in it may be
                       changed at any time

The private /tmp shows what the machine's /tmp held at the start, except the compiler's output.
Where the system refuses namespaces, tables are in files and the machine's own /run and /tmp are
used, unless a bus daemon or a router lives there; every file made there is removed at the end.

Exit status: COMMAND's own, 128 + N when signal N ended it, 125 when the router could not be set
up, 126 when COMMAND cannot be run, 127 when it is not found.
)";
}

}  // namespace testbed::router
