// Walks over a rule's tokens as the C library's getopt_long does for the real tools: short and
// long options, arguments joined or apart, unambiguous abbreviations, "!" and bare words.
#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "testbed/file_tables/extensions.h"
#include "testbed/file_tables/rule_tokens.h"

namespace file_tables {

// An option of the tools themselves.
struct BaseOption {
  std::string_view longName;
  char letter;
  bool takesArgument;
};

class OptionReader {
 public:
  enum class Kind { End, Word, BaseOption, ExtensionOption, Unknown };

  struct Item {
    Kind kind = Kind::End;
    std::string_view text;               // the word or the option as written
    const BaseOption* base = nullptr;    // BaseOption
    const OptionRule* option = nullptr;  // ExtensionOption
    std::size_t extension = 0;           // ExtensionOption: the number that addExtension gave
    std::size_t token = 0;               // where it stands
    std::string_view argument{};         // of an option that takes one
    bool argumentIsJoined = false;       // it stands in the option's own token
  };

  // The tokens are referred to and must outlive the reader.
  explicit OptionReader(const std::vector<RuleToken>& tokens);

  // Makes the options of a match or a target known from here on; of two with the same name the
  // one added last wins. Returns its number, counted from 0.
  std::size_t addExtension(std::span<const OptionRule> options);

  // The next item. Throws ParameterProblem for an option that lacks its argument. After
  // Kind::Unknown the reader has not moved, so that the caller can add an extension and try again.
  Item next();

  // The next whole token as a further argument; throws like a missing argument of `item`.
  std::string_view takeArgument(const Item& item);

  // The next whole token without moving, empty at the end.
  std::string_view peek() const;

 private:
  Item readLong(std::string_view token);
  Item readShort(std::string_view token);
  bool findLong(std::string_view name, Item& item) const;

  const std::vector<RuleToken>& tokens_;
  std::size_t position_ = 0;
  std::size_t letter_ = 0;  // within a group of short options, 0 outside
  std::vector<std::span<const OptionRule>> extensions_;
};

}  // namespace file_tables
