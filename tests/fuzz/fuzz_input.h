// What the fuzz targets share: the input as text and as lines, and a check that ends the run.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

namespace fuzz {

inline std::string textOf(const std::uint8_t* data, std::size_t size) {
  return std::string(data, data + size);
}

inline std::vector<std::string> linesOf(std::string_view text) {
  std::vector<std::string> lines;
  while (!text.empty()) {
    const std::size_t end = text.find('\n');
    lines.emplace_back(text.substr(0, end));
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
  }
  return lines;
}

// Ends the process if the property does not hold; the fuzzer then reports the input.
inline void require(bool holds, const std::string& property) {
  if (holds) return;
  std::fprintf(stderr, "violated: %s\n", property.c_str());
  std::abort();
}

}  // namespace fuzz
