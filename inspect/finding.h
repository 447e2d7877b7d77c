// Something that is wrong with a configuration, in the words in which the user sees it.
#pragma once

#include <cstddef>
#include <string>

#include "inspect/noted_texts.h"

namespace tavrix::inspect {

struct Finding {
  enum class Effect { kStops, kRefused, kIgnored, kAccepted };

  Effect effect;           // what a run would do about it
  const char* at;          // where in the store, which is in the order of the file; may be null
  std::string where;       // "kovsel.user_list, value 2"
  std::string text;        // as written, or the rule text that was made of it
  std::size_t markStart;   // the place in the text
  std::size_t markLength;  // 0 marks what is missing there
  std::string reason;
};

// A finding whose text is the value itself, all of it marked.
inline Finding findingAt(const Place& place, Finding::Effect effect, std::string reason) {
  const std::string value(place.value);
  return {effect, place.value.data(), nameOf(place), value, 0, value.size(), std::move(reason)};
}

}  // namespace tavrix::inspect
