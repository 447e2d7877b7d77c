// The checks of single arguments and of an extension's options together, each with the real
// tools' message. All throw ParameterProblem.
#pragma once

#include <string>
#include <string_view>

#include "testbed/file_tables/extensions.h"

namespace file_tables {

constexpr std::size_t kLongestChainName = 28;

// `text', as the tools' messages quote.
std::string quoted(std::string_view text);

// "-s" and "-d": one address without a list.
void checkAddress(const std::string& text, Family family);

// "-i" and "-o".
void checkInterfaceName(std::string_view name);

// The name behind "-j" and "-g", not whether there is such a target.
void checkTargetName(std::string_view name);

// Adds an option with its arguments to the use of an extension. `protocol` is the number behind
// the "-p" read so far, 0 without one.
void addOption(ExtensionUse& use, const ExtensionRule& known, const OptionRule& option,
               OptionUse optionUse, Family family, int protocol, bool protocolNegated);

// What can be said only when all options have been read.
void checkOptionsTogether(const ExtensionUse& use, const ExtensionRule& known);

}  // namespace file_tables
