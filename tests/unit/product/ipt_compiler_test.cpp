// One pass over one table: the snapshot, the filing of hooks, the commit. The tool is a script of
// the test's own, and the restore command is looked at and not run.
#include "ipt_compiler/ipt_compiler.h"

#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "firewall_cpp/xtables_lock.h"
#include "ipt_compiler/export/ipt_lang.h"
#include "tests/support/temp_dir.h"
#include "tests/unit/product/error_text.h"
#include "tests/unit/product/system_calls.h"

namespace tavrix {
namespace {

using test_support::errorText;
using test_support::readFile;
using test_support::resetSystemCalls;
using test_support::systemCalls;
using test_support::writeFile;
using test_support::writeScript;

class IptCompilerTest : public testing::Test {
 protected:
  IptCompilerTest() { resetSystemCalls(dir_ / "lock"); }

  // Makes the save tool print the text. Returns the tool's name.
  std::string toolThatSaves(const std::string& text) {
    writeFile(dir_ / "table", text);
    writeScript(dir_ / "tool-save", "#!/bin/sh\ncat '" + (dir_ / "table") + "'\n");
    return dir_ / "tool";
  }

  // The restore text of a compiler on that table.
  std::string restoreText(const std::string& table, const std::vector<ChainHook>& hooks = {}) {
    const XtablesLock lock;
    IptCompiler compiler(lock, toolThatSaves(table), "mangle");
    for (const ChainHook& hook : hooks) compiler.addHook(hook);
    compiler.writeRestoreText(dir_ / "restore");
    return readFile(dir_ / "restore");
  }

