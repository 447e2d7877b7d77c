// Gives the rule sets a configuration without a bus: the program's start-up objects on top of the
// bus at link level.
#pragma once

#include <string_view>

namespace test_support {

// What the rule sets read from now on: the text of the file that configures the program. Empty
// before the first call. Throws testbed::UciSyntaxError and then changes nothing.
void setConfiguration(std::string_view uciText);

}  // namespace test_support
