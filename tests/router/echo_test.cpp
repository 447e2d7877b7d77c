// What the kernel holds is what the rule programs say: the product's chains are read back with the
// save tool and walked, and packets meet the targets that they meet in the graphs as built. The
// kernel prints rules in its own words, so the tools are asked what they print: each condition and
// each target stands alone in a rule of a chain that nothing jumps to.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <iostream>
#include <map>
#include <random>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "ipt_compiler/rule_parser.h"
#include "tests/router/product_run.h"
#include "tests/support/configuration.h"
#include "tests/support/graph_text.h"
#include "tests/support/hooked_chains.h"
#include "tests/support/random_source.h"

namespace product_test {
namespace {

using test_support::ChainRule;
using test_support::Chains;
using test_support::Holds;
using test_support::HookedChain;
using test_support::kHookedChains;
using test_support::StatementSource;

const std::vector<std::string> kFamilies = {"iptables", "ip6tables"};

const std::string kChain = "asked";

// In place of a printed option.
const std::string kAlways = "always";
const std::string kNever = "never";

std::string tagOf(int number) {
  return "-m comment --comment asked_" + std::to_string(number);
}

// A set has one family, and the tool of the other refuses a rule that names it.
bool isPrintedAsWritten(const std::string& text) {
  return text.starts_with("-j SET ");
}

int kindOf(const std::string& option) {
  return tavrix::matchKind(tavrix::parseMatches(option, "test", 1).items.front());
}

bool selectsFamily(const tavrix::IptMatch& match) {
  return std::holds_alternative<tavrix::_IptMatches::Ipv4>(match) ||
         std::holds_alternative<tavrix::_IptMatches::Ipv6>(match);
}

bool isPrinted(const tavrix::IptMatch& match) {
  return !selectsFamily(match) && !std::holds_alternative<tavrix::_IptMatches::Set_counters>(match);
}

// The conditions and targets of a table's programs, each once, and the words in which the kernel
// prints them. Options that it prints alike are one option.
class KernelWords {
 public:
  void add(const tavrix::IptProg& program) {
    const auto number = [this](const std::string& text) {
      numbers_.try_emplace(text, static_cast<int>(numbers_.size()));
    };
    const test_support::NodeNumbers nodes(*program.first);
    for (std::size_t i = 0; i < nodes.size(); ++i) {
      const std::string text = matchesText(nodes[i].matches());
      if (!text.empty()) {
        conditions_.try_emplace(text, nodes[i].matches());
        number(text);
      }
      for (const tavrix::IptTarget& target : nodes[i].targets()) number(target.text);
    }
  }

  bool hasTargets() const { return numbers_.size() > conditions_.size(); }

  // The chain with the questions, as the restore tool takes it beside what the table has. The
  // product takes its rules for foreign ones.
  std::string questions(const std::string& table) const {
    std::string text = "*" + table + "\n:" + kChain + " - [0:0]\n";
    for (const auto& [asked, number] : numbers_) {
      if (isPrintedAsWritten(asked)) continue;
      // There are targets which only rules for TCP may have; the others do not mind.
      const char* before = conditions_.contains(asked) ? " " : " -p tcp ";
      text.append("-A ").append(kChain).append(before).append(asked);
      text.append(" ").append(tagOf(number)).append("\n");
    }
    return text + "COMMIT\n";
  }

  // The answers of a family. Reports a test failure when one cannot be told apart into the options
  // of its condition.
  void take(std::vector<ChainRule> answers) {
    std::map<std::string, ChainRule> rules;
    for (ChainRule& rule : answers) {
      const std::string tag = rule.matches.back();
      rule.matches.pop_back();
      rules.emplace(tag, std::move(rule));
    }
    for (const auto& [text, number] : numbers_) {
      const auto rule = rules.find(tagOf(number));
      const auto condition = conditions_.find(text);
      if (isPrintedAsWritten(text)) {
        learn(text, text);
      } else if (condition == conditions_.end()) {
        const ChainRule& answer = rules.at(tagOf(number));
        learn(text, answer.target.empty() ? answer.matches.at(1) : answer.target);
      } else if (rule != rules.end()) {
        takeCondition(condition->second, rule->second.matches);
      } else {
        // The tool skips a rule of the other family. Its selector decides the condition; the answer
        // for the other options is known if they stand in another condition too.
        for (const tavrix::IptMatch& match : condition->second.items) {
          if (selectsFamily(match)) learn(tavrix::matchText(match), kNever);
        }
      }
    }
  }

