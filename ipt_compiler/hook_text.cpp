// The form in which the text is kept. What stands in every line takes few bytes in it: a NUL byte
// and a number stand for the name of a chain, a NUL byte at the end of a line for the mark of a
// generated rule, and two NUL bytes for one in the text of a rule.
#include "ipt_compiler/hook_text.h"

#include <charconv>
#include <ostream>

#include "ipt_compiler/generated_marks.h"

namespace tavrix {
namespace {

constexpr char kEscape = '\0';
constexpr std::size_t kBlock = 16384;  // the text grows by blocks, so that it need not be copied

}  // namespace

std::string HookText::makeChainName() {
  return kEscape + std::to_string(chainCount_++);
}

void HookText::declareChain(std::string_view chain) {
  startLine();
  append(":");
  append(chain);
  append(" - [0:0]\n");
}

void HookText::addRule(std::string_view chain, std::string text, std::string_view jump,
                       std::string_view target) {
  for (std::size_t at = 0; (at = text.find(kEscape, at)) != std::string::npos; at += 2) {
    text.insert(at, 1, kEscape);
  }
  startLine();
  append("-A ");
  append(chain);
  append(" ");
  append(text);
  append(jump);
  append(target);
  append({"\0\n", 2});
}

void HookText::startLine() {
  if (!blocks_.empty() && blocks_.back().size() < kBlock) return;
  blocks_.emplace_back().reserve(kBlock + kBlock / 16);
}

void HookText::write(std::uint32_t& counter, std::ostream& out) const {
  std::string whole;
  for (std::string_view rest : blocks_) {
    whole.clear();
    for (std::size_t at = 0; (at = rest.find(kEscape)) != std::string_view::npos;) {
      whole += rest.substr(0, at);
      rest.remove_prefix(at + 1);
      if (rest.front() == '\n') {
        whole.append(" ").append(kRuleMark);
      } else if (rest.front() == kEscape) {
        whole += kEscape;
        rest.remove_prefix(1);
      } else {
        std::uint32_t number = 0;
        const char* const end = std::from_chars(rest.begin(), rest.end(), number).ptr;
        whole.append(kChainPrefix).append(std::to_string(counter + number));
        rest = {end, rest.end()};
      }
    }
    out << whole.append(rest);
  }
  counter += chainCount_;
}

}  // namespace tavrix
