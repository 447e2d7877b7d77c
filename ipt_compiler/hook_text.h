// What a rule program becomes: chain declarations and rules of restore text, kept for as long as it
// takes to find their place in a table.
#pragma once

#include <cstdint>
#include <iosfwd>
#include <string>
#include <string_view>
#include <vector>

namespace tavrix {

class HookText {
 public:
  // A name for a chain. It is valid in this text only: the number in the real name depends on what
  // else is generated in the table.
  std::string makeChainName();

  void declareChain(std::string_view chain);

  // Adds a rule to the end of the chain, which is the hooked one or one of this text.
  //   text    the options of the rule; may hold any byte
  //   jump    written after them, such as " -g " or " -j RETURN"; a literal
  //   target  written last: a chain of this text
  void addRule(std::string_view chain, std::string text, std::string_view jump = {},
               std::string_view target = {});

  // Writes the text to `out`.
  //   counter  number of the next generated chain of this table; raised by each one of the text
  void write(std::uint32_t& counter, std::ostream& out) const;

 private:
  void append(std::string_view part) { blocks_.back() += part; }
  void startLine();

  std::vector<std::string> blocks_;  // whole lines
  std::uint32_t chainCount_ = 0;
};

}  // namespace tavrix
