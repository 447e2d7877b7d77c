// What a rule text becomes once it is parsed.
#pragma once

#include "ipt_compiler/export/ipt_lang.h"
#include "ipt_compiler/rule_model.h"

namespace tavrix {

// A condition node and its two exits.
IptCond makeCondition(IptMatchList matches);

// A node that holds the target.
IptProg makeRule(IptTarget target);

}  // namespace tavrix
