// Post-dominators by another program than ours, for comparison.
#pragma once

#include <cstddef>
#include <utility>
#include <vector>

namespace test_support {

// The edges of a graph of numbered vertices: from, to. An edge may stand twice.
using Edges = std::vector<std::pair<std::size_t, std::size_t>>;

// The immediate post-dominator of each vertex 0 to size - 1, by Boost's dominator tree of the
// reversed graph; size for a vertex without any: the exit, and what does not lead there.
std::vector<std::size_t> postDominatorsByBoost(std::size_t size, const Edges& edges,
                                               std::size_t exit);

}  // namespace test_support
