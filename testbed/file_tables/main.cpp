// The save and restore tools in one program; the name that it is started by says which.
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <iostream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "testbed/file_tables/restore_text.h"
#include "testbed/file_tables/save_text.h"
#include "testbed/file_tables/table_files.h"

namespace {

using file_tables::Family;
using file_tables::Table;
using file_tables::TableFiles;
using file_tables::TableLayout;

constexpr int kFailure = 1;
constexpr int kUsageError = 2;

class UsageError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

TableFiles openTableFiles() {
  const char* directory = std::getenv("TESTBED_TABLES");
  if (directory == nullptr || *directory == '\0') {
    throw std::runtime_error("TESTBED_TABLES must name the directory of the table files");
  }
  return TableFiles(directory);
}

void save(Family family, const std::vector<std::string_view>& arguments) {
  if (arguments.size() != 2 || (arguments[0] != "-t" && arguments[0] != "--table")) {
    throw UsageError("expected -t TABLE");
  }
  const TableLayout* layout = file_tables::findTableLayout(arguments[1]);
  if (layout == nullptr) {
    throw std::runtime_error("Cannot initialize: Table " + std::string(arguments[1]) +
                             " does not exist");
  }
  std::cout << saveText(openTableFiles().read(family, *layout)) << std::flush;
  if (!std::cout) {
    throw std::runtime_error("cannot write to standard output");
  }
}

void restore(Family family, const std::vector<std::string_view>& arguments) {
  bool keepOld = false;
  for (const std::string_view argument : arguments) {
    if (argument != "-n" && argument != "--noflush") {
      throw UsageError("unknown option \"" + std::string(argument) + "\"");
    }
    keepOld = true;
  }
  const TableFiles files = openTableFiles();
  const std::string text{std::istreambuf_iterator<char>(std::cin), {}};
  applyRestoreText(family, text, keepOld,
                   {[&](const TableLayout& layout) {
                      return keepOld ? files.read(family, layout) : Table(family, layout);
                    },
                    [&](const Table& table) { files.write(table); }});
}

struct Tool {
  std::string_view name;
  Family family;
  void (*run)(Family family, const std::vector<std::string_view>& arguments);
};
constexpr Tool kTools[] = {{"iptables-save", Family::Ipv4, save},
                           {"ip6tables-save", Family::Ipv6, save},
                           {"iptables-restore", Family::Ipv4, restore},
                           {"ip6tables-restore", Family::Ipv6, restore}};

}  // namespace

int main(int argumentCount, char** argumentValues) {
  const std::vector<std::string_view> values(argumentValues, argumentValues + argumentCount);
  const std::string name =
      values.empty() ? "" : std::filesystem::path(values.front()).filename().string();
  for (const Tool& tool : kTools) {
    if (tool.name != name) {
      continue;
    }
    try {
      tool.run(tool.family, {values.begin() + 1, values.end()});
      return EXIT_SUCCESS;
    } catch (const file_tables::RestoreFailure& failure) {
      std::cerr << failure.what() << "\n";
      return failure.exitStatus();
    } catch (const UsageError& error) {
      std::cerr << name << ": " << error.what() << "\n";
      return kUsageError;
    } catch (const std::exception& error) {
      std::cerr << name << ": " << error.what() << "\n";
      return kFailure;
    }
  }
  std::cerr << "file_tables: start it by the name of a save or restore tool\n";
  return kUsageError;
}
