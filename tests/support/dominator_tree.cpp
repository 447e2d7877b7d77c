#include "tests/support/dominator_tree.h"

#include <boost/graph/adjacency_list.hpp>
#include <boost/graph/dominator_tree.hpp>

namespace test_support {

std::vector<std::size_t> postDominatorsByBoost(std::size_t size, const Edges& edges,
                                               std::size_t exit) {
  using Graph = boost::adjacency_list<boost::vecS, boost::vecS, boost::bidirectionalS>;
  Graph reversed(size);
  for (const auto& [from, to] : edges) boost::add_edge(to, from, reversed);

  const std::size_t none = boost::graph_traits<Graph>::null_vertex();
  std::vector<std::size_t> dominators(size, none);
  boost::lengauer_tarjan_dominator_tree(
      reversed, exit,
      boost::make_iterator_property_map(dominators.begin(), get(boost::vertex_index, reversed)));
  for (std::size_t& dominator : dominators) {
    if (dominator == none) dominator = size;
  }
  return dominators;
}

}  // namespace test_support
