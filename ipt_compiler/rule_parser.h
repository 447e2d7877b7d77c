// Reads the iptables option text that rule sets write. It knows iptables' own rule options and
// nothing of modules: it cuts the text into one segment per option and keeps each segment as text.
#pragma once

#include <string_view>

#include "ipt_compiler/rule_model.h"

namespace tavrix {

// A target: "-j" or "-m" in either spelling, then arguments that are not checked.
// file: a static string, kept as a pointer. Throws IptCompileFailed.
IptTarget parseTarget(std::string_view text, const char* file, int line);

// A list of matches, one per option, sorted by kind; empty for a text without tokens.
// file: a static string, kept as a pointer. Throws IptCompileFailed.
//
// Two oddities are kept on purpose, since rule texts rely on them. The position where a segment
// ends is taken for its length, so the segment of an option between the first and the last runs on
// into the options after it. And a text that ends in spaces loses the arguments of its last option,
// and is refused if there are any.
IptMatchList parseMatches(std::string_view text, const char* file, int line);

}  // namespace tavrix
