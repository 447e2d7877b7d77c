// How generated output is recognised in saved tables. The generator writes these marks, the
// restore-text writer drops the lines that hold one.
#pragma once

namespace tavrix {

// In every generated rule.
inline constexpr char kRuleMark[] = "-m comment --comment ipt_compiler";
// Begins the name of every generated chain.
inline constexpr char kChainPrefix[] = "ipt_compiler_";

}  // namespace tavrix
