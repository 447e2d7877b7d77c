// The examples of a page in docs/: a fenced block "uci" with a configuration, then a fenced block
// "rules" or "error" with what comes of it.
#pragma once

#include <string>
#include <vector>

namespace golden {

struct DocExample {
  std::size_t line = 0;  // of the configuration's fence, from 1
  std::string config;
  bool isError = false;
  std::string outcome;  // generated rules of mangle OUTPUT, or the program's error text
};

// Every example of the page. Throws std::runtime_error, with the line, for a fenced block that is
// no part of an example and for one that does not end.
std::vector<DocExample> readDocExamples(const std::string& page);

}  // namespace golden
