// Any saved text: foreign lines stay in order, a second writing gives the same text, and without
// hooks no generated line is left; with hooks there is a block for each that has its place. The
// first byte says where the hooks are.
#include <sstream>

#include "ipt_compiler/export/ipt_lang.h"
#include "ipt_compiler/restore_text.h"
#include "tests/fuzz/fuzz_input.h"

namespace {

using namespace tavrix;

bool isGenerated(const std::string& line) {
  return line.find("ipt_compiler_") != std::string::npos ||
         line.find("-m comment --comment ipt_compiler") != std::string::npos;
}

IptProg twoTargetsWhenTcp() {
  IptIfBlock block = If(makeMatches("-p tcp", "fuzz", 1));
  IptProg mark = makeTarget("-j MARK --set-mark 1", "fuzz", 1);
  IptProg accept = makeTarget("-j ACCEPT", "fuzz", 1);
  return block.then({mark, accept});
}

constexpr std::uint32_t kPositions[] = {0, 1, 2, kHookAtEnd};

HookMap hooksFor(std::uint8_t places) {
  HookMap hooks;
  hooks["INPUT"].push_back({"INPUT", kPositions[places & 3U], false, twoTargetsWhenTcp()});
  hooks["OUTPUT"].push_back(
      {"OUTPUT", kPositions[(places >> 2U) & 3U], false, twoTargetsWhenTcp()});
  hooks["OUTPUT"].push_back({"OUTPUT", kHookAtEnd, false, twoTargetsWhenTcp()});
  return hooks;
}

std::string write(const std::string& saved, HookMap hooks) {
  std::ostringstream out;
  writeRestoreText(out, saved, hooks);
  return out.str();
}

std::string foreignLines(const std::string& text) {
  std::string foreign;
  for (const std::string& line : fuzz::linesOf(text)) {
    if (!isGenerated(line)) foreign += line + "\n";
  }
  return foreign;
}

// How many of a chain's hooks have their place in a text without generated lines.
std::size_t placesIn(const std::string& foreign, const std::string& chain,
                     const std::vector<std::uint32_t>& positions) {
  std::size_t passed = 0;
  bool declared = false;
  std::uint32_t rules = 0;
  for (const std::string& line : fuzz::linesOf(foreign)) {
    const bool isDeclaration = line.starts_with(":" + chain + " ");
    const bool isRule = declared && line.starts_with("-A " + chain + " ");
    const bool isEnd = declared && line == "COMMIT";
    declared |= isDeclaration;
    rules += isRule ? 1 : 0;
    if (!isDeclaration && !isRule && !isEnd) continue;
    const std::uint32_t place = isEnd ? kHookAtEnd : rules;
    while (passed < positions.size() && positions[passed] == place) ++passed;
  }
  return passed;
}

// Every block begins with the declaration of the chain that the two targets need.
std::size_t blocksIn(const std::string& text) {
  std::size_t blocks = 0;
  for (const std::string& line : fuzz::linesOf(text)) {
    blocks += line.starts_with(":ipt_compiler_") ? 1 : 0;
  }
  return blocks;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  const std::string saved = fuzz::textOf(data + 1, size - 1);
  const std::string foreign = foreignLines(saved);

  const std::string once = write(saved, hooksFor(data[0]));
  fuzz::require(foreignLines(once) == foreign, "foreign lines stay in order");
  const std::size_t places =
      placesIn(foreign, "INPUT", {kPositions[data[0] & 3U]}) +
      placesIn(foreign, "OUTPUT", {kPositions[(data[0] >> 2U) & 3U], kHookAtEnd});
  fuzz::require(blocksIn(once) == places, "a block for every hook that has its place");
  fuzz::require(write(once, hooksFor(data[0])) == once, "a second writing gives the same text");
  fuzz::require(write(saved, {}) == foreign, "without hooks only foreign lines are left");
  return 0;
}
