#include "tests/golden/doc_examples.h"

#include <sstream>
#include <stdexcept>

namespace golden {
namespace {

struct FencedBlock {
  std::size_t line = 0;
  std::string kind;
  std::string text;
};

[[noreturn]] void fail(std::size_t line, const std::string& what) {
  throw std::runtime_error("line " + std::to_string(line) + ": " + what);
}

std::vector<FencedBlock> readFencedBlocks(const std::string& page) {
  constexpr std::string_view fence = "```";
  std::vector<FencedBlock> blocks;
  bool isInside = false;
  std::istringstream lines(page);
  std::size_t number = 1;
  for (std::string line; std::getline(lines, line); ++number) {
    if (line.starts_with(fence)) {
      if (!isInside) blocks.push_back({number, line.substr(fence.size()), ""});
      isInside = !isInside;
    } else if (isInside) {
      blocks.back().text += line + "\n";
    }
  }
  if (isInside) fail(blocks.back().line, "the block does not end");
  return blocks;
}

}  // namespace

std::vector<DocExample> readDocExamples(const std::string& page) {
  std::vector<DocExample> examples;
  bool isOutcomeDue = false;
  for (const FencedBlock& block : readFencedBlocks(page)) {
    if (!isOutcomeDue && block.kind == "uci") {
      examples.push_back({block.line, block.text, false, ""});
    } else if (isOutcomeDue && (block.kind == "rules" || block.kind == "error")) {
      examples.back().isError = block.kind == "error";
      examples.back().outcome = block.text;
    } else {
      fail(block.line, "no block of kind \"" + block.kind + "\" is due");
    }
    isOutcomeDue = !isOutcomeDue;
  }
  if (isOutcomeDue) fail(examples.back().line, "the example has no outcome");
  return examples;
}

}  // namespace golden
