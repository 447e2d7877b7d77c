// Random configurations of both rule sets, and the smallest one out of a failing one.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

namespace test_support {

// The text of a file that configures the program: no users or several, each with any of its options
// absent, with one value or with more than are read; queue numbers or not; statements and a
// condition of every shape. A small share is no program: a label is missing, a value breaks the
// rule text that it is put into, a token is lost. The rules of nearly all others are taken by the
// tools. The same seed gives the same text on every machine. Without odd values every value is
// alone in its rule text.
std::string randomConfiguration(std::uint64_t seed, bool hasOddValues = true);

// A failing configuration with as many lines dropped as possible, so that it still fails. `fails`
// is not called for texts that are no configuration; it has to give false, and not throw, for
// configurations that are no program.
using ConfigurationFails = std::function<bool(const std::string& configuration)>;
std::string shrinkConfiguration(const std::string& configuration, const ConfigurationFails& fails);

}  // namespace test_support
