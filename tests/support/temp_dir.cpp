#include "tests/support/temp_dir.h"

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <system_error>

namespace test_support {

TempDir::TempDir() {
  std::string pattern = std::filesystem::temp_directory_path() / "firewall_cpp-test-XXXXXX";
  if (mkdtemp(pattern.data()) == nullptr) {
    throw std::system_error(errno, std::generic_category(), "mkdtemp " + pattern);
  }
  path_ = pattern;
}

TempDir::~TempDir() {
  std::error_code ignored;
  std::filesystem::remove_all(path_, ignored);
}

std::string readFile(const std::filesystem::path& path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream content;
  if (!in || !(content << in.rdbuf() || in.peek() == std::ifstream::traits_type::eof())) {
    throw std::runtime_error("cannot read " + path.string());
  }
  return content.str();
}

void writeFile(const std::filesystem::path& path, std::string_view content) {
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out << content;
  out.close();
  if (!out) throw std::runtime_error("cannot write " + path.string());
}

void writeScript(const std::filesystem::path& path, std::string_view content) {
  writeFile(path, content);
  std::filesystem::permissions(path, std::filesystem::perms(0755));
}

}  // namespace test_support
