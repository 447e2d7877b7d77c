// Programs and conditions of one rule text, where the place that errors name does not matter.
#pragma once

#include "ipt_compiler/export/ipt_lang.h"

namespace test_support {

inline tavrix::IptProg target(const char* text) {
  return tavrix::makeTarget(text, "f", 1);
}
inline tavrix::IptCond cond(const char* text) {
  return tavrix::makeMatches(text, "f", 1);
}

}  // namespace test_support
