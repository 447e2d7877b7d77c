// The merge of a saved table with generated rules.
#pragma once

#include <functional>
#include <iosfwd>
#include <list>
#include <map>
#include <string>
#include <string_view>

#include "ipt_compiler/chain_hook.h"

namespace tavrix {

// Per chain name, the hooks of the chain in ascending position. The keys are the hooks' literals.
using HookMap = std::map<std::string_view, std::list<ChainHook>, std::less<>>;

// Copies the saved lines that no earlier run generated and puts each hook's chains and rules at its
// position. The hooks' programs are compiled in place. Throws what compileHook throws.
void writeRestoreText(std::ostream& out, const std::string& savedText, HookMap& hooks);

}  // namespace tavrix
