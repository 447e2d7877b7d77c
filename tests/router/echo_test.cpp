// What the kernel holds is what the rule programs say: the product's chains are read back with the
// save tool and walked, and packets meet the targets that they meet in the graphs as built. The
// kernel prints rules in its own words, so it is asked first what it prints for each condition and
// each target alone.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <iostream>
#include <map>
#include <optional>
#include <random>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "ipt_compiler/rule_parser.h"
#include "tests/router/kernel_words.h"
#include "tests/router/product_run.h"
#include "tests/support/configuration.h"
#include "tests/support/hooked_chains.h"
#include "tests/support/random_source.h"

namespace product_test {
namespace {

using test_support::Chains;
using test_support::Holds;
using test_support::HookedChain;
using test_support::kHookedChains;
using test_support::MatchNumbers;
using test_support::ProgramSource;
using test_support::StatementSource;

const std::vector<std::string> kFamilies = {"iptables", "ip6tables"};

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

class Echo : public HouseholdTest {
 protected:
  // Runs the product on each case, in one testbed whose IP sets are the first one's. Returns what
  // is wrong, empty when nothing is.
  static std::string check(const std::vector<Case>& cases, Count& count) {
    const test_support::TempDir directory;  // the testbed sees it
    std::string script;
    for (const std::string& family : kFamilies) {
      std::filesystem::create_directory(directory / ("without_" + family));
      for (const char* tool : {"-save", "-restore"}) {
        test_support::writeScript(directory / ("without_" + family + "/" + family + tool),
                                  "#!/bin/sh\n");
      }
    }
    for (std::size_t i = 0; i < cases.size(); ++i) {
      const std::string files = directory / std::to_string(i);
      std::filesystem::create_directory(files);
      script += runOf(cases[i], files);
    }
    const test_support::ProcessResult result =
        run(cases.front().configuration, "cases=" + (directory / "") + "\n" + script);
    if (result.exitStatus != 0 || !result.err.empty()) return "refused: " + result.err;

    for (std::size_t i = 0; i < cases.size(); ++i) {
      std::string wrong = differenceIn(cases[i], directory / std::to_string(i), count);
      if (!wrong.empty()) return wrong;
    }
    return "";
  }

 private:
  static std::map<std::string, Questions> questionsOf(const Case& tried) {
    test_support::setConfiguration(tried.configuration);
    std::map<std::string, Questions> tables;
    for (const HookedChain& hooked : kHookedChains) {
      tables[std::string(hooked.table)].add(hooked.makeProgram());
    }
    std::erase_if(tables, [](const auto& entry) { return !entry.second.hasTargets(); });
    return tables;
  }

  static std::string savedName(const std::string& family, const std::string& table) {
    return "/" + family + "." + table;
  }

  // The questions go into the tables before the product runs, and are saved with its rules.
  static std::string runOf(const Case& tried, const std::string& files) {
    test_support::writeFile(files + "/config", tried.configuration);
    std::string before = "cp " + files + "/config $TESTBED_CONFIG_DIR/firewall_cpp\n";
    std::string path;
    std::string after;
    for (const std::string& family : kFamilies) {
      if (std::ranges::count(tried.families, family) == 0) path += "$cases/without_" + family + ":";
    }
    for (const auto& [table, questions] : questionsOf(tried)) {
      test_support::writeFile(files + "/" + table, questions.restoreText(table));
      for (const std::string& family : tried.families) {
        before += family + "-restore --noflush < " + files + "/" + table + "\n";
        after += family + "-save -t " + table + " > " + files + savedName(family, table) + "\n";
      }
    }
    return before + "PATH=" + path + "$PATH $program\n" + after;
  }

