// Reading through the restore reader, writing through a temporary file and a rename.
#include "testbed/file_tables/table_files.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "testbed/file_tables/restore_text.h"
#include "testbed/file_tables/save_text.h"

namespace file_tables {
namespace {

[[noreturn]] void failOnFile(const std::string& action, const std::filesystem::path& path,
                             int error) {
  throw std::runtime_error("cannot " + action + " " + path.string() + ": " + std::strerror(error));
}

// Returns 0 or an errno.
int writeWhole(int file, std::string_view content) {
  while (!content.empty()) {
    const ssize_t written = ::write(file, content.data(), content.size());
    if (written < 0 && errno != EINTR) {
      return errno;
    }
    if (written > 0) {
      content.remove_prefix(static_cast<std::size_t>(written));
    }
  }
  return 0;
}

}  // namespace

TableFiles::TableFiles(std::filesystem::path directory) : directory_(std::move(directory)) {}

std::filesystem::path TableFiles::filePath(Family family, std::string_view tableName) const {
  return directory_ / std::string(toolFamilyName(family)).append(".").append(tableName);
}

Table TableFiles::read(Family family, const TableLayout& layout) const {
  const std::filesystem::path path = filePath(family, layout.name);
  std::ifstream file(path, std::ios::binary);
  if (!file) {
    if (errno == ENOENT && std::filesystem::is_directory(directory_)) {
      return Table(family, layout);
    }
    failOnFile("read", path, errno);
  }
  std::ostringstream content;
  content << file.rdbuf();
  try {
    std::vector<Table> tables = parseRestoreText(family, content.str());
    if (tables.size() == 1 && tables.front().name() == layout.name) {
      return std::move(tables.front());
    }
  } catch (const RestoreFailure& failure) {
    throw std::runtime_error(path.string() + " is damaged: " + failure.what());
  }
  throw std::runtime_error(path.string() + " does not hold the one table " +
                           std::string(layout.name));
}

void TableFiles::write(const Table& table) const {
  const std::filesystem::path path = filePath(table.family(), table.name());
  std::string temporary = path.string() + ".XXXXXX";
  const int file = ::mkostemp(temporary.data(), O_CLOEXEC);
  if (file < 0) {
    failOnFile("create", temporary, errno);
  }
  int error = writeWhole(file, saveText(table));
  if (::close(file) != 0 && error == 0) {
    error = errno;
  }
  if (error == 0 && std::rename(temporary.c_str(), path.c_str()) != 0) {
    error = errno;
  }
  if (error != 0) {
    ::unlink(temporary.c_str());
    failOnFile("write", path, error);
  }
}

}  // namespace file_tables
