// The matches and targets that the tools know, as data: which options each has, what their
// arguments look like, how they go together, and where the kernel allows the extension.
#pragma once

#include <span>
#include <string_view>

#include "testbed/file_tables/argument_shapes.h"
#include "testbed/file_tables/table_model.h"

namespace file_tables {

struct OptionRule {
  std::string_view name{};       // full long name without "--"
  std::string_view canonical{};  // the name to keep, when `name` is an alias of another option
  Shape shape = nullptr;         // null: the option takes no argument
  ShapeLimits limits{};
  Shape secondShape = nullptr;  // of a second argument that follows as a token of its own
  bool negatable = false;
  bool required = false;
  int exclusiveGroup = 0;  // at most one option of a group other than 0

  constexpr std::string_view fullName() const { return canonical.empty() ? name : canonical; }
  constexpr int argumentCount() const {
    return (shape == nullptr ? 0 : 1) + (secondShape == nullptr ? 0 : 1);
  }

  // The same option with one property set, so that a table reads as a list of sentences.
  constexpr OptionRule mayBeNegated() const {
    OptionRule copy = *this;
    copy.negatable = true;
    return copy;
  }
  constexpr OptionRule mustBeGiven() const {
    OptionRule copy = *this;
    copy.required = true;
    return copy;
  }
  constexpr OptionRule oneOfGroup(int group) const {
    OptionRule copy = *this;
    copy.exclusiveGroup = group;
    return copy;
  }
  constexpr OptionRule aliasOf(std::string_view fullOptionName) const {
    OptionRule copy = *this;
    copy.canonical = fullOptionName;
    return copy;
  }
  constexpr OptionRule followedBy(Shape shapeOfSecond) const {
    OptionRule copy = *this;
    copy.secondShape = shapeOfSecond;
    return copy;
  }
};

struct ExtensionRule {
  std::string_view name{};
  std::span<const OptionRule> options{};
  // Not empty: an error when no option is given, with this text.
  std::string_view needsAnOption{};
  bool ipv4 = true;
  bool ipv6 = true;
  // Protocol numbers, one of which the rule's own "-p" must name; empty: any. The kernel checks.
  std::span<const int> protocols{};
  std::string_view table{};  // the only table; empty: every table
  HookMask hooks = kAllHooks;
  // The three checks below may be null. The first two give the tool's message, null when there
  // is nothing to object. This one sees an option as it is read: the real tools hold some options
  // against the "-p" before them (0 when there is none yet) and not against a later one.
  const char* (*objectionToOption)(const OptionUse& option, int protocol,
                                   bool protocolNegated) = nullptr;
  // What is wrong with the options together.
  const char* (*objection)(const ExtensionUse& use) = nullptr;
  // True when the kernel refuses the rule for a reason not given above. `reached` are the hooks
  // from which the rule can be reached.
  bool (*kernelRefuses)(const Rule& rule, const ExtensionUse& use, HookMask reached) = nullptr;

  bool supports(Family family) const { return family == Family::Ipv4 ? ipv4 : ipv6; }
};

// Null when there is no such match or target in that family.
const ExtensionRule* findMatch(std::string_view name, Family family);
const ExtensionRule* findTarget(std::string_view name, Family family);

// The match that belongs to a protocol number (6: "tcp"), for options that stand behind "-p"
// without a "-m"; null when the protocol has none in that family.
const ExtensionRule* findProtocolMatch(int protocol, Family family);

}  // namespace file_tables
