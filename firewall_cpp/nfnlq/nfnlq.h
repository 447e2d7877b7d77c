// Sends selected traffic to an inspector in user space, by NFQUEUE. Settings: section "nfnlq".
#pragma once

#include "ipt_compiler/export/ipt_lang.h"

namespace tavrix::nfnlq {

// The program of one hooked chain, built from the configuration as it is now. Throws
// std::invalid_argument or IptCompileFailed for options that cannot be read.
IptProg queueProgram();

}  // namespace tavrix::nfnlq