  // The options that the kernel prints, numbered.
  const test_support::MatchNumbers& printedMatches() const { return printed_; }

  // Whether an option of a program holds, by what is known of the printed ones; `holds` must
  // outlive the result. A selector of the other family never holds. What is not printed always
  // holds.
  Holds inProgram(const Holds& holds) const {
    return [this, &holds](const std::string& option) {
      const std::string& printed = words_.at(option);
      return printed == kAlways || (printed != kNever && holds(printed));
    };
  }

  std::vector<std::string> printedTargets(std::vector<std::string> targets) const {
    for (std::string& target : targets) target = words_.at(target);
    return targets;
  }

  // How many options and targets the kernel prints in other words.
  std::size_t reworded() const { return reworded_; }

 private:
  void takeCondition(const tavrix::IptMatchList& condition, std::vector<std::string> printed) {
    std::ranges::stable_sort(printed, {}, kindOf);  // the order of the condition's options
    auto next = printed.begin();
    for (const tavrix::IptMatch& match : condition.items) {
      const std::string text = tavrix::matchText(match);
      if (!isPrinted(match)) {
        learn(text, kAlways);
        continue;
      }
      ASSERT_NE(next, printed.end()) << text;
      ASSERT_EQ(kindOf(*next), tavrix::matchKind(match)) << text << ", printed as " << *next;
      printed_.try_emplace(*next, printed_.size());
      learn(text, *next++);
    }
    ASSERT_EQ(next, printed.end()) << matchesText(condition);
  }

  void learn(const std::string& text, const std::string& printed) {
    const auto [word, isNew] = words_.try_emplace(text, printed);
    ASSERT_EQ(word->second, printed) << text;
    if (isNew && printed != text && printed != kAlways && printed != kNever) ++reworded_;
  }

  std::map<std::string, tavrix::IptMatchList> conditions_;  // by their texts
  std::map<std::string, int> numbers_;        // of condition and target texts; they tag the rules
  std::map<std::string, std::string> words_;  // of options and targets, as printed
  test_support::MatchNumbers printed_;
  std::size_t reworded_ = 0;
};

struct Count {
  std::uint64_t programs = 0;
  std::uint64_t packets = 0;
  std::size_t reworded = 0;  // options and targets, once per case, family and table
};

// A configuration, and the families whose tools can load its rules; the others' tools do nothing.
struct Case {
  std::string configuration;
  std::vector<std::string> families;
};

class Echo : public ProductTest {
 protected:
  // Runs the product on each case, in one testbed whose IP sets are the first one's. Returns what
  // is wrong, with the configuration; empty when nothing is.
  static std::string check(const std::vector<Case>& cases, Count& count) {
    const test_support::TempDir directory;  // the testbed sees it
    std::string script = R"sh(
for family in iptables ip6tables; do
  mkdir /run/without_$family
  ln -s /bin/true /run/without_$family/$family-save
  ln -s /bin/true /run/without_$family/$family-restore
done
)sh";
    for (std::size_t i = 0; i < cases.size(); ++i) {
      const std::string files = directory / std::to_string(i);
      std::filesystem::create_directory(files);
      script += runOf(cases[i], files);
    }
    const test_support::ProcessResult result = run(cases.front().configuration, script);
    if (result.exitStatus != 0 || !result.err.empty()) {
      const auto last = std::ranges::count(result.out, '\n') - 1;
      return "refused: " + result.err + cases.at(static_cast<std::size_t>(last)).configuration;
    }
    for (std::size_t i = 0; i < cases.size(); ++i) {
      const std::string wrong = differenceIn(cases[i], directory / std::to_string(i), count);
      if (!wrong.empty()) return wrong + cases[i].configuration;
    }
    return "";
  }

 private:
  static std::map<std::string, KernelWords> wordsOf(const Case& tried) {
    test_support::setConfiguration(tried.configuration);
    std::map<std::string, KernelWords> tables;
    for (const HookedChain& hooked : kHookedChains) {
      tables[std::string(hooked.table)].add(hooked.makeProgram());
    }
    std::erase_if(tables, [](const auto& entry) { return !entry.second.hasTargets(); });
    return tables;
  }

