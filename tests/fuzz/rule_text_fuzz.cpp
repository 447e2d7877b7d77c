// Any rule text: refused with the error of rule text, or kept in a form that reads back as itself.
#include "ipt_compiler/rule_parser.h"
#include "ipt_compiler/tokenizer.h"
#include "tests/fuzz/fuzz_input.h"

namespace {

using namespace tavrix;

void checkTokens(const std::string& text) {
  std::size_t end = 0;
  for (Token token = nextToken(text, 0); token.exists(); token = nextToken(text, token.end())) {
    fuzz::require(token.start >= end && token.length > 0 && token.end() <= text.size(),
                  "tokens lie one after another inside the text");
    end = token.end();
  }
  const std::string joined = normalizeTokens(text);
  fuzz::require(normalizeTokens(joined) == joined, "joined tokens are joined already");
}

void checkTarget(const std::string& text) {
  try {
    const IptTarget target = parseTarget(text, "fuzz", 1);
    fuzz::require(target.text == normalizeTokens(text), "a target keeps its tokens");
    fuzz::require(parseTarget(target.text, "fuzz", 1).text == target.text, "a target reads back");
  } catch (const IptCompileFailed& error) {
    // what() is a C string, so the text is quoted up to a NUL in it.
    const std::string quoted = "fuzz:1: failed to parse '" + text;
    fuzz::require(std::string_view(error.what()).starts_with(quoted.c_str()),
                  "the error quotes the text");
  }
}

void checkMatches(const std::string& text) {
  try {
    const IptMatchList list = parseMatches(text, "fuzz", 1);
    fuzz::require(list.elementCount == list.items.size(), "the element count is the length");
    int kind = 0;
    for (const IptMatch& match : list.items) {
      fuzz::require(matchKind(match) >= kind, "matches are sorted by kind");
      kind = matchKind(match);
    }
    // Of three or more options the text of one may run on into the next, so only a single one has
    // to read back.
    if (list.items.size() == 1) {
      const std::string& alone = matchText(list.items.front());
      fuzz::require(matchesText(parseMatches(alone, "fuzz", 1)) == alone, "a match reads back");
    }
  } catch (const IptCompileFailed& error) {
    fuzz::require(std::string_view(error.what()).starts_with("fuzz:1: failed to parse '"),
                  error.what());
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text = fuzz::textOf(data, size);
  checkTokens(text);
  checkTarget(text);
  checkMatches(text);
  return 0;
}
