// The real tools on tables in files: what becomes of the files, what is refused to a broken or
// hostile caller, and that the machine's own tables stay out of reach.
#include <dlfcn.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <linux/netfilter_ipv4/ip_tables.h>
#include <sys/socket.h>

#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "tests/support/process.h"
#include "tests/support/temp_dir.h"

namespace {

namespace fs = std::filesystem;
using test_support::ProcessResult;
using test_support::readFile;
using test_support::writeFile;

const std::string kTools = FILE_TOOLS;
const std::string kText = "*nat\n-A PREROUTING -p tcp -j REDIRECT --to-ports 8099\nCOMMIT\n";

class TablesInFiles : public testing::Test {
 protected:
  ProcessResult run(const std::vector<std::string>& command, const std::string& input = "") const {
    return test_support::runProcess(
        command,
        {.input = input,
         .variables = {{"TESTBED_TABLES", tables_}, {"XTABLES_LOCKFILE", directory_ / "lock"}}});
  }
  ProcessResult restore(const std::string& text) const {
    return run({kTools + "/iptables-restore"}, text);
  }
  ProcessResult save() const { return run({kTools + "/iptables-save", "-t", "nat"}); }

  std::vector<std::string> files() const {
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(tables_))
      names.push_back(entry.path().filename());
    return names;
  }

  test_support::TempDir directory_;
  std::string tables_ = directory_ / "tables";
};

TEST_F(TablesInFiles, AreMadeByARestoreOnly) {
  EXPECT_EQ(save().exitStatus, 0);
  EXPECT_THAT(files(), testing::IsEmpty());
  EXPECT_EQ(restore(kText).err, "");
  EXPECT_THAT(files(), testing::ElementsAre("iptables.nat"));
  EXPECT_THAT(save().out,
              testing::HasSubstr("\n-A PREROUTING -p tcp -j REDIRECT --to-ports 8099\n"));
}

TEST_F(TablesInFiles, StayWholeWhenTheToolIsKilledWhileItWritesOne) {
  restore(kText);
  const std::string before = readFile(tables_ + "/iptables.nat");
  std::string large = "*nat\n";
  for (int i = 0; i < 1000; ++i) large += "-A OUTPUT -j RETURN\n";
  // A file that grows beyond the limit is a signal.
  const ProcessResult killed =
      run({"sh", "-c", "ulimit -c 0; ulimit -f 8; exec " + kTools + "/iptables-restore"},
          large + "COMMIT\n");
  EXPECT_EQ(killed.signal, SIGXFSZ);
  EXPECT_EQ(readFile(tables_ + "/iptables.nat"), before);
}

TEST_F(TablesInFiles, MayHaveAChainOfManyLinksAndNoLoop) {
  constexpr int kLinks = 20000;
  std::string text = "*filter\n";
  for (int link = 0; link <= kLinks; ++link) text += ":c" + std::to_string(link) + " - [0:0]\n";
  text += "-A INPUT -j c0\n-A OUTPUT -g c7\n";
  for (int link = 0; link < kLinks; ++link) {
    const std::string jump = "-A c" + std::to_string(link) + " -j c" + std::to_string(link + 1);
    text += jump + "\n" + jump + "\n";
  }
  EXPECT_EQ(restore(text + "COMMIT\n").err, "");
  const ProcessResult loop = restore(text + "-A c" + std::to_string(kLinks) + " -j c0\nCOMMIT\n");
  EXPECT_EQ(loop.err, "iptables-restore: line " + std::to_string(3 * kLinks + 6) + " failed\n");
  EXPECT_EQ(loop.exitStatus, 1);
}

TEST_F(TablesInFiles, ThatAreDamagedAreReported) {
  restore(kText);
  const std::string path = tables_ + "/iptables.nat";
  const std::string whole = readFile(path);
  const auto expectDamaged = [&](const std::string& content) {
    writeFile(path, content);
    const ProcessResult result = save();
    EXPECT_EQ(result.err, "iptables-save: " + path + ": damaged\n");
    EXPECT_EQ(result.exitStatus, 1);
  };
  for (const std::size_t size : {std::size_t{0}, sizeof(ipt_getinfo) - 1, whole.size() - 1}) {
    expectDamaged(whole.substr(0, size));
  }
  expectDamaged(whole + "x");
  expectDamaged(std::string(whole).replace(0, 3, "raw"));
  // Any byte may be wrong: the tool may say what it likes, but it may not crash.
  for (std::size_t at = 0; at < whole.size(); at += 7) {
    writeFile(path, std::string(whole).replace(at, 1, "\xfe"));
    EXPECT_EQ(save().signal, 0) << "byte " << at;
  }
}

