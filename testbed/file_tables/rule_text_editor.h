// A rule line without what does not belong to the rule itself: the command, counters, "-4"/"-6".
// Everything else stays as it was written, quotes and blanks included.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "testbed/file_tables/option_reader.h"
#include "testbed/file_tables/rule_tokens.h"

namespace file_tables {

class RuleTextEditor {
 public:
  // Line and tokens are referred to and must outlive the editor.
  RuleTextEditor(std::string_view line, const std::vector<RuleToken>& tokens);

  // Takes an option of the tools out, with so many arguments. Of a group of short options the
  // others stay.
  void dropOption(const OptionReader::Item& item, std::size_t argumentCount);
  void dropToken(std::size_t token) { kept_[token].clear(); }
  void replaceToken(std::size_t token, std::string text) { kept_[token] = std::move(text); }

  // What is left; "" when nothing is.
  std::string text() const;

 private:
  std::string_view line_;
  const std::vector<RuleToken>& tokens_;
  std::vector<std::string> kept_;  // per token what is left of it
};

}  // namespace file_tables
