// A bus daemon that dies at every message of a run's only request, and configurations at the size
// that a message of the bus may have. Without its configuration a run ends before it takes the
// lock.
#include <string>
#include <vector>

#include "testbed/libubox/blob_buffer.h"
#include "testbed/uci/uci_parser.h"
#include "testbed/uci/uci_reply.h"
#include "tests/router/faults/fault_table.h"
#include "tests/router/product_run.h"
#include "tests/support/scripted_bus.h"
#include "tests/support/wire_bytes.h"

namespace fault_test {
namespace {

using test_support::uncaught;

const std::string kNoDaemon = uncaught("std::runtime_error", "Ubus: Failed to connect to ubusd.");
const std::string kConnectionFailed = uncaught("std::runtime_error", "Ubus: Connection failed");

using BusFaults = product_test::ProductTest;
INSTANTIATE_TEST_SUITE_P(Kinds, BusFaults, testing::Values("legacy"),
                         [](const auto& kind) { return kind.param; });

// The messages of a daemon, by the request that they answer; the first before any.
std::vector<std::vector<std::string>> daemonMessages() {
  constexpr std::uint32_t kObject = test_support::kScriptedObject;
  return {{wire::hello(1)},
          {wire::found(1, "uci", kObject), wire::status(1, 0, 0)},
          {wire::data(2, kObject, wire::table("values", "")), wire::objectStatus(2, kObject, 0)}};
}

// The daemon of the row says that and is gone.
Fault scripted(const std::string& name, const test_support::Conversation& conversation) {
  Fault fault;
  fault.name = name;
  fault.before =
      "script_bus << 'END'\n" + test_support::conversationLines({conversation}) + "END\n";
  fault.after = "start_bus\n";
  return fault;
}

TEST_P(BusFaults, OfADaemonThatDiesInAnyMessage) {
  std::vector<Fault> faults;
  test_support::Conversation said;
  int number = 0;
  for (const std::vector<std::string>& answer : daemonMessages()) {
    said.emplace_back();
    for (const std::string& message : answer) {
      ++number;
      for (const std::size_t length : {std::size_t{0}, message.size() / 2}) {
        test_support::Conversation cut = said;
        cut.back() += message.substr(0, length);
        Fault fault = scripted(
            "after " + std::to_string(length) + " bytes of message " + std::to_string(number), cut);
        fault.status = kAborted;
        fault.err = number == 1 ? kNoDaemon : kConnectionFailed;
        fault.keptTables = kAllTables;
        faults.push_back(fault);
      }
      said.back() += message;
    }
  }
  // The bus is not needed again: an empty configuration takes the rules of earlier runs away.
  Fault fault = scripted("after the last message", said);
  fault.otherTables = {{1, foreignTable(1)}, {4, foreignTable(4)}};
  faults.push_back(fault);
  checkFaults("faults of a bus daemon in its messages", faults,
              {.tables = GetParam(), .bus = false});
}

TEST_P(BusFaults, OfADaemonThatIsNotThere) {
  std::vector<Fault> faults = {
      {.name = "there is no daemon", .before = "stop_bus\n"},
      {.name = "a killed one has left its socket", .before = "kill_bus\n"},
      {.name = "it is killed before its first message",
       .before = "kill -STOP $bus\n",
       .during = "kill_bus\n"},
  };
  for (Fault& fault : faults) {
    fault.after = "start_bus\n";
    fault.status = kAborted;
    fault.err = kNoDaemon;
    fault.keptTables = kAllTables;
  }
  checkFaults("faults of a bus daemon that is not there", faults,
              {.tables = GetParam(), .bus = false});
}

TEST_P(BusFaults, OfADaemonThatIsKilledAfterAnyMessage) {
  if (const std::string reason = tracingRefusal(); !reason.empty()) GTEST_SKIP() << reason;
  // The program receives a message in two steps, the start and the rest, if there is one.
  const std::string after = "kill_bus; start_bus\n";
  const std::vector<Fault> faults = {
      {.name = "it is killed after its first message",
       .after = after,
       .options = "bus 9 1 $bus",
       .status = kAborted,
       .err = kConnectionFailed,
       .keptTables = kAllTables},
      {.name = "it is killed when it has found the object",
       .after = after,
       .options = "bus 9 5 $bus",
       .status = kAborted,
       .err = kConnectionFailed,
       .keptTables = kAllTables},
      {.name = "it is killed when it has sent the configuration",
       .after = after,
       .options = "bus 9 7 $bus"},
  };
  checkFaults("faults of a bus daemon that is killed", faults,
              {.tables = GetParam(), .bus = false});
}

// A configuration with nearly as many rules as the bus carries in one message.
constexpr std::size_t kConditions = 16000;

std::string condition(std::size_t number) {
  return "-p udp -m udp --dport " + std::to_string(number);
}

// A filler makes it as long as a message can be, and so much longer.
std::string largestConfiguration(std::size_t beyond) {
  std::string text =
      "config nfnlq 'nfnlq'\n"
      "  option queue_first '2'\n"
      "  option queue_last '2'\n"
      "  list matches '-p udp'\n";
  for (std::size_t number = 1; number <= kConditions; ++number) {
    text += "  list matches 'OR'\n  list matches '" + condition(number) + "'\n";
  }
  const auto withFiller = [&text](std::size_t length) {
    return text + "  option filler '" + std::string(length, 'x') + "'\n";
  };
  testbed::BlobBuffer reply;
  testbed::writeReply(testbed::parseUci(withFiller(0), "firewall_cpp"), reply.get());
  // A mebibyte, less the outer word, the object id and the data's own word.
  const std::size_t room = std::size_t{1024} * 1024 - 4 - 8 - 4 - reply.members().size();
  // Sizes go in steps of four bytes, and an empty value has its end in a step of its own.
  return withFiller(room / 4 * 4 + 3 + beyond);
}

// The mangle table of a family; chains of OUTPUT, whose hook is first, then those of PREROUTING.
std::string largestMangle(int pass) {
  const std::string tag = " -m comment --comment ipt_compiler";
  const std::string target = " -j NFQUEUE --queue-num 2 --queue-bypass\n";
  std::string chains;
  std::string rules;
  for (const int chain : {0, 2}) {
    const std::string name = "ipt_compiler_" + std::to_string(chain);
    const std::string queue = "ipt_compiler_" + std::to_string(chain + 1);
    chains += ":" + name + " - [0:0]\n:" + queue + " - [0:0]\n";
    rules += "-A " + name + " -p udp" + tag + " -g " + queue + "\n";
    for (std::size_t number = 1; number <= kConditions; ++number) {
      const bool isLast = number == kConditions;
      rules +=
          "-A " + name + " " + condition(number) + tag + (isLast ? target : " -g " + queue + "\n");
    }
    rules += "-A " + queue + tag + target;
  }
  std::string table = foreignTable(pass);
  table = withRules(table, "PREROUTING", "-A PREROUTING" + tag + " -j ipt_compiler_2\n");
  table = withRules(table, "OUTPUT", "-A OUTPUT" + tag + " -j ipt_compiler_0\n" + rules);
  return table.insert(table.find("-A "), chains);
}

TEST_P(BusFaults, OfAConfigurationOfALargestMessageAndOneBeyondIt) {
  const std::string config = "cat > $TESTBED_CONFIG_DIR/firewall_cpp << 'END'\n";
  const std::string small = config + kSmallConfig + "END\n";
  const std::vector<Fault> faults = {
      {.name = "the largest one",
       .before = config + largestConfiguration(0) + "END\n",
       .after = small,
       .otherTables = {{1, largestMangle(1)}, {4, largestMangle(4)}}},
      {.name = "one byte more",
       .before = config + largestConfiguration(1) + "END\n",
       .after = small,
       .status = kAborted,
       .err = uncaught("std::runtime_error", "Ubus: Unknown error"),
       .keptTables = kAllTables},
  };
  checkFaults("faults of a configuration's size", faults,
              {.tables = GetParam(),
               .err = "ubusd: /run/router/config/firewall_cpp: too long for a bus message\n"});
}

}  // namespace
}  // namespace fault_test
