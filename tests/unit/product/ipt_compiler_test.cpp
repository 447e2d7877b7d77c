// One pass over one table: the snapshot, the filing of hooks, the commit. The tool is a script of
// the test's own, and the restore command is looked at and not run.
#include "ipt_compiler/ipt_compiler.h"

#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/wait.h>
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

  // Makes the save tool print the text and end with the status. Returns the tool's name.
  std::string toolThatSaves(const std::string& text, int status = 0) {
    writeFile(dir_ / "table", text);
    writeScript(dir_ / "tool-save",
                "#!/bin/sh\ncat '" + (dir_ / "table") + "'\nexit " + std::to_string(status) + "\n");
    return dir_ / "tool";
  }

  // The restore text of a compiler on that table, after what `addHooks` does to it.
  template <class AddHooks>
  std::string restoreText(const std::string& table, AddHooks addHooks) {
    const XtablesLock lock;
    IptCompiler compiler(lock, toolThatSaves(table), "mangle");
    addHooks(compiler);
    compiler.writeRestoreText(dir_ / "restore");
    return readFile(dir_ / "restore");
  }

  std::string snapshotOf(const std::string& table) {
    return restoreText(table, [](IptCompiler&) {});
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
  EXPECT_EQ(snapshotOf("no newline"), "no newline\n");
}

