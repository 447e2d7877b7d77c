// Checks every stage of the compiler on one rule program: readers, simplification, the immediate
// post-dominators before and after it, chains.
#pragma once

#include <cstdint>
#include <set>
#include <string>

#include "ipt_compiler/ir_graph.h"
#include "tests/support/dominator_tree.h"
#include "tests/support/graph_text.h"
#include "tests/support/rule_source.h"

namespace test_support {

class GraphChecks {
 public:
  // Appends an exit to the program and simplifies it; nothing else may hold its nodes. `expected`
  // are its runs. Returns what is wrong, empty if nothing is:
  //  - immediate post-dominators are those that Boost finds, before and after simplification;
  //  - every packet meets the same targets before and after it;
  //  - every predecessor count is what a recount of the successor slots gives;
  //  - no edge leads to a junction that could be bypassed, and simplifying again changes nothing.
  // The one exception to the last: two conditions that fuse into one by moving match modules alone
  // are no change that makes simplification look again, so that the emptied one may stay. The
  // second simplification then takes it away, and all of the above holds after that, too.
  std::string check(tavrix::IptProg program, const Runs& expected);
  // The same for the program that the readers of the language build. And every packet meets the
  // same targets in the tree, in the graph and in the generated chains. A failing program is made
  // as small as possible first.
  std::string check(const ProgramSource& program);

  std::uint64_t programs() const { return programs_; }
  // How many programs, packets, different graphs whose post-dominators were compared, and emptied
  // junctions that stayed.
  std::string counts() const;

 private:
  std::string checkOnce(const ProgramSource& program);
  std::string checkPostDominators(const NodeNumbers& nodes, const tavrix::ProxyIrNode& exit);

  std::set<Edges> compared_;
  std::uint64_t programs_ = 0;
  std::uint64_t packets_ = 0;
  std::uint64_t emptiedJunctions_ = 0;
};

}  // namespace test_support
