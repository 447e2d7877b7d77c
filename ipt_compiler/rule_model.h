// The values that carry iptables rule fragments from the rule sets to the generated rules: one
// target, one match, a list of matches. A fragment is never taken apart into protocols or
// addresses; it stays option text, with the place in the source that wrote it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <exception>
#include <list>
#include <string>
#include <string_view>
#include <variant>

namespace tavrix {

// An error in rule text. what() is "<file>:<line>: <message>".
class IptCompileFailed : public std::exception {
 public:
  // file: NUL-terminated, read during the call only.
  IptCompileFailed(const std::string& message, const char* file, int line);

  const char* what() const noexcept override { return what_.c_str(); }

 private:
  std::string what_;
};

// What a rule does: a jump ("-j") or a match module used for its side effect ("-m").
struct IptTarget {
  std::string text;  // tokens joined by one space
  const char* file;  // static string
  std::int32_t line;
};

namespace _IptMatches {

// What the ten kinds of options in a rule's condition have in common.
struct AnyOption {
  // segment: the option with its arguments, as written; stored with its tokens joined by one
  // space. file: a static string, kept as a pointer.
  AnyOption(std::string_view segment, const char* file, std::int32_t line);

  std::string text;
  const char* file;
  std::int32_t line;
};

// One option. The type is the kind, and kKind is at the same time the option's code in the parser's
// table and the sort key of a list.
template <int Kind>
struct Option : AnyOption {
  static constexpr int kKind = Kind;
  using AnyOption::AnyOption;
};

using Ipv4 = Option<1>;
using Ipv6 = Option<2>;
using Protocol = Option<3>;
using Source = Option<4>;
using Destination = Option<5>;
using In_interface = Option<6>;
using Out_interface = Option<7>;
using Fragment = Option<8>;
using Set_counters = Option<9>;
using Match = Option<10>;

}  // namespace _IptMatches

using IptMatch =
    std::variant<_IptMatches::Ipv4, _IptMatches::Ipv6, _IptMatches::Protocol, _IptMatches::Source,
                 _IptMatches::Destination, _IptMatches::In_interface, _IptMatches::Out_interface,
                 _IptMatches::Fragment, _IptMatches::Set_counters, _IptMatches::Match>;

// The kind code, 1 to 10.
int matchKind(const IptMatch& match);

// The text of the option, whatever its kind.
const std::string& matchText(const IptMatch& match);

// Order of a match list: by kind alone, so that a stable sort keeps options of one kind as written.
bool sortsBefore(const IptMatch& a, const IptMatch& b);

namespace _IptMatches {

// Whether b adds nothing to a rule that has a. True only for two Ipv4 and for two Ipv6, whatever
// their text: the family selectors take no argument, and any other option may stand twice in a rule
// with a meaning of its own. Declared in the namespace of the ten kinds, where C++ looks for it.
bool operator==(const IptMatch& a, const IptMatch& b);

}  // namespace _IptMatches

// The conditions of one test, all of which must hold; sorted by kind.
struct IptMatchList {
  IptMatchList() = default;
  // Takes sorted matches; elementCount becomes their number.
  IptMatchList(std::list<IptMatch> sortedItems, const char* sourceFile, std::int32_t sourceLine);

  std::list<IptMatch> items;
  // The condition always holds if this is 0. It is the number of items, unless mergeMatches has
  // dropped a duplicate: see there.
  std::size_t elementCount = 0;
  const char* file = nullptr;  // static string
  std::int32_t line = 0;
};

// The text of every item in list order, separated by one space.
std::string matchesText(const IptMatchList& list);

// Fuses the condition `source` into the condition `destination`, as far as both can stand in one
// rule. Items that cannot move stay in the source. Both lists stay sorted.
//
// A source item equal to a destination item is dropped, and the element count of the destination
// goes down instead of the source's. So the counts of both lists can differ from their lengths by
// the number of dropped items. That is kept on purpose: generated rules depend on it.
//
// Returns the number of source items moved one by one or dropped; "-m" options that moved as a
// block at the end are not counted.
unsigned mergeMatches(IptMatchList& destination, IptMatchList& source);

}  // namespace tavrix
