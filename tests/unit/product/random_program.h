// Small random rule programs that can be built as a graph and also be run directly, so that a test
// can ask whether the generated rules do what the program says.
#pragma once

#include <cstddef>
#include <memory>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "ipt_compiler/export/ipt_lang.h"

namespace test_support {

// Which of the options below hold for a packet, one bit each.
using Packet = unsigned;

// The options that conditions are made of. None of them can be merged away as a duplicate.
inline constexpr std::string_view kOptions[] = {"-p a", "-p b", "-s c", "-m d", "-m e", "-i f"};
inline constexpr Packet kPackets = 1U << std::size(kOptions);

class RandomProgram {
 public:
  // size: about how many conditions and targets there are. The same seed and size give the same
  // program.
  RandomProgram(unsigned seed, std::size_t size);
  ~RandomProgram();

  tavrix::IptProg build() const;
  // The targets that the packet meets, in order.
  std::vector<std::string> run(Packet packet) const;
  // The program in words, for a failing test.
  std::string text() const;

 private:
  struct Condition;
  struct Statement;
  using Statements = std::vector<Statement>;

  std::unique_ptr<Condition> makeCondition(std::size_t& budget);
  Statements makeStatements(std::size_t& budget, int depth);

  std::mt19937 random_;
  int targetCount_ = 0;
  std::unique_ptr<Statements> statements_;
};

// Runs generated rules: the targets that a packet meets which enters at `chain`. Text that is no
// generated rule gives a single entry that says so.
std::vector<std::string> runRules(const std::string& rules, const std::string& chain,
                                  Packet packet);

}  // namespace test_support
