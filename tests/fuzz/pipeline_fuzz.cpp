// Any configuration of both rule sets: the generated chains do what each rule program says. The
// bytes choose from settings and from tokens of the language, so that most inputs are
// configurations.
#include <array>
#include <stdexcept>

#include "ipt_compiler/rule_model.h"
#include "tests/fuzz/fuzz_input.h"
#include "tests/support/configuration.h"
#include "tests/support/hooked_chains.h"
#include "tests/support/program_comparison.h"

namespace {

// No family selector: where one stands twice, the rules may mean something else than the program.
constexpr std::array<std::string_view, 32> kTokens = {
    "IF",   "THEN", "ELSE",    "ELSEIF",       "FI",       "AND",       "OR",
    "(",    ")",    "NOT",     "-p tcp",       "-p udp",   "NOT-p tcp", "-s 10.0.0.1",
    "-m a", "-m b", "NOT-m c", "-i br-lan",    "NOT -m a", "-j A",      "-j B",
    "-j C", "-j D", "-m e",    "IF",           "THEN",     "FI",        "FI",
    "AND",  "OR",   "-m c",    "NOT -i br-lan"};

// For one user and, with another label, for a second one.
constexpr std::array<std::string_view, 32> kSettings = {"option label_user1 '5'",
                                                        "option mac_set_user1 'macs'",
                                                        "list mac_user1 '02:00:00:00:00:01'",
                                                        "list mac_user1 '02:00:00:00:00:02'",
                                                        "list mac_label_user1 '101'",
                                                        "list mac_label_user1 '102'",
                                                        "list class_user1 'games'",
                                                        "list class_user1 'video'",
                                                        "list class_label_user1 '201'",
                                                        "list class_label_user1 '202'",
                                                        "option reject_user1 '1'",
                                                        "option reject_user1 '01'",
                                                        "option blacklist_v4_user1 'black4'",
                                                        "option blacklist_v6_user1 'black6'",
                                                        "option keywords_user1 'words'",
                                                        "option host_counter_user1 '7'",
                                                        "option app_counter_user1 '8'",
                                                        "list class_reject_user1 'games'",
                                                        "list class_reject_user1 'video'",
                                                        "list class_games_except_user1 'chess'",
                                                        "list class_games_except_user1 'go'",
                                                        "list class_video_except_user1 'news'",
                                                        "option label_user2 '6'",
                                                        "option mac_set_user2 'macs'",
                                                        "option keywords_user2 'words'",
                                                        "list class_reject_user2 'games'",
                                                        "option blacklist_v4_user2 'black4'",
                                                        "list class_user2 ''",
                                                        "list user_list '1'",
                                                        "list user_list '2'",
                                                        "list user_list '03'",
                                                        "list class_label_user1 'not a label'"};

std::string configurationFrom(const std::uint8_t* data, std::size_t size) {
  std::string queue = "config nfnlq 'nfnlq'\n\toption queue_first '2'\n\toption queue_last '3'\n";
  std::string users =
      "config kovsel 'kovsel'\n\toption label_user1 '4'\n\toption label_user2 '6'\n";
  for (std::size_t i = 0; i < size; ++i) {
    const std::size_t choice = data[i] % 32;
    switch (data[i] / 64) {
      case 0:
      case 1:
        queue += "\tlist pre_targets '" + std::string(kTokens.at(choice)) + "'\n";
        break;
      case 2:
        queue += "\tlist matches '" + std::string(kTokens.at(choice)) + "'\n";
        break;
      default:
        users += '\t' + std::string(kSettings.at(choice)) + '\n';
        break;
    }
  }
  return queue + users;
}

// Whether the rule sets make a program of the configuration: a value may be no rule text, tokens
// may be no program. Nothing that is thrown after that is an error of the configuration.
bool makesProgram(const test_support::HookedChain& hook) {
  try {
    hook.makeProgram();
    return true;
  } catch (const tavrix::IptCompileFailed&) {
    return false;
  } catch (const std::invalid_argument& refused) {
    const std::string_view what = refused.what();
    fuzz::require(what.starts_with("Invalid serialized ") || what.starts_with("kovsel: user "),
                  refused.what());
    return false;
  }
}

void compare(const std::string& configuration, const test_support::HookedChain& hook) {
  if (!makesProgram(hook)) return;
  std::uint64_t packets = 0;
  const auto difference = test_support::findDifference(hook.makeProgram, hook.chain, packets);
  fuzz::require(!difference, difference ? configuration + test_support::describe(*difference) : "");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size > 150) return 0;
  const std::string configuration = configurationFrom(data, size);
  test_support::setConfiguration(configuration);
  for (const test_support::HookedChain& hook : test_support::kHookedChains)
    compare(configuration, hook);
  return 0;
}
