// The tools' own options and the look-up rules.
#include "testbed/file_tables/option_reader.h"

#include <array>

namespace file_tables {
namespace {

constexpr std::array<BaseOption, 32> kBaseOptions{
    {{"append", 'A', true},       {"delete", 'D', false},       {"check", 'C', false},
     {"insert", 'I', false},      {"replace", 'R', false},      {"flush", 'F', false},
     {"new-chain", 'N', false},   {"delete-chain", 'X', false}, {"rename-chain", 'E', false},
     {"policy", 'P', false},      {"zero", 'Z', false},         {"list", 'L', false},
     {"list-rules", 'S', false},  {"source", 's', true},        {"destination", 'd', true},
     {"src", 's', true},          {"dst", 'd', true},           {"protocol", 'p', true},
     {"in-interface", 'i', true}, {"jump", 'j', true},          {"table", 't', true},
     {"match", 'm', true},        {"numeric", 'n', false},      {"out-interface", 'o', true},
     {"verbose", 'v', false},     {"wait", 'w', false},         {"exact", 'x', false},
     {"fragments", 'f', false},   {"set-counters", 'c', true},  {"goto", 'g', true},
     {"ipv4", '4', false},        {"ipv6", '6', false}}};

// The real tools look at the whole token of these, so "-ptcp" names the protocol "-ptcp".
bool ignoresJoinedForm(const BaseOption& option) {
  return std::string_view("psdioj").find(option.letter) != std::string_view::npos;
}

// Both names mean the same option, so that an abbreviation of both is not ambiguous.
bool sameOption(const OptionReader::Item& left, const OptionReader::Item& right) {
  return left.kind == right.kind && left.option == right.option &&
         left.extension == right.extension &&
         (left.base == right.base || (left.base != nullptr && right.base != nullptr &&
                                      left.base->letter == right.base->letter));
}

}  // namespace

OptionReader::OptionReader(const std::vector<RuleToken>& tokens) : tokens_(tokens) {}

std::size_t OptionReader::addExtension(std::span<const OptionRule> options) {
  extensions_.push_back(options);
  return extensions_.size() - 1;
}

OptionReader::Item OptionReader::next() {
  if (position_ == tokens_.size()) {
    return {};
  }
  const std::string_view token = tokens_[position_].value;
  if (letter_ != 0) {
    return readShort(token);
  }
  if (token.size() < 2 || token[0] != '-') {
    Item item{.kind = Kind::Word, .text = token, .token = position_};
    ++position_;
    return item;
  }
  if (token == "--") {
    if (position_ + 1 != tokens_.size()) {
      throw ParameterProblem("unknown arguments found on commandline");
    }
    ++position_;
    return {};
  }
  if (token[1] == '-') {
    return readLong(token);
  }
  letter_ = 1;
  return readShort(token);
}

OptionReader::Item OptionReader::readLong(std::string_view token) {
  const std::size_t equals = token.find('=');
  Item item{.text = token, .token = position_};
  if (!findLong(token.substr(2, equals - 2), item)) {
    item.kind = Kind::Unknown;
    return item;
  }
  const bool takesArgument =
      item.base != nullptr ? item.base->takesArgument : item.option->shape != nullptr;
  if (equals != std::string_view::npos && !takesArgument) {
    // getopt_long gives such an option back as one that it does not know.
    throw ParameterProblem("unknown option \"" + std::string(token) + "\"");
  }
  ++position_;
  if (equals != std::string_view::npos) {
    item.argumentIsJoined = true;
    const bool whole = item.base != nullptr && ignoresJoinedForm(*item.base);
    item.argument = whole ? token : token.substr(equals + 1);
  } else if (takesArgument) {
    item.argument = takeArgument(item);
  }
  return item;
}

OptionReader::Item OptionReader::readShort(std::string_view token) {
  Item item{.text = token, .token = position_};
  const char letter = token[letter_];
  for (const BaseOption& option : kBaseOptions) {
    if (option.letter == letter) {
      item.kind = Kind::BaseOption;
      item.base = &option;
      break;
    }
  }
  if (item.base == nullptr) {
    item.kind = Kind::Unknown;
    return item;
  }
  ++letter_;
  const bool tokenEnds = letter_ == token.size();
  if (tokenEnds || item.base->takesArgument) {
    const std::string_view joined = token.substr(letter_);
    letter_ = 0;
    ++position_;
    if (item.base->takesArgument) {
      item.argumentIsJoined = !tokenEnds;
      item.argument = tokenEnds                       ? takeArgument(item)
                      : ignoresJoinedForm(*item.base) ? token
                                                      : joined;
    }
  }
  return item;
}

bool OptionReader::findLong(std::string_view name, Item& item) const {
  Item found = item;
  int candidates = 0;
  // Exact names win over abbreviations, the tools' own options over extensions.
  const auto consider = [&](std::string_view full, const Item& candidate) {
    if (full == name) {
      item = candidate;
      return true;
    }
    if (full.starts_with(name) && (candidates == 0 || !sameOption(found, candidate))) {
      found = candidate;
      ++candidates;
    }
    return false;
  };
  for (const BaseOption& option : kBaseOptions) {
    Item candidate = item;
    candidate.kind = Kind::BaseOption;
    candidate.base = &option;
    if (consider(option.longName, candidate)) {
      return true;
    }
  }
  for (std::size_t index = extensions_.size(); index-- > 0;) {
    for (const OptionRule& option : extensions_[index]) {
      Item candidate = item;
      candidate.kind = Kind::ExtensionOption;
      candidate.option = &option;
      candidate.extension = index;
      if (consider(option.name, candidate)) {
        return true;
      }
    }
  }
  item = found;
  return candidates == 1;
}

std::string_view OptionReader::takeArgument(const Item& item) {
  if (position_ == tokens_.size()) {
    throw ParameterProblem("option \"" + std::string(item.text) + "\" requires an argument");
  }
  return tokens_[position_++].value;
}

std::string_view OptionReader::peek() const {
  return position_ == tokens_.size() ? std::string_view() : tokens_[position_].value;
}

}  // namespace file_tables
