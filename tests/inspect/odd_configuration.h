// Random configurations with faults.
#pragma once

#include <string>

namespace inspect_test {

// A random configuration with up to three lines lost, doubled or given an odd value. One that is
// not whole has one section and one user in it, for the sake of time.
std::string oddConfiguration(unsigned seed, bool isWhole);

}  // namespace inspect_test
