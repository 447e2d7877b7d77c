// Where the tables live between two runs of the tools: one file per family and table in one
// directory, for example "iptables.mangle", in save format. No lock is taken: two restores at once
// leave one of the two tables, which is what a program that holds the lock for them wants.
#pragma once

#include <filesystem>
#include <string_view>

#include "testbed/file_tables/table_model.h"

namespace file_tables {

class TableFiles {
 public:
  // The directory must exist when a table is written.
  explicit TableFiles(std::filesystem::path directory);

  // The table as last stored; a table without a file is the kernel's initial one. Throws
  // std::runtime_error for a file that cannot be read, or that is no save text of that table.
  Table read(Family family, const TableLayout& layout) const;

  // Puts the table in place in one step: who reads at the same time sees the old or the new table
  // whole. Throws std::runtime_error when the file cannot be written; the old one then stays.
  void write(const Table& table) const;

 private:
  std::filesystem::path filePath(Family family, std::string_view tableName) const;

  std::filesystem::path directory_;
};

}  // namespace file_tables
