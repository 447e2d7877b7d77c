// Any token list, one token per line: read as statements and as a condition, or refused with an
// error of the readers. What was read can be compiled.
#include <sstream>
#include <stdexcept>

#include "ipt_compiler/chain_generation.h"
#include "ipt_compiler/export/ipt_lang.h"
#include "ipt_compiler/rule_model.h"
#include "tests/fuzz/fuzz_input.h"

namespace {

using namespace tavrix;

void compile(IptProg program) {
  std::uint32_t counter = 0;
  std::ostringstream out;
  compileHook(counter, out, program, "PREROUTING", false);
}

template <class Read>
void readOrRefuse(const char* error, Read read) {
  try {
    read();
  } catch (const IptCompileFailed&) {
    // A leaf that is no rule text.
  } catch (const std::invalid_argument& refused) {
    const std::string_view what = refused.what();
    fuzz::require(what == error || what == "Invalid serialized matches!", std::string(what));
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::vector<std::string> lines = fuzz::linesOf(fuzz::textOf(data, size));
  const IptTokens tokens(lines.begin(), lines.end());

  readOrRefuse("Invalid serialized targets!", [&tokens] {
    IptProg all = makeEmptyProg();
    for (auto position = tokens.begin(); position != tokens.end();) {
      const auto before = position;
      IptProg statement = parseSerializedTargets(position, tokens.end());
      fuzz::require(position > before && position <= tokens.end(), "a statement has tokens");
      all = sequence({all, statement});
    }
    compile(std::move(all));
  });
  readOrRefuse("Invalid serialized matches!", [&tokens] {
    auto position = tokens.begin();
    IptCond condition = parseSerializedMatches(position, tokens.end());
    fuzz::require(position == tokens.end(), "a condition has all tokens");
    IptProg body = makeTarget("-j ACCEPT", "fuzz", 1);
    compile(IptProg(If(condition).then({body})));
  });
  return 0;
}
