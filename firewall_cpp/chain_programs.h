// The rule program of each hooked chain, put together from the rule sets. Each call reads the
// configuration and builds a program of its own; errors of the rule sets pass through.
#pragma once

#include "ipt_compiler/rule_program.h"

namespace tavrix {

IptProg manglePreroutingProgram();
IptProg mangleOutputProgram();
IptProg natPreroutingProgram();
IptProg filterInputProgram();
IptProg filterForwardProgram();

}  // namespace tavrix
