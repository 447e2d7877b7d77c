// A directory of a test's own and the two file operations that tests need.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>

namespace test_support {

// Makes a fresh directory below the system's place for temporary files; the destructor removes it
// with everything in it.
class TempDir {
 public:
  TempDir();
  ~TempDir();
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;

  const std::filesystem::path& path() const { return path_; }
  // The path of `name` inside the directory, as text.
  std::string operator/(std::string_view name) const { return path_ / name; }

 private:
  std::filesystem::path path_;
};

// Whole content of a file. Throws std::runtime_error if it cannot be read.
std::string readFile(const std::filesystem::path& path);

// Creates or replaces a file. Throws std::runtime_error if it cannot be written.
void writeFile(const std::filesystem::path& path, std::string_view content);

// As writeFile, with the run bit set: a tool for a PATH directory.
void writeScript(const std::filesystem::path& path, std::string_view content);

}  // namespace test_support
