// Finds, links and tries the save and restore tools of the kernel's tables.
#include "testbed/router/tables.h"

#include <unistd.h>

#include <array>
#include <cstdlib>

#include "testbed/router/errors.h"
#include "testbed/router/run_tool.h"

namespace testbed::router {
namespace {

struct Tool {
  std::string_view family;
  std::string_view action;

  std::string plainName() const { return std::string(family) + std::string(action); }
  std::string nameFor(TablesKind kind) const {
    return std::string(family) + "-" + std::string(nameOf(kind)) + std::string(action);
  }
};

constexpr std::array<Tool, 6> kTools = {{
    {"iptables", ""},
    {"iptables", "-save"},
    {"iptables", "-restore"},
    {"ip6tables", ""},
    {"ip6tables", "-save"},
    {"ip6tables", "-restore"},
}};
constexpr std::array<std::string_view, 2> kFamilies = {"iptables", "ip6tables"};
constexpr std::array<std::string_view, 3> kTables = {"mangle", "nat", "filter"};

// The match and the target of every setup; what a kernel lacks shows here and not in the middle of
// a run.
constexpr std::string_view kProbeRule =
    "*mangle\n"
    "-A OUTPUT -m comment --comment probe -j NFQUEUE --queue-num 0 --queue-bypass\n"
    "COMMIT\n";
constexpr std::string_view kEmptyTable = "*mangle\nCOMMIT\n";

// Runs one tool; a non-zero end becomes the reason, with the first line that the tool printed.
std::string runOrGiveUp(const std::vector<std::string>& command, std::string_view shownAs,
                        std::string_view input) {
  const ToolResult result = runTool(command, std::string(input));
  if (result.status == 0) return result.out;
  throw TablesUnavailable(std::string(shownAs) +
                          " fails here: " + result.err.substr(0, result.err.find('\n')));
}

}  // namespace

std::string_view nameOf(TablesKind kind) {
  switch (kind) {
    case TablesKind::Legacy:
      return "legacy";
    case TablesKind::Nft:
      return "nft";
    case TablesKind::Files:
      break;
  }
  return "files";
}

// An ordinary user's PATH often lacks the directories of the system's tools.
std::string findTool(const std::string& name) {
  const char* path = getenv("PATH");
  std::string directories = path == nullptr ? "" : path;
  directories += ":/usr/sbin:/sbin";
  for (std::size_t begin = 0; begin <= directories.size();) {
    const std::size_t end = std::min(directories.find(':', begin), directories.size());
    std::string candidate = directories.substr(begin, end - begin) + "/" + name;
    if (candidate.starts_with('/') && access(candidate.c_str(), X_OK) == 0) return candidate;
    begin = end + 1;
  }
  throw TablesUnavailable(name + " is not installed");
}

void requireKernelTools(TablesKind kind) {
  for (const Tool& tool : kTools) findTool(tool.nameFor(kind));
}

void linkKernelTools(TablesKind kind, const std::string& directory) {
  for (const Tool& tool : kTools) {
    const std::string link = directory + "/" + tool.plainName();
    if (symlink(findTool(tool.nameFor(kind)).c_str(), link.c_str()) != 0) {
      throw std::runtime_error(withErrno("symlink " + link));
    }
  }
}

void probeKernelTables(const std::string& directory) {
  for (const std::string_view family : kFamilies) {
    const std::string tool = directory + "/" + std::string(family);
    for (const std::string_view table : kTables) {
      const std::string shown = std::string(family) + "-save -t " + std::string(table);
      const std::string saved = runOrGiveUp({tool + "-save", "-t", std::string(table)}, shown, "");
      if (saved.find("*" + std::string(table) + "\n") == std::string::npos) {
        throw TablesUnavailable(shown + " prints no table here");
      }
    }
    const std::string shown = std::string(family) + "-restore of an NFQUEUE rule";
    runOrGiveUp({tool + "-restore"}, shown, kProbeRule);
    runOrGiveUp({tool + "-restore"}, shown, kEmptyTable);
  }
}

}  // namespace testbed::router
