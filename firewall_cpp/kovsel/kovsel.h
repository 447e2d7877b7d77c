// Per-user access control. Settings: section "kovsel".
#pragma once

#include "ipt_compiler/export/ipt_lang.h"

namespace tavrix::kovsel {

// The program of each hooked chain, built from the configuration as it is now.
IptProg mangleProgram();
IptProg natPreroutingProgram();
IptProg filterInputProgram();
IptProg filterForwardProgram();

}  // namespace tavrix::kovsel