  // The questions go into the tables before the product runs, and are saved with its rules.
  static std::string runOf(const Case& tried, const std::string& files) {
    test_support::writeFile(files + "/config", tried.configuration);
    std::string before = "echo next\ncp " + files + "/config $TESTBED_CONFIG_DIR/firewall_cpp\n";
    std::string path;
    std::string after;
    for (const std::string& family : kFamilies) {
      if (std::ranges::count(tried.families, family) == 0) path += "/run/without_" + family + ":";
    }
    for (const auto& [table, words] : wordsOf(tried)) {
      const std::string file = files + "/" + table;
      test_support::writeFile(file, words.questions(table));
      for (const std::string& family : tried.families) {
        before.append(family).append("-restore --noflush < ").append(file).append("\n");
        after += family + "-save -t " + table + " > " + file + "." + family + "\n";
      }
    }
    return before + "PATH=" + path + "$PATH $program\n" + after;
  }

  static std::string differenceIn(const Case& tried, const std::string& files, Count& count) {
    for (const std::string& family : tried.families) {
      for (auto& [table, words] : wordsOf(tried)) {
        const std::string saved = test_support::readFile(files + "/" + table + "." + family);
        Chains chains = test_support::parseChains(saved);
        takeSideEffectsForTargets(chains);
        words.take(chains.at(kChain));
        count.reworded += words.reworded();
        for (const HookedChain& hooked : kHookedChains) {
          if (hooked.table != table) continue;
          ++count.programs;
          const std::string difference = differenceOn(hooked, words, chains, count.packets);
          if (!difference.empty()) return family + " " + difference + saved;
        }
      }
    }
    return "";
  }

