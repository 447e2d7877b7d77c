// Random rule programs of every shape that the language has: alternatives and exceptions, chains of
// ELSEIF, deep nesting, empty branches, constants at every place.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "tests/support/rule_source.h"

namespace test_support {

// What programs are made of.
struct RandomTexts {
  std::vector<std::string> matches;  // of one option each; a condition takes one or two of them
  std::vector<std::string>
      targets;  // without their last characters, which are a hexadecimal number
  // Whether "-4" and "-6" may stand in more than one condition. A duplicate of one is dropped where
  // two conditions become one rule, and then the rules may mean something else than the program.
  bool repeatsFamilies = false;
};

// Match texts of all ten kinds, negated ones among them, in their short and their long forms, and
// targets that jump or act by a match module. The kernel would not take all of them.
const RandomTexts& allKindsOfTexts();

// size: how many texts and constants stand in the program. The same arguments give the same program
// on every machine.
ProgramSource randomProgram(std::uint64_t seed, std::size_t size,
                            const RandomTexts& texts = allKindsOfTexts());

}  // namespace test_support
