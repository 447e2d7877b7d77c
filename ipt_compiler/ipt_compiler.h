// One pass over one table: takes the text of the table as it is, puts the chains and rules of the
// pass's hooks into it and restores it.
#pragma once

#include <string>
#include <string_view>

#include "ipt_compiler/chain_hook.h"
#include "ipt_compiler/restore_text.h"

namespace tavrix {

class IrGenRules;
class XtablesLock;

class IptCompiler {
 public:
  // Reads the live table with "<toolName>-save -t <table>". A save tool that fails leaves an empty
  // or partial text and no error. The lock is not used: it is the proof that the caller holds it.
  // Throws std::runtime_error "Can't exec {toolName}-save", with these braces, if no process can be
  // started.
  IptCompiler(const XtablesLock& lock, std::string_view toolName, std::string_view table);
  IptCompiler(const IptCompiler&) = delete;
  IptCompiler& operator=(const IptCompiler&) = delete;

  // Files the hook under its chain, after the hooks of a lower or the same position.
  void addHook(ChainHook hook);

  // Adds the hook, or both in the order given, writes the table's restore text and runs the restore
  // tool on it, which replaces the table in one step. To be called once. Throws what
  // writeRestoreText throws, and std::runtime_error if the tool cannot be run, fails or dies.
  void commit(ChainHook hook);
  void commit(ChainHook first, ChainHook second);

  // Writes the restore text to a file, which is created or truncated; one that cannot be written
  // is no error. Throws what compileHook throws.
  void writeRestoreText(std::string_view path);

  // The class that compiles one hook, defined in chain_generation.cpp.
  using IrGenRules = tavrix::IrGenRules;

 protected:
  HookMap hooks;
  std::string toolName;
  std::string savedText;  // as printed; what follows a NUL byte in a line is lost
};

}  // namespace tavrix
