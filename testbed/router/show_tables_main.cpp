// `show_tables [--colours] TITLE`: reads one table from standard input and shows it.
#include <unistd.h>

#include <array>
#include <iostream>
#include <string>
#include <string_view>

#include "testbed/router/show_tables.h"

int main(int argc, char** argv) {
  testbed::router::ShowOptions options;
  for (int index = 1; index < argc; ++index) {
    if (std::string_view(argv[index]) == "--colours") {
      options.colours = true;
    } else {
      options.title = argv[index];
    }
  }
  std::string saved;
  std::array<char, 65536> buffer = {};
  for (ssize_t got = 0; (got = read(STDIN_FILENO, buffer.data(), buffer.size())) > 0;) {
    saved.append(buffer.data(), static_cast<std::size_t>(got));
  }
  std::cout << testbed::router::showTable(saved, options);
  return 0;
}
