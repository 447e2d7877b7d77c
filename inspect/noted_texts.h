// Where the rule texts of a program come from. noted_texts.cpp is linked in place of the files that
// put a value into a text and that make nodes of texts. The rule sets know nothing of it, and a run
// pays nothing for it.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "ipt_compiler/export/ipt_lang.h"

namespace tavrix::inspect {

// A value of the configuration.
struct Place {
  std::string_view section;
  std::string_view option;
  std::size_t index;  // in the option's list, from 0
  std::size_t count;  // of the option's values
  std::string_view value;
};

// "kovsel.label_user5", "nfnlq.matches, value 3": how a value is called in what users read.
std::string nameOf(const Place& place);

struct NotedText {
  // A value and where it begins in the text. That is before the text for a value that is more than
  // the text: "NOT" begins it.
  struct Part {
    Place place;
    std::ptrdiff_t start;
  };

  std::string text;
  std::vector<Part> parts;  // the values in it; none for a text of the rule set alone
  std::string error;        // of a text that cannot be read: what a run would end with
};

// Notes every text that a program is built from, as long as the object lives. There may be one at
// a time. The values have to stay where they were in memory when it was made.
class NotedTexts {
 public:
  // What becomes of a text that cannot be read: it throws, as in a run, or it is noted, and in its
  // place stands a condition that never holds or a program that does nothing.
  enum class Wrong { kThrows, kIsNoted };

  explicit NotedTexts(Wrong wrong);
  ~NotedTexts();
  NotedTexts(const NotedTexts&) = delete;
  NotedTexts& operator=(const NotedTexts&) = delete;

  // In the order in which they were read.
  const std::vector<NotedText>& texts() const { return texts_; }

  // Where a value, or a part of one, stands; nothing for a text that is not in the store.
  std::optional<Place> placeOf(std::string_view value) const;

  // Programs built meanwhile have this instead of the name of a source file in their targets and
  // matches, and instead of the line the number of the noted text.
  static const char* const kFile;

  // For those who build.
  IptCond makeMatches(std::string_view text, const char* file, int line);
  IptProg makeTarget(std::string_view text, const char* file, int line);
  // The next text has the value in it.
  void expect(std::string_view value, std::size_t start);

 private:
  struct Range {
    const char* begin;
    Place place;
  };

  int note(std::string_view text, std::string_view file);
  void noteQueueNumbers(NotedText& noted) const;

  Wrong wrong_;
  std::vector<Range> ranges_;  // by address
  std::vector<NotedText> texts_;
  std::optional<NotedText::Part> expected_;
};

}  // namespace tavrix::inspect
