#include "tests/inspect/odd_configuration.h"

#include <random>
#include <sstream>
#include <string_view>
#include <vector>

#include "tests/support/random_configuration.h"

namespace inspect_test {

std::string oddConfiguration(unsigned seed, bool isWhole) {
  constexpr std::string_view kOddValues[] = {
      "",    " ",        "!",      "-j",        "-p",           "a ! b", "x -p", "-m x ",
      "NOT", "NOT -j x", "IF",     "THEN",      "ELSE",         "FI",    "AND",  "OR",
      "(",   ")",        "-p tcp", "-j ACCEPT", "-j ACCEPT -p", "\"",    "\\",   "-g x"};
  std::mt19937 random(seed);
  std::vector<std::string> lines;
  std::istringstream text(test_support::randomConfiguration(seed));
  bool hasUser = false;
  std::string section;
  for (std::string line; std::getline(text, line);) {
    if (line.starts_with("config ")) section = line;
    const bool isUser = line.find(" user_list ") != std::string::npos;
    const bool isOther = section.find(seed % 2 == 0 ? "kovsel" : "nfnlq") == std::string::npos;
    if (!isWhole && (isOther || (isUser && hasUser))) continue;
    hasUser |= isUser;
    lines.push_back(line);
  }
  for (unsigned changes = random() % 4; changes > 0 && !lines.empty(); --changes) {
    const auto line = lines.begin() + static_cast<std::ptrdiff_t>(random() % lines.size());
    const std::size_t quote = line->find('\'');
    if (line->starts_with("config") || quote == std::string::npos) continue;
    const unsigned kind = random() % 4;
    if (kind == 0) {
      lines.erase(line);
    } else if (kind == 1) {
      const std::string doubled = *line;
      lines.insert(line, doubled);
    } else {
      line->replace(quote, std::string::npos,
                    "'" + std::string(kOddValues[random() % std::size(kOddValues)]) + "'");
    }
  }
  std::string all;
  for (const std::string& line : lines) all += line + "\n";
  return all;
}

}  // namespace inspect_test
