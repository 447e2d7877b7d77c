// The graph of a rule program as plain values, for those who show it or walk through it. The only
// file of this directory that looks into the compiler's nodes is the one below.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "ipt_compiler/rule_program.h"

namespace tavrix::inspect {

struct GraphNode {
  std::vector<std::string> targets;  // what happens when control arrives, in order
  std::string condition;             // what is tested afterwards; empty if nothing is
  bool isExit = false;
  // Which noted text (noted_texts.h) each target came from, and which ones the condition is made
  // of; none for what was not noted.
  std::vector<std::optional<int>> targetSources;
  std::vector<int> conditionSources;
  // Where control goes on, by number: if the condition holds or there is none, and if it does not.
  std::optional<std::size_t> next;
  std::optional<std::size_t> noMatch;
};

// The nodes that control can reach, numbered from 0, the entry, in depth-first order, with the exit
// that a run would add. simplified: as chains are generated from it. The program is used up.
std::vector<GraphNode> readGraph(IptProg program, bool simplified);

}  // namespace tavrix::inspect
