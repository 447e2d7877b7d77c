// A rule program and the place in a table where its rules go.
#pragma once

#include <cstdint>
#include <memory>
#include <string_view>

#include "ipt_compiler/hook_text.h"
#include "ipt_compiler/rule_program.h"

namespace tavrix {

// After the last saved rule of the chain.
inline constexpr std::uint32_t kHookAtEnd = 0xFFFFFFFF;

struct ChainHook {
  std::string_view chain;  // a built-in chain of the table; a string literal
  std::uint32_t position;  // 0: before the chain's saved rules, n: after the n-th, or kHookAtEnd
  bool ownChain;           // the chain holds nothing else: see generate
  IptProg program;
  // What the program was compiled to; null if it was not. Hooks of one chain name may share it.
  std::shared_ptr<const HookText> text = nullptr;
};

}  // namespace tavrix
