// A second compiler from programs to chains, for comparison with the product's. It takes every step
// one by one, as it would be told to somebody who has paper and pencil, and spares no work.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "tests/support/literal_program.h"

namespace test_support::literal {

// Moves what one rule can hold with the conditions of `destination` from `source` to it. Returns
// how many items moved alone or were dropped; the block of "-m" options at the end is not counted.
unsigned mergeMatches(MatchList& destination, MatchList& source);

// Appends an exit node and simplifies until nothing changes. The program's last node is the exit
// afterwards.
void simplify(Graph& graph, Program& program);

// The chain declarations and rules of a simplified program, as compileHook writes
// them. Raises `counter` by the chains that were made.
std::string generate(std::uint32_t& counter, const Graph& graph, const Program& program,
                     std::string_view chain, bool ownChain);

}  // namespace test_support::literal
