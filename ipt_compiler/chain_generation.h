// Turns a rule program into chains and rules of restore text. A conditional region ends where its
// paths meet again; a region that more than one place reaches becomes a chain of its own, the rest
// is written inline.
#pragma once

#include <cstdint>
#include <iosfwd>
#include <string_view>

#include "ipt_compiler/hook_text.h"
#include "ipt_compiler/rule_program.h"

namespace tavrix {

// Compiles a program.
//   program    compiled in place: it gets an exit node and is simplified. Only its last node may
//              lack a next one, which the builders see to
//   chainName  the chain from which the program hangs
//   ownChain   the chain holds nothing after the program: control may run off its end
// Throws std::logic_error if the program's last node was continued already, and
// std::invalid_argument if one of its nodes is part of another analysis.
HookText generate(IptProg& program, std::string_view chainName, bool ownChain);

// The same, written to `out`.
//   counter  number of the next generated chain of this table; raised by each one made
void compileHook(std::uint32_t& counter, std::ostream& out, IptProg& program,
                 std::string_view chainName, bool ownChain);

}  // namespace tavrix
