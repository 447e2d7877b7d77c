// A table as typed data: chains in order, rules in order, each rule with its text as written and
// with what was read from it. What walks a packet through the tables starts here.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "testbed/file_tables/table_layout.h"

namespace file_tables {

// One option as it was used: "! --dport 53" is {"dport", true, {"53"}}. The name is the option's
// full long name, whatever short, abbreviated or alias form the text has.
struct OptionUse {
  std::string name;
  bool negated = false;
  std::vector<std::string> arguments;
};

// A match or a target with its options, in the order written.
struct ExtensionUse {
  std::string name;
  std::vector<OptionUse> options;

  // The first use of the option of that full name, null when it is not used.
  const OptionUse* find(std::string_view optionName) const;
};

// ACCEPT, DROP, RETURN or QUEUE.
bool isVerdictName(std::string_view name);

enum class TargetKind {
  None,       // no -j and no -g: the rule only counts
  Verdict,    // ACCEPT, DROP, RETURN, QUEUE
  Chain,      // -j to a user chain
  Goto,       // -g to a user chain
  Extension,  // a target with options of its own
};

struct Rule {
  // The rule's options as written, without "-A CHAIN", counters and "-4"/"-6"; "" when none is
  // left.
  std::string text;
  // The options that belong to no match: "protocol", "source", "destination", "in-interface",
  // "out-interface", "fragments". An address list has become several rules, so that each rule
  // holds one source and one destination at most.
  std::vector<OptionUse> selectors;
  std::vector<ExtensionUse> matches;
  TargetKind targetKind = TargetKind::None;
  ExtensionUse target;  // the name of the verdict, the chain or the extension

  const OptionUse* findSelector(std::string_view optionName) const;
  // True when the rule holds for every packet, as far as the kernel sees: no match at all, and no
  // selector but "-p all" and addresses with an empty mask.
  bool isUnconditional(Family family) const;
  // The protocol's number when the rule has a "-p" that is not negated, else 0 (any protocol).
  int protocol = 0;
};

struct Chain {
  std::string name;
  std::string policy;  // "ACCEPT" or "DROP"; "-" for a user chain
  HookMask hook = 0;   // 0 for a user chain
  std::vector<Rule> rules;

  bool isBuiltIn() const { return hook != 0; }
};

class Table {
 public:
  // The kernel's initial table: built-in chains with policy ACCEPT and no rules.
  Table(Family family, const TableLayout& layout);

  Family family() const { return family_; }
  std::string_view name() const { return layout_->name; }
  // Built-in chains in the kernel's order, then user chains in the order of their creation.
  const std::vector<Chain>& chains() const { return chains_; }
  std::vector<Chain>& chains() { return chains_; }

  // Null when there is no such chain. Pointers die when a chain is added.
  const Chain* findChain(std::string_view chainName) const;
  Chain* findChain(std::string_view chainName);
  // Position in chains(); the chain must exist.
  std::size_t chainIndex(const std::string& chainName) const { return index_.at(chainName); }

  // Adds an empty user chain; the name must be free.
  void addUserChain(std::string chainName);

 private:
  Family family_;
  const TableLayout* layout_;
  std::vector<Chain> chains_;
  std::unordered_map<std::string, std::size_t> index_;
};

}  // namespace file_tables