  static std::string differenceIn(const Case& tried, const std::string& files, Count& count) {
    const std::map<std::string, Questions> tables = questionsOf(tried);
    for (const std::string& family : tried.families) {
      for (const auto& [table, questions] : tables) {
        const std::string saved = test_support::readFile(files + savedName(family, table));
        Chains chains = test_support::parseChains(saved);
        takeSideEffectsForTargets(chains);
        const Answers answers(questions, chains);
        count.reworded += answers.reworded();
        for (const HookedChain& hooked : kHookedChains) {
          if (hooked.table != table) continue;
          ++count.programs;
          const auto difference = differenceOn(hooked, answers, chains, count.packets);
          if (!difference) continue;
          return family + " " + table + " " + std::string(hooked.chain) + " " +
                 describe(*difference) + saved;
        }
      }
    }
    return "";
  }

  static std::optional<test_support::Difference> differenceOn(const HookedChain& hooked,
                                                              const Answers& answers,
                                                              const Chains& chains,
                                                              std::uint64_t& packets) {
    const tavrix::IptProg program = hooked.makeProgram();
    const MatchNumbers& numbers = answers.printedMatches();
    for (const test_support::Packet& packet : test_support::packetsOver(numbers.size())) {
      ++packets;
      const Holds holds = test_support::holdsIn(numbers, packet);
      std::vector<std::string> expected =
          answers.printedTargets(test_support::evaluate(program, answers.inProgram(holds)));
      std::vector<std::string> met = metIn(chains, hooked.chain, holds);
      if (expected == met) continue;
      return test_support::Difference{test_support::heldIn(numbers, packet), std::move(expected),
                                      std::move(met), ""};
    }
    return std::nullopt;
  }
};
INSTANTIATE_TEST_SUITE_P(Kinds, Echo, testing::Values("legacy", "nft"),
                         [](const auto& kind) { return kind.param; });

TEST_P(Echo, OfWholeConfigurationsMeansWhatTheProgramsMean) {
  Count count;
  for (const std::string& configuration : households()) {
    ASSERT_EQ(check({{configuration, kFamilies}}, count), "") << configuration;
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

Case caseOf(const ProgramSource& program, std::uint64_t seed, const std::string& family) {
  return {"config nfnlq 'nfnlq'\n\toption queue_first '0'\n\toption queue_last '0'\n" +
              listOption("pre_targets", loadable(tokensOf(program))) +
              listOption("matches", queueCondition(seed, family)),
          {family}};
}

// A random program, before its configuration is made.
struct Drawn {
  std::uint64_t seed;
  std::size_t size;
  std::string family;

  ProgramSource program() const { return test_support::randomProgram(seed, size, textsOf(family)); }
  Case withProgram(const ProgramSource& program) const { return caseOf(program, seed, family); }
};

TEST_P(Echo, OfRandomProgramsMeansWhatTheProgramsMean) {
  constexpr std::uint64_t kSeeds = 7;
  const std::uint64_t fresh = std::random_device()();
  std::cout << "echo, " << GetParam() << ": " << kSeeds + 1 << " seeds, fresh one " << fresh
            << "\n";
  std::vector<Drawn> all;
  std::vector<Case> cases;
  for (const std::string& family : kFamilies) {
    for (const std::size_t size : {5U, 20U, 60U}) {
      for (std::uint64_t seed = 0; seed <= kSeeds; ++seed) {
        const Drawn drawn{seed == 0 ? fresh : seed, size, family};
        all.push_back(drawn);
        cases.push_back(drawn.withProgram(drawn.program()));
      }
    }
  }
  Count count;
  if (!check(cases, count).empty()) {
    for (const Drawn& drawn : all) {
      const auto fails = [&](const ProgramSource& program) {
        return !check({drawn.withProgram(program)}, count).empty();
      };
      if (!fails(drawn.program())) continue;
      const Case smallest = drawn.withProgram(shrink(drawn.program(), fails));
      FAIL() << "seed " << drawn.seed << ", size " << drawn.size << "\n"
             << smallest.configuration << check({smallest}, count);
    }
    FAIL() << "together only: " << check(cases, count);
  }
  EXPECT_GT(count.reworded, cases.size());
  std::cout << "echo, " << GetParam() << ": " << count.programs << " programs, " << count.packets
            << " packets\n";
}

}  // namespace
}  // namespace product_test