TEST_F(TablesInFiles, NeedADirectoryThatTheEnvironmentNames) {
  const ProcessResult unset =
      run({"env", "-u", "TESTBED_TABLES", kTools + "/iptables-save", "-t", "nat"});
  EXPECT_EQ(unset.err, "iptables-save: TESTBED_TABLES: names no directory\n");
  EXPECT_EQ(unset.exitStatus, 1);
  writeFile(tables_, "");
  EXPECT_EQ(restore(kText).err,
            "iptables-restore: " + tables_ + "/iptables.nat: Not a directory\n");
}

// The library's own calls, as a hostile program would use them.
TEST_F(TablesInFiles, AreReachedByTheCallsOfTheToolsOnly) {
  setenv("TESTBED_TABLES", tables_.c_str(), 1);
  void* library = dlopen((kTools + "/libkernel_tables.so").c_str(), RTLD_NOW | RTLD_LOCAL);
  ASSERT_NE(library, nullptr) << dlerror();
  auto* openSocket = reinterpret_cast<decltype(&socket)>(dlsym(library, "socket"));
  auto* setOption = reinterpret_cast<decltype(&setsockopt)>(dlsym(library, "setsockopt"));
  auto* getOption = reinterpret_cast<decltype(&getsockopt)>(dlsym(library, "getsockopt"));

  std::string request(sizeof(ipt_replace), '\0');
  const auto replaceWith = [&](std::size_t offset, std::uint32_t value) {
    std::memcpy(request.data() + offset, &value, sizeof value);
    const socklen_t length = static_cast<socklen_t>(request.size());
    return setOption(-1, IPPROTO_IP, IPT_SO_SET_REPLACE, request.data(), length) == 0 ? 0 : errno;
  };
  EXPECT_EQ(replaceWith(offsetof(ipt_replace, num_entries), 0), ENOENT);
  request.replace(0, 3, "nat");
  EXPECT_EQ(replaceWith(offsetof(ipt_replace, valid_hooks), 0x1f), EINVAL);
  EXPECT_EQ(replaceWith(offsetof(ipt_replace, valid_hooks), 0x1b), EINVAL);
  EXPECT_EQ(replaceWith(offsetof(ipt_replace, num_entries), 1U << 31), EINVAL);
  EXPECT_EQ(replaceWith(offsetof(ipt_replace, size), 1U << 31), EINVAL);
  EXPECT_FALSE(fs::exists(tables_));

  std::string entries(sizeof(ipt_get_entries), '\0');
  entries.replace(0, 3, "nat");
  socklen_t length = sizeof(ipt_get_entries);
  EXPECT_EQ(getOption(-1, IPPROTO_IP, IPT_SO_GET_ENTRIES, entries.data(), &length), -1);
  EXPECT_EQ(errno, EAGAIN);
  EXPECT_DEATH(openSocket(AF_INET, SOCK_RAW, IPPROTO_ICMP), "such call: socket");
  EXPECT_DEATH(getOption(-1, IPPROTO_IPV6, 70, entries.data(), &length), "such call: getsockopt");
  EXPECT_DEATH(setOption(-1, IPPROTO_IP, 66, entries.data(), length), "such call: setsockopt");
  dlclose(library);
}

// A loader that cannot preload the library goes on without it.
TEST_F(TablesInFiles, AreTheOnlyOnesThatTheToolReaches) {
  const std::string tool = directory_ / "iptables-save";
  const std::string library = directory_ / "libkernel_tables.so";
  fs::copy_file(kTools + "/run_legacy_tool", tool);
  EXPECT_EQ(run({tool, "-t", "nat"}).err,
            "iptables-save: " + library + ": No such file or directory\n");
  writeFile(library, "not a library");
  const ProcessResult result = run({tool, "-t", "nat"});
  EXPECT_THAT(result.err, testing::HasSubstr("Permission denied (you must be root)"));
  EXPECT_EQ(result.exitStatus, 1);
  fs::create_directory(directory_ / "two words");
  fs::copy_file(tool, directory_ / "two words/iptables-save");
  fs::copy_file(library, directory_ / "two words/libkernel_tables.so");
  EXPECT_THAT(run({directory_ / "two words/iptables-save"}).err,
              testing::HasSubstr("the loader cannot preload from such a path"));
}

}  // namespace
