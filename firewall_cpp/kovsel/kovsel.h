// Per-user access control. Settings: section "kovsel". A user is a device or a group of devices
// with a number; the mangle program labels the user's connections, the nat and filter programs
// redirect or reject labelled ones. Read user.h and rule_texts.h first, then one file per table.
#pragma once

#include "ipt_compiler/export/ipt_lang.h"

namespace tavrix::kovsel {

// The program of each hooked chain, built from the configuration as it is now. All throw
// IptCompileFailed for a value that breaks the rule text it is put into; the filter programs throw
// std::invalid_argument for a listed user without a label.
IptProg mangleProgram();
IptProg natPreroutingProgram();
IptProg filterInputProgram();
IptProg filterForwardProgram();

}  // namespace tavrix::kovsel
