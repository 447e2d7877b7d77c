// Reads a configuration file:
//
//     config TYPE [NAME]       # a section; without a name it is anonymous
//             option NAME VALUE
//             list NAME VALUE
#pragma once

#include <string>
#include <string_view>

#include "testbed/uci/uci_lexer.h"
#include "testbed/uci/uci_package.h"

namespace testbed {

// Throws UciSyntaxError, naming `fileName`. The rules beyond the form of a line:
// - an anonymous section is named "cfg", two hex digits of its position counted from 1 among all
//   sections, four hex digits of a hash of its type;
// - a second section of the same name continues the first and must have its type;
// - a second `option` replaces the value where it stands, a list too; `list` after `option` makes a
//   list that begins with the option's value;
// - a `package` line is accepted and ignored: the file's own name says which package it is.
UciPackage parseUci(std::string_view text, const std::string& fileName);

}  // namespace testbed
