// A configuration package as its file describes it: sections and options in file order.
#pragma once

#include <string>
#include <vector>

namespace testbed {

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

}  // namespace testbed
