// Immediate post-dominators against their definition and against those of another program. By
// definition a vertex post-dominates another one if, without it, no path leads from there to the
// root.
#include "ipt_compiler/post_dominators.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <functional>
#include <random>
#include <sstream>
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
  Graph(std::size_t size, const Edges& edges) : vertices_(size), predecessors_(size) {
    for (const auto& [from, to] : edges) predecessors_[to].push_back(from);
    // A vertex is linked after those that its edges lead to.
    std::vector<Edges::value_type> backwards = edges;
    std::ranges::stable_sort(backwards, std::greater(), &Edges::value_type::first);
    for (const auto& [from, to] : backwards) vertices_[from].addSuccessor(vertices_[to]);
  }

  std::size_t size() const { return vertices_.size(); }
  IdomVertex& operator[](std::size_t i) { return vertices_[i]; }
  IdomVertex& root() { return vertices_.back(); }

  // For each vertex the number of its immediate post-dominator; size() for one without any.
  std::vector<std::size_t> computed() {
    std::vector<std::size_t> numbers;
    for (IdomVertex& vertex : vertices_) {
      try {
        numbers.push_back(indexOf(vertex.postDominator()));
      } catch (const std::invalid_argument&) {
        numbers.push_back(size());
      }
    }
    return numbers;
  }

  // The same by definition: take each vertex out and see what the root is cut off from.
  std::vector<std::size_t> byRemoval() {
    const std::vector<bool> reaching = reachRootWithout(size());
    std::vector<std::vector<bool>> postDominates(size(), std::vector<bool>(size(), false));
    for (std::size_t removed = 0; removed < size(); ++removed) {
      if (!reaching[removed]) continue;
      const std::vector<bool> left = reachRootWithout(removed);
      for (std::size_t v = 0; v < size(); ++v) {
        postDominates[removed][v] = reaching[v] && !left[v] && v != removed;
      }
    }
    std::vector<std::size_t> numbers(size(), size());
    for (std::size_t v = 0; v < size(); ++v) {
      for (std::size_t candidate = 0; candidate < size(); ++candidate) {
        if (!postDominates[candidate][v]) continue;
        // The immediate one is post-dominated by all others.
        bool isNearest = true;
        for (std::size_t other = 0; other < size(); ++other) {
          if (other != candidate && postDominates[other][v] && !postDominates[other][candidate]) {
            isNearest = false;
          }
        }
        if (isNearest) numbers[v] = candidate;
      }
    }
    return numbers;
  }

 private:
  std::size_t indexOf(const IdomVertex& vertex) const {
    for (std::size_t i = 0; i < size(); ++i) {
      if (&vertices_[i] == &vertex) return i;
    }
    return size() + 1;
  }

  std::vector<bool> reachRootWithout(std::size_t removed) {
    std::vector<bool> reached(size(), false);
    if (removed == size() - 1) return reached;
    std::vector<std::size_t> toVisit = {size() - 1};
    while (!toVisit.empty()) {
      const std::size_t v = toVisit.back();
      toVisit.pop_back();
      if (reached[v] || v == removed) continue;
      reached[v] = true;
      toVisit.insert(toVisit.end(), predecessors_[v].begin(), predecessors_[v].end());
    }
    return reached;
  }

  std::vector<IdomVertex> vertices_;
  std::vector<std::vector<std::size_t>> predecessors_;
};

// Whether only the root ends a path, as in rule graphs.
bool allLeadToRoot(std::size_t size, const Edges& edges) {
  std::vector<bool> isContinued(size, false);
  for (const auto& [from, to] : edges) isContinued[from] = true;
  return std::find(isContinued.begin(), isContinued.end() - 1, false) == isContinued.end() - 1;
}

std::string textOf(const Edges& edges) {
  std::ostringstream text;
  for (const auto& [from, to] : edges) text << from << "->" << to << ' ';
  return text.str();
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
    Graph graph(expected.size(), edges);
    EXPECT_EQ(graph.computed(), expected) << textOf(edges);
    EXPECT_EQ(graph.byRemoval(), expected) << textOf(edges);
  }
}

// Every graph whose edges lead from lower to higher numbers, up to six vertices.
TEST(PostDominators, AgreeWithRemovalOnAllSmallGraphs) {
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
      Graph graph(size, edges);
      ASSERT_EQ(graph.computed(), graph.byRemoval()) << size << " vertices: " << textOf(edges);
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
  Edges chain;
  Edges ladder;
  for (std::size_t i = 0; i + 1 < kSize; ++i) {
    chain.emplace_back(i, i + 1);
    ladder.emplace_back(i, i + 1);
    ladder.emplace_back(i, kSize - 1);
  }
  Edges row = chain;
  for (std::size_t i = 0; i < kSize / 2; ++i) row.emplace_back(i, kSize / 2);
  row.erase(row.begin() + kSize / 2 - 1);
  row.insert(row.begin() + kSize / 2 - 1, {kSize / 2 - 1, kSize - 1});
  Graph chained(kSize, chain);
  Graph laddered(kSize, ladder);
  Graph rowed(kSize, row);
  for (std::size_t i = 0; i + 1 < kSize; ++i) {
    ASSERT_EQ(&chained[i].postDominator(), &chained[i + 1]);
    ASSERT_EQ(&laddered[i].postDominator(), &laddered.root());
    ASSERT_EQ(&rowed[i].postDominator(), i < kSize / 2 ? &rowed.root() : &rowed[i + 1]);
  }
}

}  // namespace
}  // namespace tavrix
