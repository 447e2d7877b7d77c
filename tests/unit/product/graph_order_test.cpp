// The lists in which the analyses hold vertices, and the errors when two analyses meet.
#include "ipt_compiler/graph_order.h"

#include <gtest/gtest.h>

#include <iterator>
#include <list>
#include <stdexcept>
#include <vector>

#include "ipt_compiler/ir_graph.h"
#include "ipt_compiler/post_dominators.h"
#include "ipt_compiler/simplification.h"
#include "tests/unit/product/error_text.h"

namespace tavrix {
namespace {

using test_support::errorText;

struct Vertex : DfsVertex<Vertex>, TopoSortVertex<Vertex> {};

TEST(DfsVertex, VisitPutsTheVertexAtTheFrontOnce) {
  Vertex a;
  Vertex b;
  Vertex::OrderList order;
  EXPECT_TRUE(a.visit(order));
  EXPECT_TRUE(b.visit(order));
  EXPECT_FALSE(a.visit(order));
  EXPECT_FALSE(b.visit(order));
  EXPECT_EQ(order.vertices, (std::list<Vertex*>{&b, &a}));
  EXPECT_EQ(a.dfsMembership, &order);
}

TEST(DfsVertex, VisitOfAVertexOfAnotherOrderIsAConflict) {
  Vertex vertex;
  Vertex::OrderList order;
  Vertex::OrderList other;
  vertex.visit(order);
  EXPECT_EQ(errorText<std::invalid_argument>([&] { vertex.visit(other); }), "DfsVertex conflict!");
  EXPECT_TRUE(other.vertices.empty());
  EXPECT_EQ(vertex.dfsMembership, &order);
}

TEST(DfsVertex, OrderLetsGoOfItsVerticesAtItsEnd) {
  Vertex vertex;
  {
    Vertex::OrderList order;
    vertex.visit(order);
  }
  EXPECT_EQ(vertex.dfsMembership, nullptr);
  Vertex::OrderList next;
  EXPECT_TRUE(vertex.visit(next));
}

// Puts the vertex into a list as a sort does when it registers one.
void addTo(Vertex::EntryList& list, Vertex& vertex, std::size_t index) {
  list.push_back({&vertex, index});
  vertex.topoMembership = {&list, std::prev(list.end())};
}

std::vector<Vertex*> verticesOf(const Vertex::EntryList& list) {
  std::vector<Vertex*> vertices;
  for (const Vertex::Entry& entry : list) vertices.push_back(entry.vertex);
  return vertices;
}

TEST(TopoSortVertex, MoveToTakesTheEntryToTheEndOfTheOtherList) {
  Vertex a;
  Vertex b;
  Vertex c;
  Vertex::EntryList ready;
  Vertex::EntryList pending;
  addTo(ready, a, 10);
  addTo(ready, b, 11);
  addTo(pending, c, 12);
  a.moveTo(pending, ready);
  EXPECT_EQ(verticesOf(ready), (std::vector<Vertex*>{&b}));
  EXPECT_EQ(verticesOf(pending), (std::vector<Vertex*>{&c, &a}));
  EXPECT_EQ(pending.back().nodeIndex, 10U);
  EXPECT_EQ(a.topoMembership.owner, &pending);
  c.moveTo(pending, pending);
  EXPECT_EQ(verticesOf(pending), (std::vector<Vertex*>{&a, &c}));
  c.moveTo(pending, pending);
  EXPECT_EQ(verticesOf(pending), (std::vector<Vertex*>{&a, &c}));
  EXPECT_EQ(pending.size(), 2U);
}

TEST(TopoSortVertex, MoveToFromAListThatDoesNotHoldTheVertexIsAConflict) {
  Vertex held;
  Vertex free;
  Vertex::EntryList ready;
  Vertex::EntryList pending;
  addTo(ready, held, 0);
  EXPECT_EQ(errorText<std::invalid_argument>([&] { held.moveTo(ready, pending); }),
            "TopoSortVertex conflict!");
  EXPECT_EQ(errorText<std::invalid_argument>([&] { free.moveTo(ready, ready); }),
            "TopoSortVertex conflict!");
  EXPECT_EQ(verticesOf(ready), (std::vector<Vertex*>{&held}));
  EXPECT_TRUE(pending.empty());
}

TEST(GraphOrder, SimplificationOfANodeThatAnotherAnalysisHoldsIsAConflict) {
  const auto first = makeProxy();
  const auto last = makeProxy();
  first->setNext(last);
  ProxyIrNode::OrderList order;
  last->visit(order);
  EXPECT_EQ(errorText<std::invalid_argument>([&] { simplify(first, last); }),
            "DfsVertex conflict!");
  EXPECT_EQ(first->dfsMembership, nullptr);
  EXPECT_EQ(first->topoMembership.owner, nullptr);
  EXPECT_EQ(last->topoMembership.owner, nullptr);
  EXPECT_EQ(last->pendingPredecessors, 0U);
  EXPECT_TRUE(first->topoSuccessors.empty());
}

TEST(GraphOrder, SimplificationOfANodeInAnotherSortIsAConflict) {
  const auto first = makeProxy();
  const auto last = makeProxy();
  first->setNext(last);
  ProxyIrNode::EntryList otherSort = {{last.get(), 0}};
  last->topoMembership = {&otherSort, otherSort.begin()};
  EXPECT_EQ(errorText<std::invalid_argument>([&] { simplify(first, last); }),
            "TopoSortVertex conflict!");
  last->topoMembership = {};
}

TEST(GraphOrder, SimplificationLeavesTheScratchFieldsEmpty) {
  const auto first = makeProxy();
  const auto middle = makeProxy();
  const auto last = makeProxy();
  first->setNext(middle);
  middle->setNext(last);
  simplify(first, last);
  for (const auto& node : {first, middle, last}) {
    EXPECT_EQ(node->dfsMembership, nullptr);
    EXPECT_EQ(node->topoMembership.owner, nullptr);
    EXPECT_EQ(node->pendingPredecessors, 0U);
    EXPECT_TRUE(node->topoSuccessors.empty());
  }
}

}  // namespace
}  // namespace tavrix
