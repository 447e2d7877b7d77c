// Any configuration of the language: the generated chains do what the program says. The bytes
// choose tokens from a vocabulary, so that most inputs are programs.
#include <array>
#include <stdexcept>

#include "ipt_compiler/rule_model.h"
#include "tests/fuzz/fuzz_input.h"
#include "tests/support/rule_source.h"

namespace {

// At most seven texts, so that every packet can be tried. No family selector: duplicates of one are
// dropped, with a meaning of their own.
constexpr std::array<std::string_view, 32> kVocabulary = {
    "IF",   "THEN", "ELSE",    "ELSEIF",       "FI",       "AND",       "OR",
    "(",    ")",    "NOT",     "-p tcp",       "-p udp",   "NOT-p tcp", "-s 10.0.0.1",
    "-m a", "-m b", "NOT-m c", "-i br-lan",    "NOT -m a", "-j A",      "-j B",
    "-j C", "-j D", "-j E",    "IF",           "THEN",     "FI",        "FI",
    "AND",  "OR",   "-m c",    "NOT -i br-lan"};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size > 200) return 0;
  std::vector<std::string> tokens;
  for (std::size_t i = 0; i < size; ++i) {
    tokens.emplace_back(kVocabulary.at(data[i] % kVocabulary.size()));
  }
  std::uint64_t packets = 0;
  try {
    const auto difference = test_support::findDifference(tokens, packets);
    fuzz::require(!difference, difference ? test_support::describe(tokens, *difference) : "");
  } catch (const tavrix::IptCompileFailed&) {
    // Not a program.
  } catch (const std::invalid_argument&) {
    // Not a program.
  }
  return 0;
}