  test_support::TempDir dir_;
};

ChainHook hook(std::string_view chain, std::uint32_t position, const char* target) {
  return {chain, position, false, makeTarget(target, "f", 1)};
}

std::string generatedRule(const std::string& chain, const std::string& target) {
  return "-A " + chain + " -j " + target + " -m comment --comment ipt_compiler\n";
}

// It is the merge that ends the last line.
TEST_F(IptCompilerTest, KeepsTheSavedTextByteForByte) {
  struct Snapshot : IptCompiler {
    using IptCompiler::IptCompiler;
    using IptCompiler::savedText;
  };
  for (const std::string table : {"", "\n", "no newline", "*nat\nCOMMIT\n", "\r\n \t\x80\xff\n"}) {
    const XtablesLock lock;
    EXPECT_EQ(Snapshot(lock, toolThatSaves(table), "nat").savedText, table);
  }
  EXPECT_EQ(restoreText("no newline"), "no newline\n");
}

// Lines are read in pieces of 1023 bytes.
TEST_F(IptCompilerTest, JoinsLongLines) {
  for (const std::size_t length : {1021U, 1022U, 1023U, 1024U, 1025U, 2046U, 2047U, 100'000U}) {
    const std::string table = "# " + std::string(length - 2, 'x') + "\n# next\n";
    EXPECT_EQ(restoreText(table), table) << length;
  }
}

TEST_F(IptCompilerTest, CutsAPieceAtItsFirstNul) {
  EXPECT_EQ(restoreText(std::string("ab\0cd\nef\n", 9)), "abef\n");
  // The first piece of a long line ends at its 1023rd byte, the first "b".
  EXPECT_EQ(restoreText(std::string("a\0", 2) + std::string(1020, 'x') + "bcde\n"), "acde\n");
}

// The message has braces where a name could be expected.
TEST_F(IptCompilerTest, FailsWhenNoProcessCanBeStarted) {
  const XtablesLock lock;
  systemCalls().popenFails = true;
  EXPECT_EQ(errorText<std::runtime_error>([&] { IptCompiler(lock, "iptables", "nat"); }),
            "Can't exec {toolName}-save");
}

TEST_F(IptCompilerTest, FilesHooksByPositionWhateverTheirOrderAndKeepsThatOfEqualOnes) {
  EXPECT_EQ(restoreText("*nat\n:INPUT A\n-A INPUT -j X\n-A INPUT -j Y\nCOMMIT\n",
                        {hook("INPUT", kHookAtEnd, "-j End1"), hook("INPUT", 1, "-j One"),
                         hook("INPUT", 0, "-j Zero1"), hook("INPUT", kHookAtEnd, "-j End2"),
                         hook("INPUT", 2, "-j Two"), hook("INPUT", 0, "-j Zero2")}),
            "*nat\n:INPUT A\n" + generatedRule("INPUT", "Zero1") + generatedRule("INPUT", "Zero2") +
                "-A INPUT -j X\n" + generatedRule("INPUT", "One") + "-A INPUT -j Y\n" +
                generatedRule("INPUT", "Two") + generatedRule("INPUT", "End1") +
                generatedRule("INPUT", "End2") + "COMMIT\n");
}

// ---- commit, which writes to a fixed place in /tmp

// Gives this process a /tmp of its own; as an ordinary user in a user namespace, where the user's
// files need a name. False where that is refused.
bool makePrivateTmp() {
  const uid_t user = geteuid();
  const gid_t group = getegid();
  if (unshare(user == 0 ? CLONE_NEWNS : CLONE_NEWNS | CLONE_NEWUSER) != 0) return false;
  if (user != 0) {
    writeFile("/proc/self/uid_map", "0 " + std::to_string(user) + " 1\n");
    writeFile("/proc/self/setgroups", "deny");
    writeFile("/proc/self/gid_map", "0 " + std::to_string(group) + " 1\n");
  }
  return mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
         mount("tmpfs", "/tmp", "tmpfs", 0, nullptr) == 0;
}

void checkCommit() {
  const std::string restoreFile = "/tmp/ipt_compiler_out";
  const test_support::TempDir dir;
  resetSystemCalls(dir / "lock");
  const XtablesLock lock;
  std::vector<std::string> commands;
  std::string textAtCommand;
  systemCalls().onSystem = [&](const std::string& command) {
    commands.push_back(command);
    textAtCommand = readFile(restoreFile);
  };
  writeFile(restoreFile, std::string(10'000, 'x'));
  writeScript(dir / "tool-save",
              "#!/bin/sh\nprintf '*nat\\n:INPUT A\\n-A INPUT -j X\\nCOMMIT\\n'\n");
  const std::string text = "*nat\n:INPUT A\n-A INPUT -j X\n" + generatedRule("INPUT", "A");
  IptCompiler(lock, dir / "tool", "nat")
      .commit(hook("INPUT", kHookAtEnd, "-j A"), hook("INPUT", kHookAtEnd, "-j B"));
  EXPECT_EQ(commands, (std::vector<std::string>{"cat /tmp/ipt_compiler_out | "
                                                "LD_PRELOAD=/usr/lib/libxtlock_intercept.so " +
                                                (dir / "tool") + "-restore"}));
  EXPECT_EQ(textAtCommand, text + generatedRule("INPUT", "B") + "COMMIT\n");
  for (const int result : {1 << 8, 2 << 8, 127 << 8, 9, -1}) {
    systemCalls().systemResult = result;
    IptCompiler compiler(lock, dir / "tool", "nat");
    EXPECT_EQ(
        errorText<std::runtime_error>([&] { compiler.commit(hook("INPUT", kHookAtEnd, "-j A")); }),
        "failed to commit");
    EXPECT_EQ(readFile(restoreFile), text + "COMMIT\n");
  }

  // A hook that fails starts no tool; what was written before stays.
  commands.clear();
  ChainHook continued = hook("INPUT", 1, "-j A");
  sequence({continued.program, makeEmptyProg()});
  IptCompiler compiler(lock, dir / "tool", "nat");
  EXPECT_EQ(errorText<std::logic_error>([&] { compiler.commit(std::move(continued)); }),
            "IPT compiler: Internal error. setNext() twice.");
  EXPECT_EQ(commands, std::vector<std::string>());
  EXPECT_EQ(readFile(restoreFile), "*nat\n:INPUT A\n-A INPUT -j X\n");
}

// In a process with a /tmp of its own.
TEST(IptCompilerCommit, WritesTheTextAndPipesItIntoTheRestoreToolWhichMustSucceed) {
  constexpr int kRefused = 77;
  bool isRefused = false;
  EXPECT_EXIT(
      {
        if (!makePrivateTmp()) std::exit(kRefused);
        checkCommit();
        std::exit(HasFailure() ? 1 : 0);
      },
      [&isRefused](int status) {
        isRefused = testing::ExitedWithCode(kRefused)(status);
        return isRefused || status == 0;
      },
      "");
  if (isRefused) GTEST_SKIP() << "no mount namespace, which the fixed place in /tmp asks for";
}

}  // namespace
}  // namespace tavrix
