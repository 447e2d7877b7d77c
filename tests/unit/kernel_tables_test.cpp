// The real tools on tables in files: the machine's own tables stay out of reach, and a file is a
// whole table or refused. What the tools take and print there is compared with the kernel's tables
// in ../router.
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
using test_support::writeFile;

const std::string kTools = FILE_TOOLS;

class TablesInFiles : public testing::Test {
 protected:
  ProcessResult run(const std::vector<std::string>& command, const std::string& input = "") const {
    return test_support::runProcess(
        command,
        {.input = input,
         .variables = {{"TESTBED_TABLES", tables_}, {"XTABLES_LOCKFILE", directory_ / "lock"}}});
  }

  test_support::TempDir directory_;
  std::string tables_ = directory_ / "tables";
};

TEST_F(TablesInFiles, NeedADirectoryThatTheEnvironmentNamesAndWholeFilesInIt) {
  const ProcessResult unset =
      run({"env", "-u", "TESTBED_TABLES", kTools + "/iptables-save", "-t", "nat"});
  EXPECT_EQ(unset.err, "iptables-save: TESTBED_TABLES: names no directory\n");
  EXPECT_EQ(unset.exitStatus, 1);
  fs::create_directory(tables_);
  writeFile(tables_ + "/iptables.nat", "half a tab");
  EXPECT_EQ(run({kTools + "/iptables-save", "-t", "nat"}).err,
            "iptables-save: " + tables_ + "/iptables.nat: damaged\n");
  fs::remove_all(tables_);
  writeFile(tables_, "");
  EXPECT_EQ(run({kTools + "/iptables-restore"}, "*nat\nCOMMIT\n").err,
            "iptables-restore: " + tables_ + "/iptables.nat: Not a directory\n");
}

TEST_F(TablesInFiles, StayWholeWhenTheToolIsKilledWhileItWritesOne) {
  run({kTools + "/iptables-restore"}, "*nat\n-A OUTPUT -j RETURN\nCOMMIT\n");
  const std::string before = test_support::readFile(tables_ + "/iptables.nat");
  std::string large = "*nat\n";
  for (int i = 0; i < 1000; ++i) large += "-A OUTPUT -j RETURN\n";
  // A file that grows beyond the limit is a signal.
  const ProcessResult killed =
      run({"sh", "-c", "ulimit -c 0; ulimit -f 8; exec " + kTools + "/iptables-restore"},
          large + "COMMIT\n");
  EXPECT_EQ(killed.signal, SIGXFSZ);
  EXPECT_EQ(test_support::readFile(tables_ + "/iptables.nat"), before);
}

TEST_F(TablesInFiles, MayHaveAChainOfManyLinksAndNoLoop) {
  constexpr int kLinks = 20000;
  std::string text = "*filter\n";
  for (int link = 0; link <= kLinks; ++link) text += ":c" + std::to_string(link) + " - [0:0]\n";
  text += "-A INPUT -j c0\n";
  for (int link = 0; link < kLinks; ++link) {
    const std::string jump = "-A c" + std::to_string(link) + " -j c" + std::to_string(link + 1);
    text += jump + "\n" + jump + "\n";
  }
  EXPECT_EQ(run({kTools + "/iptables-restore"}, text + "COMMIT\n").err, "");
  text += "-A c" + std::to_string(kLinks) + " -j c0\nCOMMIT\n";
  EXPECT_EQ(run({kTools + "/iptables-restore"}, text).err,
            "iptables-restore: line " + std::to_string(3 * kLinks + 5) + " failed\n");
}

TEST_F(TablesInFiles, AreReachedByTheCallsOfTheToolsOnly) {
  setenv("TESTBED_TABLES", tables_.c_str(), 1);
  void* library = dlopen((kTools + "/libkernel_tables.so").c_str(), RTLD_NOW | RTLD_LOCAL);
  ASSERT_NE(library, nullptr) << dlerror();
  auto* openSocket = reinterpret_cast<decltype(&socket)>(dlsym(library, "socket"));
  auto* setOption = reinterpret_cast<decltype(&setsockopt)>(dlsym(library, "setsockopt"));
  auto* getOption = reinterpret_cast<decltype(&getsockopt)>(dlsym(library, "getsockopt"));
  std::string request(sizeof(ipt_replace), '\0');
  request.replace(0, 3, "nat");
  const auto replaceWith = [&](std::size_t offset, std::uint32_t value) {
    std::memcpy(request.data() + offset, &value, sizeof value);
    const auto length = static_cast<socklen_t>(request.size());
    return setOption(-1, IPPROTO_IP, IPT_SO_SET_REPLACE, request.data(), length) == 0 ? 0 : errno;
  };
  EXPECT_EQ(replaceWith(offsetof(ipt_replace, valid_hooks), 0x1f), EINVAL);
  EXPECT_EQ(replaceWith(offsetof(ipt_replace, valid_hooks), 0x1b), EINVAL);
  EXPECT_EQ(replaceWith(offsetof(ipt_replace, num_entries), 1U << 31), EINVAL);
  EXPECT_EQ(replaceWith(offsetof(ipt_replace, size), 1U << 31), EINVAL);
  EXPECT_FALSE(fs::exists(tables_));

  char value = 0;
  socklen_t length = sizeof value;
  EXPECT_DEATH(openSocket(AF_INET, SOCK_RAW, IPPROTO_ICMP), "such call: socket");
  EXPECT_DEATH(getOption(-1, IPPROTO_IPV6, 70, &value, &length), "such call: getsockopt");
  EXPECT_DEATH(setOption(-1, IPPROTO_IP, 66, &value, length), "such call: setsockopt");
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
