// Shows a table in save format so that a person can read it: rules under their hook, the rules of a
// chain indented under the first rule that leads there, generated rules told from foreign ones.
#pragma once

#include <string>
#include <string_view>

namespace testbed::router {

struct ShowOptions {
  std::string title;     // headline, for example "IPv4 mangle"
  bool colours = false;  // escape sequences of a terminal for generated rules
};

// `saved` is the text of a save tool with one table; lines that it cannot hold are ignored. A
// generated rule is marked with "+" and shown without the comment that marks it in the table.
// Chains that no hook leads to are listed at the end.
std::string showTable(std::string_view saved, const ShowOptions& options);

}  // namespace testbed::router
