// The kinds of tables that a run can have, and the save and restore tools of each.
#pragma once

#include <string>
#include <string_view>

namespace testbed::router {

enum class TablesKind { Legacy, Nft, Files };

// "legacy", "nft" or "files".
std::string_view nameOf(TablesKind kind);

// The path of a tool in PATH or in the directories of the system's tools. Throws TablesUnavailable,
// naming the tool, when it is not installed.
std::string findTool(const std::string& name);

// Throws TablesUnavailable, naming the tool, when one that the kind needs is not installed. `kind`
// is a kernel kind.
void requireKernelTools(TablesKind kind);

// Fills `directory` with the tools' plain names (iptables-save, ip6tables-restore, ...), each a
// link to the installed tool of the kind. Throws as requireKernelTools, or std::runtime_error.
void linkKernelTools(TablesKind kind, const std::string& directory);

// Tries the linked tools on the kernel's tables of the current network namespace: every table can
// be saved, and a rule of the kind that the product writes can be restored. The tables are empty
// before and after. Throws TablesUnavailable with the first failure.
void probeKernelTables(const std::string& directory);

}  // namespace testbed::router