  static std::string differenceOn(const HookedChain& hooked, const KernelWords& words,
                                  const Chains& chains, std::uint64_t& packets) {
    const tavrix::IptProg program = hooked.makeProgram();
    const test_support::MatchNumbers& numbers = words.printedMatches();
    for (const test_support::Packet& packet : test_support::packetsOver(numbers.size())) {
      ++packets;
      const Holds holds = test_support::holdsIn(numbers, packet);
      const std::vector<std::string> expected =
          words.printedTargets(test_support::evaluate(program, words.inProgram(holds)));
      const std::vector<std::string> met = metIn(chains, hooked.chain, holds);
      if (expected == met) continue;
      return std::string(hooked.chain) + " " +
             test_support::describe({test_support::heldIn(numbers, packet), expected, met, ""});
    }
    return "";
  }
};
INSTANTIATE_TEST_SUITE_P(Kinds, Echo, testing::Values("legacy", "nft"),
                         [](const auto& kind) { return kind.param; });

TEST_P(Echo, OfWholeConfigurationsMeansWhatTheProgramsMean) {
  Count count;
  for (const std::string& configuration : households()) {
    ASSERT_EQ(check({{configuration, kFamilies}}, count), "");
  }
  EXPECT_GT(count.reworded, 0U);
  std::cout << "echo of configurations, " << GetParam() << ": " << count.programs << " programs, "
            << count.packets << " packets\n";
}

// Texts that rules of the family can have in both chains and in any company. So there are no ports,
// which need their protocol in the same rule, no interfaces, which each need one of the chains, and
// no two modules with an option of the same name: the tools refuse the first again after the
// second.
test_support::RandomTexts textsOf(const std::string& family) {
  test_support::RandomTexts texts = {
      {"-4", "--ipv6", "-p tcp", "! -p udp", "--protocol 132", "-c 1 2", "--set-counters 3 4",
       "-m mark --mark 16", "-m mark ! --mark 0x2/0xff",
       "--match conntrack --ctstate ESTABLISHED,RELATED", "-m conntrack ! --ctstate NEW",
       "-m length --length 100:200", "-m tos --tos 16", "-m dscp --dscp-class EF",
       "-m comment --comment \"two words\"",
       "-m connbytes --connbytes 3 --connbytes-dir both --connbytes-mode packets",
       "-m tavrix-xthostset --set-name a"},
      {"-j MARK --set-mark 0x", "--jump MARK --or-mark 0x", "-j CONNMARK --set-mark 0x",
       "-j NFQUEUE --queue-bypass --queue-num 0x", "-m tavrix-xtcounter --inc 0x",
       "--match tavrix-connstat --set --stat-node 0x"},
      false};
  const std::vector<std::string> own =
      family == "iptables" ? std::vector<std::string>{"-s 10.0.0.1",
                                                      "! --source 10.2.3.4/255.255.0.0",
                                                      "-d 192.168.1.1/24",
                                                      "! -d 192.168.2.2",
                                                      "-f",
                                                      "! --fragment",
                                                      "--protocol 47",
                                                      "-m ttl --ttl-gt 5"}
                           : std::vector<std::string>{"-s fd00::1",    "! --source fd00:2::4/32",
                                                      "-d fe80::1/64", "! -d ::1",
                                                      "-p ipv6-icmp",  "-m hl --hl-gt 5"};
  texts.matches.insert(texts.matches.end(), own.begin(), own.end());
  return texts;
}

// The tools take one option of each kind in a rule, except modules: of two in one condition, the
// first stays.
std::vector<std::string> loadable(std::vector<std::string> tokens) {
  for (std::string& token : tokens) {
    const std::size_t start = token.starts_with("NOT") ? 3 : 0;
    if (token.find_first_of("-!", start) != start) continue;
    const std::vector<std::string> options = test_support::splitOptions(token.substr(start));
    if (options.size() < 2) continue;
    const tavrix::IptMatchList list = tavrix::parseMatches(token.substr(start), "test", 1);
    if (tavrix::matchKind(list.items.front()) != tavrix::matchKind(list.items.back())) continue;
    if (std::holds_alternative<tavrix::_IptMatches::Match>(list.items.front())) continue;
    token = token.substr(0, start) + options.front();
  }
  return tokens;
}

// What decides on the queue: the condition of a random program, which is its first block. No family
// is tested twice in one chain.
std::vector<std::string> queueCondition(std::uint64_t seed, const std::string& family) {
  test_support::RandomTexts texts = textsOf(family);
  std::erase_if(texts.matches, [](const auto& text) { return text == "-4" || text == "--ipv6"; });
  for (const StatementSource& statement : test_support::randomProgram(seed, 12, texts)) {
    if (statement.branches.empty()) continue;
    const std::vector<std::string> tokens =
        loadable(test_support::tokensOf({{"", {{statement.branches.front().condition, {}}}, {}}}));
    return {tokens.begin() + 1, tokens.end() - 2};  // without IF, THEN and FI
  }
  return {};
}

std::string listOption(const std::string& name, const std::vector<std::string>& tokens) {
  std::string text;
  for (const std::string& token : tokens) text += "\tlist " + name + " '" + token + "'\n";
  return text;
}

Case caseOf(std::uint64_t seed, std::size_t size, const std::string& family) {
  const test_support::ProgramSource program =
      test_support::randomProgram(seed, size, textsOf(family));
  return {"config nfnlq 'nfnlq'\n\toption queue_first '0'\n\toption queue_last '0'\n" +
              listOption("pre_targets", loadable(tokensOf(program))) +
              listOption("matches", queueCondition(seed, family)),
          {family}};
}

TEST_P(Echo, OfRandomProgramsMeansWhatTheProgramsMean) {
  constexpr std::uint64_t kSeeds = 9;
  const std::uint64_t fresh = std::random_device()();
  std::cout << "echo, " << GetParam() << ": " << kSeeds + 1 << " seeds, fresh one " << fresh
            << "\n";
  std::vector<Case> cases;
  for (const std::string& family : kFamilies) {
    for (const std::size_t size : {5U, 20U, 60U}) {
      for (std::uint64_t seed = 0; seed <= kSeeds; ++seed) {
        cases.push_back(caseOf(seed == 0 ? fresh : seed, size, family));
      }
    }
  }
  Count count;
  EXPECT_EQ(check(cases, count), "");
  EXPECT_GT(count.reworded, cases.size());
  std::cout << "echo, " << GetParam() << ": " << count.programs << " programs, " << count.packets
            << " packets\n";
}

}  // namespace
}  // namespace product_test
