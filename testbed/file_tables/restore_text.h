// Reads the text that a restore tool takes. No files and no kernel here: where tables come from
// and go to is the caller's.
#pragma once

#include <functional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "testbed/file_tables/table_model.h"

namespace file_tables {

// The end of a restore that was refused. what() is the whole text for standard error without the
// last newline.
class RestoreFailure : public std::runtime_error {
 public:
  RestoreFailure(const std::string& text, int exitStatus)
      : std::runtime_error(text), exitStatus_(exitStatus) {}
  int exitStatus() const { return exitStatus_; }

 private:
  int exitStatus_;
};

struct RestoreActions {
  // Gives the table to start from at a "*TABLE" line.
  std::function<Table(const TableLayout&)> open;
  // Takes the finished table at its COMMIT line.
  std::function<void(const Table&)> commit;
};

// Works through the text line by line and commits each table at its COMMIT. Tables committed
// before a fault stay committed. With `keepOld` the table that `open` gives keeps its chains and
// rules, and declaring one of its user chains empties that chain. Throws RestoreFailure; what
// `open` and `commit` throw passes through.
void applyRestoreText(Family family, std::string_view text, bool keepOld,
                      const RestoreActions& actions);

// The tables of a text that replaces everything, in the text's order. Throws RestoreFailure.
std::vector<Table> parseRestoreText(Family family, std::string_view text);

}  // namespace file_tables
