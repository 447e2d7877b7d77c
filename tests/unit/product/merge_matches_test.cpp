// The merge of two match lists: examples to read, then every pair of short lists against a model.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <iostream>
#include <string>
#include <utility>
#include <vector>

#include "ipt_compiler/rule_model.h"
#include "ipt_compiler/rule_parser.h"
#include "tests/support/graph_text.h"

namespace tavrix {
namespace {

using test_support::listText;

struct MergeCase {
  std::vector<const char*> destination;  // one option each, in kind order
  std::vector<const char*> source;
  unsigned count;
  std::string destinationAfter;
  std::string sourceAfter;
};

void append(IptMatchList& list, const std::string& option) {
  list.items.splice(list.items.end(), parseMatches(option, "f", 1).items);
  ++list.elementCount;
}

IptMatchList listOf(const std::vector<const char*>& options) {
  IptMatchList list;
  for (const char* option : options) append(list, option);
  return list;
}

const std::vector<MergeCase> kCases = {
    // A duplicate of the family goes away and takes a count of the destination with it.
    {{"-4"}, {"-4"}, 1, "1 -4 (count 0)", " (count 1)"},
    {{"-4"}, {"! -4"}, 1, "1 -4 (count 0)", " (count 1)"},
    // The same option twice can mean two things: it stays.
    {{"-p tcp"}, {"-p tcp"}, 0, "3 -p tcp", "3 -p tcp"},
    {{"-p tcp"}, {"-p udp", "-m mark --mark 1"}, 1, "3 -p tcp | 10 -m mark --mark 1", "3 -p udp"},
    // Options that stay in front hold modules back, but only where modules stand already.
    {{"-p tcp", "-m mark --mark 1"},
     {"-p udp", "-m comment --comment x"},
     0,
     "3 -p tcp | 10 -m mark --mark 1",
     "3 -p udp | 10 -m comment --comment x"},
    // Modules that move as a block are not counted.
    {{"-p tcp", "-m mark --mark 1"},
     {"-s 10.0.0.1", "-m comment --comment x"},
     1,
     "3 -p tcp | 4 -s 10.0.0.1 | 10 -m mark --mark 1 | 10 -m comment --comment x",
     ""},
    // The block sets the counts right again after a dropped duplicate.
    {{"-4", "-m a"}, {"-4", "-m b"}, 1, "1 -4 | 10 -m a | 10 -m b", ""},
};

TEST(MergeMatches, MovesDropsOrLeavesEachSourceItem) {
  for (const MergeCase& mergeCase : kCases) {
    IptMatchList destination = listOf(mergeCase.destination);
    IptMatchList source = listOf(mergeCase.source);
    SCOPED_TRACE(listText(destination) + " <- " + listText(source));
    EXPECT_EQ(mergeMatches(destination, source), mergeCase.count);
    EXPECT_EQ(listText(destination), mergeCase.destinationAfter);
    EXPECT_EQ(listText(source), mergeCase.sourceAfter);
  }
}

TEST(MergeMatches, LeavesThePlacesOfBothLists) {
  IptMatchList destination = parseMatches("-p tcp", "here", 3);
  IptMatchList source = parseMatches("-s 1.2.3.4", "there", 4);
  EXPECT_EQ(mergeMatches(destination, source), 1U);
  EXPECT_STREQ(destination.file, "here");
  EXPECT_EQ(destination.line, 3);
  EXPECT_STREQ(source.file, "there");
  EXPECT_EQ(source.line, 4);
  const auto& moved = std::get<_IptMatches::Source>(destination.items.back());
  EXPECT_STREQ(moved.file, "there");
  EXPECT_EQ(moved.line, 4);
}

// A list as kinds and texts, merged item by item in vectors.
struct Model {
  struct Item {
    int kind;
    std::string text;
  };

  explicit Model(const IptMatchList& list) : count(list.elementCount) {
    for (const IptMatch& match : list.items) items.push_back({matchKind(match), matchText(match)});
  }

  std::vector<Item> items;
  std::size_t count;
};

bool hasKind(const std::vector<Model::Item>& items, int kind) {
  return std::any_of(items.begin(), items.end(),
                     [kind](const Model::Item& item) { return item.kind == kind; });
}

// Whether an item may move depends only on which kinds the destination had before the merge.
unsigned mergeModels(Model& destination, Model& source) {
  const std::vector<Model::Item> before = destination.items;
  std::vector<Model::Item> left;
  unsigned result = 0;
  for (const Model::Item& item : source.items) {
    if (!hasKind(before, item.kind)) {
      destination.items.push_back(item);
      ++destination.count;
      --source.count;
      ++result;
    } else if (item.kind <= 2) {
      --destination.count;
      ++result;
    } else {
      left.push_back(item);
    }
  }
  std::stable_sort(destination.items.begin(), destination.items.end(),
                   [](const Model::Item& a, const Model::Item& b) { return a.kind < b.kind; });
  if (!left.empty() && left.front().kind == 10) {
    destination.items.insert(destination.items.end(), left.begin(), left.end());
    destination.count += source.count;
    source.count = 0;
    left.clear();
  }
  source.items = left;
  return result;
}

std::string modelText(const Model& model) {
  std::string text;
  for (const Model::Item& item : model.items) {
    text += (text.empty() ? "" : " | ") + std::to_string(item.kind) + " " + item.text;
  }
  if (model.count != model.items.size()) text += " (count " + std::to_string(model.count) + ")";
  return text;
}

// All sorted lists of up to three options, with arguments that begin with that name.
std::vector<IptMatchList> allShortLists(const std::string& name) {
  constexpr const char* kOptions[] = {"-4 ", "-6 ", "-p ", "-s ", "-d ",
                                      "-i ", "-o ", "-f ", "-c ", "-m "};
  std::vector<IptMatchList> lists(1);
  for (std::size_t i = 0; i < lists.size(); ++i) {
    const std::size_t size = lists[i].items.size();
    if (size == 3) continue;
    for (int kind = size == 0 ? 1 : matchKind(lists[i].items.back()); kind <= 10; ++kind) {
      lists.push_back(lists[i]);
      append(lists.back(), kOptions[kind - 1] + name + std::to_string(size));
    }
  }
  return lists;
}

// All ten kinds: with other texts and with the same, and with element counts that are off the
// lengths, as a duplicate that was dropped earlier leaves them.
TEST(MergeMatches, AgreesWithTheModelOnAllShortLists) {
  const std::vector<IptMatchList> destinations = allShortLists("d");
  ASSERT_EQ(destinations.size(), 286U);
  std::size_t pairs = 0;
  for (const auto& [name, dropped] : {std::pair{"s", 0U}, {"d", 0U}, {"s", 1U}}) {
    const std::vector<IptMatchList> sources = allShortLists(name);
    for (const IptMatchList& destination : destinations) {
      for (IptMatchList source : sources) {
        IptMatchList merged = destination;
        merged.elementCount -= dropped;
        source.elementCount += dropped;
        Model mergedModel(merged);
        Model sourceModel(source);
        const std::string before = modelText(mergedModel) + " <- " + modelText(sourceModel);
        ASSERT_EQ(mergeMatches(merged, source), mergeModels(mergedModel, sourceModel)) << before;
        ASSERT_EQ(listText(merged), modelText(mergedModel)) << before;
        ASSERT_EQ(listText(source), modelText(sourceModel)) << before;
        ++pairs;
      }
    }
  }
  std::cout << "merge: " << pairs << " pairs of lists\n";
}

}  // namespace
}  // namespace tavrix
