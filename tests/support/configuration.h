// Gives the rule sets a configuration without a bus: the start-up objects of the program stand
// here, on top of a bus library that answers from a text of the test.
#pragma once

#include <string>
#include <string_view>

#include "ipt_compiler/ir_graph.h"

namespace test_support {

// What the rule sets read from now on: the text of the file that configures the program. Empty
// before the first call. Throws testbed::UciSyntaxError and then changes nothing.
void setConfiguration(std::string_view uciText);

// The chain declarations and rules of a program that hangs from `chain`, generated chains numbered
// from 0.
std::string compiledText(tavrix::IptProg program, std::string_view chain);

}  // namespace test_support
