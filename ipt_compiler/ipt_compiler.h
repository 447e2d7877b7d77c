// One pass over one table: takes the text of the table as it is, puts the chains and rules of the
// pass's hooks into it and restores it. restore_text.cpp does the merge, chain_generation.cpp the
// compilation of one hook.
#pragma once

#include <cstdint>
#include <functional>
#include <iosfwd>
#include <list>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "ipt_compiler/chain_hook.h"

namespace tavrix {

class XtablesLock;

class IptCompiler {
 public:
  // Per chain name, the hooks of the chain in ascending position. The keys are the hooks' literals.
  using HookMap = std::map<std::string_view, std::list<ChainHook>, std::less<>>;

  // Reads the live table with "<toolName>-save -t <table>". A save tool that fails leaves an empty
  // or partial text and no error. The lock is not used: it is the proof that the caller holds it.
  // Throws std::runtime_error when no process can be started.
  IptCompiler(const XtablesLock& lock, std::string_view toolName, std::string_view table);
  IptCompiler(const IptCompiler&) = delete;
  IptCompiler& operator=(const IptCompiler&) = delete;

  // Files the hook under its chain, behind the hooks of a lower or the same position.
  void addHook(ChainHook hook);

  // Adds the hooks in the order given, writes the table's restore text and runs the restore tool on
  // it, which replaces the table in one step. To be called once. Throws what writeRestoreText
  // throws, and std::runtime_error when the tool cannot be run, fails or dies.
  void commit(std::vector<ChainHook> passHooks);

  // Writes the restore text to a file, which is created or truncated; one that cannot be written
  // is no error. Throws what compileHook throws.
  void writeRestoreText(std::string_view path);

  // Merges saved table text and hooks: copies the saved lines that no earlier run generated and
  // puts each hook's chains and rules at its position. The hooks' programs are compiled in place.
  // Throws what compileHook throws.
  static void writeRestoreText(std::ostream& out, const std::string& savedText, HookMap& hooks);

  // Turns one rule program into chain declarations and rules on `out`.
  //   counter    number of the next generated chain of this table; raised by each one made
  //   program    compiled in place: it gets an exit node and is simplified; as the builders make
  //              it, so that only its last node has no next one
  //   chainName  the chain from which the program hangs
  //   ownChain   the chain holds nothing after the program, so its end may be reached freely
  // Throws std::logic_error when the program's last node was continued already, and
  // std::invalid_argument when one of its nodes is part of another analysis.
  static void compileHook(std::uint32_t& counter, std::ostream& out, IptProg& program,
                          std::string_view chainName, bool ownChain);

  class IrGenRules;  // chain_generation.h

 private:
  HookMap hooks;
  std::string toolName;
  std::string savedText;
};

}  // namespace tavrix