// Lines are read in pieces of 1023 bytes.
TEST_F(IptCompilerTest, JoinsLongLines) {
  for (const std::size_t length : {1021U, 1022U, 1023U, 1024U, 1025U, 2046U, 2047U, 100'000U}) {
    const std::string table = "# " + std::string(length - 2, 'x') + "\n# next\n";
    EXPECT_EQ(snapshotOf(table), table) << length;
  }
}

TEST_F(IptCompilerTest, CutsAPieceAtItsFirstNul) {
  EXPECT_EQ(snapshotOf(std::string("ab\0cd\nef\n", 9)), "abef\n");
  // The first piece of a long line ends at its 1023rd byte, the first "b".
  EXPECT_EQ(snapshotOf(std::string("a\0", 2) + std::string(1020, 'x') + "bcde\n"), "acde\n");
}

TEST_F(IptCompilerTest, TakesWhatAFailingSaveToolPrinted) {
  const XtablesLock lock;
  IptCompiler compiler(lock, toolThatSaves("*nat\n", 3), "nat");
  compiler.writeRestoreText(dir_ / "restore");
  EXPECT_EQ(readFile(dir_ / "restore"), "*nat\n");
}

TEST_F(IptCompilerTest, TakesNothingFromAMissingSaveTool) {
  const XtablesLock lock;
  testing::internal::CaptureStderr();  // the shell says that there is no such tool
  IptCompiler compiler(lock, dir_ / "missing", "nat");
  EXPECT_NE(testing::internal::GetCapturedStderr(), "");
  compiler.writeRestoreText(dir_ / "restore");
  EXPECT_EQ(readFile(dir_ / "restore"), "");
}

// The message has braces where a name could be expected.
TEST_F(IptCompilerTest, FailsWhenNoProcessCanBeStarted) {
  const XtablesLock lock;
  systemCalls().popenFails = true;
  EXPECT_EQ(errorText<std::runtime_error>([&] { IptCompiler(lock, "iptables", "nat"); }),
            "Can't exec {toolName}-save");
}

TEST_F(IptCompilerTest, IgnoresAPathThatCannotBeWritten) {
  const XtablesLock lock;
  IptCompiler compiler(lock, toolThatSaves("*nat\n"), "nat");
  compiler.writeRestoreText(dir_ / "no such directory/restore");
}

TEST_F(IptCompilerTest, FilesHooksByPositionWhateverTheirOrder) {
  const std::string table = "*nat\n:INPUT A\n-A INPUT -j X\n-A INPUT -j Y\nCOMMIT\n";
  EXPECT_EQ(restoreText(table,
                        [](IptCompiler& compiler) {
                          compiler.addHook(hook("INPUT", kHookAtEnd, "-j End"));
                          compiler.addHook(hook("INPUT", 1, "-j One"));
                          compiler.addHook(hook("INPUT", 0, "-j Zero"));
                          compiler.addHook(hook("INPUT", 2, "-j Two"));
                        }),
            "*nat\n:INPUT A\n" + generatedRule("INPUT", "Zero") + "-A INPUT -j X\n" +
                generatedRule("INPUT", "One") + "-A INPUT -j Y\n" + generatedRule("INPUT", "Two") +
                generatedRule("INPUT", "End") + "COMMIT\n");
}

// Half of all positions would be negative as signed numbers: one such is filed after 1, so only
// the hook at 1 can be placed.
TEST_F(IptCompilerTest, ComparesPositionsAsUnsignedNumbers) {
  EXPECT_EQ(restoreText(":INPUT A\n-A INPUT -j X\nCOMMIT\n",
                        [](IptCompiler& compiler) {
                          compiler.addHook(hook("INPUT", 0x80000000U, "-j Never"));
                          compiler.addHook(hook("INPUT", 1, "-j One"));
                        }),
            ":INPUT A\n-A INPUT -j X\n" + generatedRule("INPUT", "One") + "COMMIT\n");
}

TEST_F(IptCompilerTest, KeepsTheOrderOfHooksAtOnePosition) {
  EXPECT_EQ(restoreText(":INPUT A\nCOMMIT\n",
                        [](IptCompiler& compiler) {
                          for (const char* target : {"-j A", "-j B", "-j C"}) {
                            compiler.addHook(hook("INPUT", kHookAtEnd, target));
                            compiler.addHook(hook("INPUT", 0, target));
                          }
                        }),
            ":INPUT A\n" + generatedRule("INPUT", "A") + generatedRule("INPUT", "B") +
                generatedRule("INPUT", "C") + generatedRule("INPUT", "A") +
                generatedRule("INPUT", "B") + generatedRule("INPUT", "C") + "COMMIT\n");
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

// Runs the body in a process with a /tmp of its own; its failures fail the test. Skips where no
// such process can be made.
template <class Body>
void withPrivateTmp(Body body) {
  constexpr int kRefused = 77;
  const pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    // No exception may leave the child into the test runner.
    try {
      if (!makePrivateTmp()) _exit(kRefused);
      body();
    } catch (const std::exception& error) {
      ADD_FAILURE() << error.what();
    }
    std::exit(testing::Test::HasFailure() ? 1 : 0);
  }
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  if (WIFEXITED(status) && WEXITSTATUS(status) == kRefused) {
    GTEST_SKIP() << "no mount namespace: "
                 << "the commit writes to a fixed place in /tmp";
  }
  ASSERT_EQ(status, 0);
}

constexpr const char* kRestoreFile = "/tmp/ipt_compiler_out";

TEST(IptCompilerCommit, WritesTheTextAndPipesItIntoTheRestoreTool) {
  withPrivateTmp([] {
    const test_support::TempDir dir;
    resetSystemCalls(dir / "lock");
    const XtablesLock lock;
    std::vector<std::string> commands;
    std::string textAtCommand;
    systemCalls().onSystem = [&](const std::string& command) {
      commands.push_back(command);
      textAtCommand = readFile(kRestoreFile);
    };
    writeFile(kRestoreFile, std::string(10'000, 'x'));
    writeFile(dir / "table", "*nat\n:INPUT A\n-A INPUT -j X\nCOMMIT\n");
    writeScript(dir / "tool-save", "#!/bin/sh\ncat '" + (dir / "table") + "'\n");
    IptCompiler compiler(lock, dir / "tool", "nat");

    compiler.commit(hook("INPUT", kHookAtEnd, "-j A"), hook("INPUT", kHookAtEnd, "-j B"));

    EXPECT_EQ(commands, (std::vector<std::string>{"cat /tmp/ipt_compiler_out | "
                                                  "LD_PRELOAD=/usr/lib/libxtlock_intercept.so " +
                                                  (dir / "tool") + "-restore"}));
    EXPECT_EQ(textAtCommand, "*nat\n:INPUT A\n-A INPUT -j X\n" + generatedRule("INPUT", "A") +
                                 generatedRule("INPUT", "B") + "COMMIT\n");
    EXPECT_EQ(readFile(kRestoreFile), textAtCommand);
  });
}

TEST(IptCompilerCommit, FailsWithAnyResultButSuccessAndLeavesTheText) {
  withPrivateTmp([] {
    const test_support::TempDir dir;
    resetSystemCalls(dir / "lock");
    const XtablesLock lock;
    writeScript(dir / "tool-save", "#!/bin/sh\necho '*nat'\n");
    for (const int result : {1 << 8, 2 << 8, 127 << 8, 9, -1}) {
      systemCalls().systemResult = result;
      IptCompiler compiler(lock, dir / "tool", "nat");
      EXPECT_EQ(errorText<std::runtime_error>([&] { compiler.commit(hook("INPUT", 0, "-j A")); }),
                "failed to commit");
      EXPECT_EQ(readFile(kRestoreFile), "*nat\n");
    }
  });
}

// What was written before the error stays.
TEST(IptCompilerCommit, StartsNoToolWhenAHookFails) {
  withPrivateTmp([] {
    const test_support::TempDir dir;
    resetSystemCalls(dir / "lock");
    const XtablesLock lock;
    bool started = false;
    systemCalls().onSystem = [&started](const std::string&) { started = true; };
    writeScript(dir / "tool-save", "#!/bin/sh\nprintf ':INPUT A\\n-A INPUT -j X\\nCOMMIT\\n'\n");
    IptCompiler compiler(lock, dir / "tool", "nat");
    ChainHook continued = hook("INPUT", 1, "-j A");
    sequence({continued.program, makeEmptyProg()});
    EXPECT_EQ(errorText<std::logic_error>([&] { compiler.commit(std::move(continued)); }),
              "IPT compiler: Internal error. setNext() twice.");
    EXPECT_FALSE(started);
    EXPECT_EQ(readFile(kRestoreFile), ":INPUT A\n-A INPUT -j X\n");
  });
}

}  // namespace
}  // namespace tavrix
