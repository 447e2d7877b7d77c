// The merge of a saved table with generated rules. Since the restore tool replaces the whole table,
// what is not copied here is deleted from the kernel: that is how the output of the last run goes
// and how foreign rules stay.
#include "ipt_compiler/restore_text.h"

#include <ostream>
#include <sstream>

#include "ipt_compiler/chain_generation.h"
#include "ipt_compiler/generated_marks.h"

namespace tavrix {
namespace {

using HookList = std::list<ChainHook>;

// How far the output has come in one hooked chain.
struct ChainProgress {
  std::uint32_t ruleCount;  // rules of the chain written so far, foreign ones only
  HookList::iterator next;  // the first hook that is not generated yet
};

class RestoreTextWriter {
 public:
  RestoreTextWriter(std::ostream& out, HookMap& hooks) : out_(out), hooks_(hooks) {}

  // line: one saved line with its newline.
  void writeLine(std::string_view line) {
    if (line.find(kRuleMark) != std::string_view::npos ||
        line.find(kChainPrefix) != std::string_view::npos) {
      return;
    }
    if (line.front() == ':') {
      writeDeclaration(line);
    } else {
      if (line == "COMMIT\n") emitEndHooks();
      writeOtherLine(line);
    }
  }

 private:
  void writeDeclaration(std::string_view line) {
    const std::string_view chain = line.substr(1, line.find(' ') - 1);
    const auto hooked = hooks_.find(chain);
    out_ << line;
    if (hooked == hooks_.end()) return;
    // The key is the hook's literal, since the line's buffer is used again.
    const auto [entry, isNew] = progress_.insert({hooked->first, {0, hooked->second.begin()}});
    emitHooksAt(entry->second.next, hooked->second.end(), entry->second.ruleCount);
  }

  // Copies the line, and counts it if it is a rule: if it begins with "-A" and a chain name.
  void writeOtherLine(std::string_view line) {
    out_ << line;
    const std::size_t blank = line.find(' ');
    if (blank == std::string_view::npos || line.substr(0, blank) != "-A") return;
    const std::size_t nameStart = blank + 1;
    const std::string_view chain = line.substr(nameStart, line.find(' ', nameStart) - nameStart);
    // The save tools declare every chain before its rules; a rule of another chain is only copied.
    const auto entry = progress_.find(chain);
    if (entry == progress_.end()) return;
    ++entry->second.ruleCount;
    emitHooksAt(entry->second.next, hooks_.find(chain)->second.end(), entry->second.ruleCount);
  }

  void emitEndHooks() {
    for (auto& [chain, progress] : progress_) {
      emitHooksAt(progress.next, hooks_.find(chain)->second.end(), kHookAtEnd);
    }
  }

  // Generates the hooks from `next` on that have exactly this position. None is skipped, which is
  // intended: a hook whose position the chain does not reach holds back even those at kHookAtEnd.
  void emitHooksAt(HookList::iterator& next, HookList::iterator end, std::uint32_t position) {
    for (; next != end && next->position == position; ++next) {
      std::ostringstream block;
      compileHook(chainCounter_, block, next->program, next->chain, next->ownChain);
      out_ << block.str();
    }
  }

  std::ostream& out_;
  HookMap& hooks_;
  std::uint32_t chainCounter_ = 0;  // one numbering for all hooks of the table
  std::map<std::string_view, ChainProgress, std::less<>> progress_;
};

}  // namespace

void writeRestoreText(std::ostream& out, const std::string& savedText, HookMap& hooks) {
  RestoreTextWriter writer(out, hooks);
  std::istringstream saved(savedText);
  for (std::string line; std::getline(saved, line);) {
    line += '\n';
    writer.writeLine(line);
  }
}

}  // namespace tavrix
