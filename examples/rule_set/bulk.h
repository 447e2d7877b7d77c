// Tells bulk transfers from other traffic, for a traffic shaper that reads packet marks. Settings:
// section "bulk".
#pragma once

#include "ipt_compiler/export/ipt_lang.h"

namespace tavrix::bulk {

// The program of one hooked chain, built from the configuration as it is now. Throws
// IptCompileFailed if a value breaks the rule text that it is put into.
IptProg bulkProgram();

}  // namespace tavrix::bulk
