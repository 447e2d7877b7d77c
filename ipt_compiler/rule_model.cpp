// Operations on rule fragments; rule_model.h explains the values.
#include "ipt_compiler/rule_model.h"

#include <iterator>
#include <utility>

#include "ipt_compiler/tokenizer.h"

namespace tavrix {

IptCompileFailed::IptCompileFailed(const std::string& message, const char* file, int line)
    : what_(std::string(file) + ":" + std::to_string(line) + ": " + message) {}

namespace _IptMatches {

AnyOption::AnyOption(std::string_view segment, const char* sourceFile, std::int32_t sourceLine)
    : text(normalizeTokens(segment)), file(sourceFile), line(sourceLine) {}

bool operator==(const IptMatch& a, const IptMatch& b) {
  return (std::holds_alternative<Ipv4>(a) && std::holds_alternative<Ipv4>(b)) ||
         (std::holds_alternative<Ipv6>(a) && std::holds_alternative<Ipv6>(b));
}

}  // namespace _IptMatches

// The variant holds the kinds in the order of their codes.
int matchKind(const IptMatch& match) {
  return static_cast<int>(match.index()) + 1;
}

const std::string& matchText(const IptMatch& match) {
  return std::visit(
      [](const _IptMatches::AnyOption& option) -> const std::string& { return option.text; },
      match);
}

bool sortsBefore(const IptMatch& a, const IptMatch& b) {
  return matchKind(a) < matchKind(b);
}

IptMatchList::IptMatchList(std::list<IptMatch> sortedItems, const char* sourceFile,
                           std::int32_t sourceLine)
    : items(std::move(sortedItems)),
      elementCount(items.size()),
      file(sourceFile),
      line(sourceLine) {}

std::string matchesText(const IptMatchList& list) {
  std::string text;
  for (const IptMatch& match : list.items) {
    if (!text.empty()) text += ' ';
    text += matchText(match);
  }
  return text;
}

unsigned mergeMatches(IptMatchList& destination, IptMatchList& source) {
  unsigned count = 0;
  auto d = destination.items.begin();
  for (auto s = source.items.begin(); s != source.items.end();) {
    const auto current = s++;
    const int kind = matchKind(*current);
    while (d != destination.items.end() && matchKind(*d) < kind) ++d;

    if (d == destination.items.end() || matchKind(*d) != kind) {
      destination.items.splice(d, source.items, current);
      ++destination.elementCount;
      --source.elementCount;
      ++count;
    } else if (*current == *d) {
      source.items.erase(current);
      --destination.elementCount;
      ++count;
    }
  }

  // What is left are "-m" options, if the destination had some, too, and options that cannot move.
  // The "-m" options follow as one block, in their order, unless one of the others is before them.
  if (!source.items.empty() && matchKind(source.items.front()) == _IptMatches::Match::kKind) {
    destination.items.splice(destination.items.end(), source.items);
    destination.elementCount += std::exchange(source.elementCount, 0);
  }
  return count;
}

}  // namespace tavrix
