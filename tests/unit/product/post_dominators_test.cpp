// Immediate post-dominators by hand, and against those of another program.
#include "ipt_compiler/post_dominators.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <functional>
#include <random>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/dominator_tree.h"
#include "tests/unit/product/error_text.h"

namespace tavrix {
namespace {

using test_support::Edges;
using test_support::errorText;
using test_support::postDominatorsByBoost;

// Vertices 0 to size - 1; the root, which all paths lead to, is the last one. Edges lead from lower
// to higher numbers.
class Graph {
 public:
  Graph(std::size_t size, Edges edges) : vertices_(size) {
    // A vertex is linked after those that its edges lead to.
    std::ranges::stable_sort(edges, std::greater(), &Edges::value_type::first);
    for (const auto& [from, to] : edges) vertices_[from].addSuccessor(vertices_[to]);
  }

  IdomVertex& operator[](std::size_t i) { return vertices_[i]; }
  IdomVertex& root() { return vertices_.back(); }

  // For each vertex the number of its immediate post-dominator, and for the root the size.
  std::vector<std::size_t> computed() {
    std::vector<std::size_t> numbers;
    for (std::size_t i = 0; i + 1 < vertices_.size(); ++i) {
      const IdomVertex* const found = &vertices_[i].postDominator();
      numbers.push_back(static_cast<std::size_t>(found - vertices_.data()));
    }
    numbers.push_back(vertices_.size());
    return numbers;
  }

 private:
  std::vector<IdomVertex> vertices_;
};

// Whether only the root ends a path, as in rule graphs.
bool allLeadToRoot(std::size_t size, const Edges& edges) {
  std::vector<bool> isContinued(size, false);
  for (const auto& [from, to] : edges) isContinued[from] = true;
  return std::find(isContinued.begin(), isContinued.end() - 1, false) == isContinued.end() - 1;
}

TEST(PostDominators, OfSmallShapes) {
  const std::vector<std::pair<Edges, std::vector<std::size_t>>> cases = {
      {{{0, 1}, {1, 2}}, {1, 2, 3}},
      {{{0, 1}, {0, 2}, {1, 3}, {2, 3}}, {3, 3, 3, 4}},
      {{{0, 1}, {0, 3}, {1, 2}, {1, 3}, {2, 3}}, {3, 3, 3, 4}},
      // Both edges of a vertex to one other.
      {{{0, 1}, {0, 1}, {1, 2}}, {1, 2, 3}},
      // A diamond whose arms cross.
      {{{0, 1}, {0, 2}, {1, 3}, {1, 4}, {2, 3}, {2, 4}, {3, 5}, {4, 5}}, {5, 5, 5, 5, 5, 6}},
      // The paths from vertex 0 meet further down than those from vertex 1.
      {{{0, 1}, {0, 2}, {1, 3}, {2, 3}, {2, 4}, {3, 5}, {4, 5}, {5, 6}}, {5, 3, 5, 5, 5, 6, 7}},
  };
  for (const auto& [edges, expected] : cases) {
    EXPECT_EQ(Graph(expected.size(), edges).computed(), expected) << testing::PrintToString(edges);
  }
}

// Every graph whose edges lead from lower to higher numbers, up to six vertices.
TEST(PostDominators, AgreeWithBoostOnAllSmallGraphs) {
  for (std::size_t size = 1; size <= 6; ++size) {
    Edges all;
    for (std::size_t to = 1; to < size; ++to) {
      for (std::size_t from = 0; from < to; ++from) all.emplace_back(from, to);
    }
    for (std::size_t chosen = 0; chosen < std::size_t{1} << all.size(); ++chosen) {
      Edges edges;
      for (std::size_t i = 0; i < all.size(); ++i) {
        if ((chosen >> i & 1) != 0) edges.push_back(all[i]);
      }
      if (!allLeadToRoot(size, edges)) continue;
      ASSERT_EQ(Graph(size, edges).computed(), postDominatorsByBoost(size, edges, size - 1))
          << size << " vertices: " << testing::PrintToString(edges);
    }
  }
}

// Two edges out of each vertex, as in rule graphs, in either order.
TEST(PostDominators, AgreeWithBoostOnLargeRandomGraphs) {
  for (unsigned seed = 1; seed <= 40; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    const std::size_t size = 100 + random() % 300;
    // Near ones: far edges alone make a graph in which nothing but the root joins anything.
    Edges edges;
    for (std::size_t from = 0; from + 1 < size; ++from) {
      const std::size_t reach = std::min<std::size_t>(1 + random() % 8, size - 1 - from);
      for (int i = 0; i < 2; ++i) edges.emplace_back(from, from + 1 + random() % reach);
    }
    ASSERT_EQ(Graph(size, edges).computed(), postDominatorsByBoost(size, edges, size - 1));
  }
}

TEST(PostDominators, OfTheRootAreAConflict) {
  Graph graph(2, {{0, 1}});
  EXPECT_EQ(&graph[0].postDominator(), &graph.root());
  EXPECT_EQ(errorText<std::invalid_argument>([&] { graph.root().postDominator(); }),
            "IdomVertex conflict!");
}

// A hundred thousand vertices: in a chain, where every vertex has a way past the next one, and
// where every vertex has one to the beginning of a chain, as a row of conditions with one ELSE
// branch has.
TEST(PostDominators, OfLongGraphsNeitherTakeADeepStackNorWalkTheChainEachTime) {
  constexpr std::size_t kSize = 100'000;
  constexpr std::size_t kHalf = kSize / 2;
  Edges chain;
  Edges ladder;
  Edges row;
  for (std::size_t i = 0; i + 1 < kSize; ++i) {
    chain.emplace_back(i, i + 1);
    ladder.insert(ladder.end(), {{i, i + 1}, {i, kSize - 1}});
    row.emplace_back(i, i + 1 == kHalf ? kSize - 1 : i + 1);
    if (i < kHalf) row.emplace_back(i, kHalf);
  }
  Graph chained(kSize, chain);
  Graph laddered(kSize, ladder);
  Graph rowed(kSize, row);
  for (std::size_t i = 0; i + 1 < kSize; ++i) {
    ASSERT_EQ(&chained[i].postDominator(), &chained[i + 1]);
    ASSERT_EQ(&laddered[i].postDominator(), &laddered.root());
    ASSERT_EQ(&rowed[i].postDominator(), i < kHalf ? &rowed.root() : &rowed[i + 1]);
  }
}

}  // namespace
}  // namespace tavrix
