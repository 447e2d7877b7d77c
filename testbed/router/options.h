// The command line of `router`.
#pragma once

#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace testbed::router {

enum class TablesChoice { Auto, Legacy, Nft, Files };

struct Options {
  TablesChoice tables = TablesChoice::Auto;
  std::string configFile;      // UCI file served as package "firewall_cpp"; empty: no such package
  std::string tableDirectory;  // where tables in files are kept; empty: a private place
  bool bus = true;
  bool ipSets = true;        // make the IP sets that the configuration names
  bool machinePaths = true;  // may use the machine's own paths where namespaces are refused
  bool help = false;
  std::vector<std::string> command;  // empty only with `help`
};

// A command line that the usage text does not allow; what() is one line for the user.
class UsageError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// Reads the arguments without the program's name. Options end at "--" or at the first word that
// is none; the rest is the command. Throws UsageError.
Options parseOptions(const std::vector<std::string_view>& arguments);

// The text of --help, ending in a newline.
std::string_view usageText();

}  // namespace testbed::router
