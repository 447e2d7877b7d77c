// Reads a configuration file:
//
//     config TYPE [NAME]       # a section; without a name it is anonymous
//             option NAME VALUE
//             list NAME VALUE
//
// Stands in for the file reader of libuci. Leaves out changes that are not committed, writing, and
// lines that a backslash continues.
#pragma once

#include <cstddef>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace testbed {

// A package as its file describes it: sections and options in file order.
struct UciOption {
  std::string name;
  bool isList = false;
  std::vector<std::string> values;  // exactly one unless it is a list
};

struct UciSection {
  std::string type;
  std::string name;  // made up for an anonymous section
  bool anonymous = false;
  std::vector<UciOption> options;
};

struct UciPackage {
  std::vector<UciSection> sections;
};

// what() is the file name, ":", the line, ": " and the message.
class UciSyntaxError : public std::runtime_error {
 public:
  UciSyntaxError(const std::string& fileName, std::size_t line, const std::string& message)
      : std::runtime_error(fileName + ":" + std::to_string(line) + ": " + message) {}
};

// Throws UciSyntaxError, naming `fileName`. The rules beyond the form of a line:
// - an anonymous section is named "cfg", two hex digits of its position counted from 1 among all
//   sections, four hex digits of a hash of its type;
// - a second section of the same name continues the first and must have its type;
// - a second `option` replaces the value where it stands, a list too; `list` after `option` makes a
//   list that begins with the option's value;
// - a `package` line is accepted and ignored: the file's own name says which package it is.
UciPackage parseUci(std::string_view text, const std::string& fileName);

}  // namespace testbed
