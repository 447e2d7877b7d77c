// The pictures of "graph", read back: a packet that goes through one meets the targets that it
// meets in the rule program.
#include <gtest/gtest.h>

#include <algorithm>
#include <iostream>
#include <map>
#include <regex>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "inspect/commands.h"
#include "tests/support/configuration.h"
#include "tests/support/hooked_chains.h"
#include "tests/support/program_comparison.h"
#include "tests/support/random_configuration.h"

namespace inspect_test {
namespace {

struct Shape {
  std::string kind;                // Graphviz's word
  std::vector<std::string> lines;  // of the label
  std::string next;
  std::string noMatch;  // empty if there is only one way
};

using Picture = std::map<std::string, Shape>;

Picture pictureOf(const test_support::HookedChain& hook, bool simplified) {
  std::ostringstream out;
  tavrix::inspect::Screen screen(out);
  tavrix::inspect::graph({.simplified = simplified, .words = {hook.table, hook.chain}}, screen);

  static const std::regex shapeLine(
      "  (\\w+) \\[shape=(\\w+)(?:, label=\"?(.*?)\"?)?(?:, xlabel=\".*\")?\\];");
  static const std::regex edgeLine(
      "  (\\w+) -> (\\w+)(?: \\[label=(yes|no)(, style=dashed)?\\])?;");
  Picture picture;
  std::istringstream lines(out.str());
  for (std::string line; std::getline(lines, line);) {
    std::smatch found;
    if (std::regex_match(line, found, edgeLine)) {
      Shape& from = picture[found[1]];
      (found[3] == "no" ? from.noMatch : from.next) = found[2];
    } else if (std::regex_match(line, found, shapeLine)) {
      Shape& shape = picture[found[1]];
      shape.kind = found[2];
      const std::string label =
          std::regex_replace(found[3].str(), std::regex("\\\\([\"\\\\])"), "$1");
      for (std::size_t begin = 0; begin < label.size();) {
        const std::size_t end = std::min(label.find("\\n", begin), label.size());
        shape.lines.push_back(label.substr(begin, end - begin));
        begin = end + 2;
      }
    } else if (!line.starts_with("digraph \"") && line != "  node [fontname=monospace];" &&
               line != "}") {
      throw std::runtime_error("not understood: " + line);
    }
  }
  return picture;
}

std::vector<std::string> metIn(const Picture& picture, const test_support::Holds& holds) {
  std::vector<std::string> met;
  for (std::string at = "start"; !at.empty();) {
    const Shape& shape = picture.at(at);
    bool isTrue = true;
    if (shape.kind == "box") met.insert(met.end(), shape.lines.begin(), shape.lines.end());
    if (shape.kind == "diamond") {
      for (const std::string& line : shape.lines) {
        const std::vector<std::string> options = test_support::splitOptions(line);
        isTrue = isTrue && std::ranges::all_of(options, holds);
      }
    }
    at = isTrue || shape.noMatch.empty() ? shape.next : shape.noMatch;
  }
  return met;
}

TEST(Pictures, AreOfTheProgram) {
  constexpr std::uint64_t kSeeds = 25;
  int pictures = 0;
  std::size_t packets = 0;
  for (std::uint64_t seed = 1; seed <= kSeeds; ++seed) {
    test_support::setConfiguration(test_support::randomConfiguration(seed));
    for (const test_support::HookedChain& hook : test_support::kHookedChains) {
      std::optional<tavrix::IptProg> program;
      try {
        program = hook.makeProgram();
      } catch (const std::exception&) {
        EXPECT_ANY_THROW(pictureOf(hook, false));
        continue;
      }
      const test_support::MatchNumbers numbers = test_support::matchNumbersOf(*program);
      for (const bool simplified : {false, true}) {
        const Picture picture = pictureOf(hook, simplified);
        for (const test_support::Packet& packet : test_support::packetsOver(numbers.size())) {
          const test_support::Holds holds = test_support::holdsIn(numbers, packet);
          ASSERT_EQ(metIn(picture, holds), test_support::evaluate(*program, holds))
              << "seed " << seed << ", " << hook.table << ' ' << hook.chain;
          ++packets;
        }
        ++pictures;
      }
    }
  }
  std::cout << "graph: " << pictures << " pictures of " << kSeeds << " seeds, " << packets
            << " packets\n";
  EXPECT_GT(pictures, 6 * static_cast<int>(kSeeds));
}

}  // namespace
}  // namespace inspect_test
