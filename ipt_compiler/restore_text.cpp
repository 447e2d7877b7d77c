// The merge of a saved table with generated rules. Since the restore tool replaces the whole table,
// what is not copied here is deleted from the kernel: that is how the output of the last run goes
// and how foreign rules stay.
#include "ipt_compiler/restore_text.h"

#include <ostream>

#include "ipt_compiler/chain_generation.h"
#include "ipt_compiler/generated_marks.h"

namespace tavrix {
namespace {

using HookList = std::list<ChainHook>;

// Whether an earlier run wrote the line. The word is looked for first, which most lines lack.
bool isGenerated(std::string_view line) {
  const auto has = [line](std::string_view text) {
    return line.find(text) != std::string_view::npos;
  };
  return has("ipt_compiler") && (has(kChainPrefix) || has(kRuleMark));
}

// How far the output has come in one hooked chain.
struct ChainProgress {
  std::uint32_t ruleCount;  // rules of the chain written so far, foreign ones only
  HookList::iterator next;  // the first hook that is not generated yet
};

class RestoreTextWriter {
 public:
  RestoreTextWriter(std::ostream& out, HookMap& hooks) : out_(out), hooks_(hooks) {}

  // line: one saved line with its newline. It must exist until writeCopied is called.
  void writeLine(std::string_view line) {
    if (isGenerated(line)) return;
    if (line.front() == ':') {
      writeDeclaration(line);
    } else {
      if (line == "COMMIT\n") emitEndHooks();
      writeOtherLine(line);
    }
  }

  void writeCopied() {
    out_ << copied_;
    copied_ = {};
  }

 private:
  void writeDeclaration(std::string_view line) {
    const std::string_view chain = line.substr(1, line.find(' ') - 1);
    const auto hooked = hooks_.find(chain);
    copy(line);
    if (hooked == hooks_.end()) return;
    const auto [entry, isNew] = progress_.insert({hooked->first, {0, hooked->second.begin()}});
    emitHooksAt(entry->second.next, hooked->second.end(), entry->second.ruleCount);
  }

  // Copies the line, and counts it if it is a rule: if it begins with "-A" and a chain name.
  void writeOtherLine(std::string_view line) {
    copy(line);
    if (!line.starts_with("-A ")) return;
    line.remove_prefix(3);
    const std::string_view chain = line.substr(0, line.find(' '));
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
      writeCopied();
      if (next->text) {
        next->text->write(chainCounter_, out_);
      } else {
        compileHook(chainCounter_, out_, next->program, next->chain, next->ownChain);
      }
    }
  }

  // Lines that stand side by side in the saved text are written together.
  void copy(std::string_view line) {
    if (copied_.data() + copied_.size() != line.data()) writeCopied();
    copied_ = {copied_.empty() ? line.data() : copied_.data(), copied_.size() + line.size()};
  }

  std::ostream& out_;
  HookMap& hooks_;
  std::string_view copied_;         // saved lines that are still to be written
  std::uint32_t chainCounter_ = 0;  // one numbering for all hooks of the table
  std::map<std::string_view, ChainProgress, std::less<>> progress_;
};

}  // namespace

void writeRestoreText(std::ostream& out, const std::string& savedText, HookMap& hooks) {
  RestoreTextWriter writer(out, hooks);
  std::string lastLine;  // if it has no newline
  std::string_view rest = savedText;
  while (!rest.empty()) {
    const std::size_t newline = rest.find('\n');
    if (newline == std::string_view::npos) {
      lastLine.append(rest).append("\n");
      writer.writeLine(lastLine);
      break;
    }
    writer.writeLine(rest.substr(0, newline + 1));
    rest.remove_prefix(newline + 1);
  }
  writer.writeCopied();
}

}  // namespace tavrix
