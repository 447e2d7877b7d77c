// The reader of one line keeps the rule under construction and the numbers of its extensions.
#include "testbed/file_tables/rule_parser.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <optional>
#include <utility>

#include "testbed/file_tables/extensions.h"
#include "testbed/file_tables/option_checks.h"
#include "testbed/file_tables/option_reader.h"
#include "testbed/file_tables/rule_text_editor.h"

namespace file_tables {
namespace {

std::vector<std::string> splitAtCommas(std::string_view text) {
  std::vector<std::string> parts;
  std::size_t begin = 0;
  while (true) {
    const std::size_t comma = text.find(',', begin);
    parts.emplace_back(text.substr(begin, comma - begin));
    if (comma == std::string_view::npos) {
      return parts;
    }
    begin = comma + 1;
  }
}

class LineReader {
 public:
  LineReader(std::string_view line, const Table& table)
      : table_(table), tokens_(splitRuleLine(line)), reader_(tokens_), text_(line, tokens_) {}

  ParsedRuleLine read();

 private:
  // Where the options of the extension with a given number go: a match, or the target.
  struct LoadedExtension {
    const ExtensionRule* known;
    std::optional<std::size_t> match;
  };

  bool readBaseOption(const OptionReader::Item& item);
  void readExtensionOption(const OptionReader::Item& item);
  void readSelector(const OptionReader::Item& item);
  void readProtocol(const OptionReader::Item& item);
  void readCounters(const OptionReader::Item& item);
  void readChain(const OptionReader::Item& item);
  void readJump(const OptionReader::Item& item);
  void loadMatch(std::string_view name);
  bool loadProtocolMatch();
  void resolveTarget();
  void checkTargetIsKnown() const;
  void checkInterfaces() const;
  void checkAddresses() const;
  ExtensionUse& useOf(const LoadedExtension& loaded) {
    return loaded.match ? rule_.matches[*loaded.match] : rule_.target;
  }
  void addSelector(std::string name, std::string_view argument);
  std::vector<Rule> expandAddresses();

  const Table& table_;
  std::vector<RuleToken> tokens_;
  OptionReader reader_;
  RuleTextEditor text_;
  std::vector<LoadedExtension> extensions_;
  ParsedRuleLine result_;
  Rule rule_;
  bool negated_ = false;  // a "!" waits for its option
  bool hasCommand_ = false;
  bool hasJump_ = false;
  bool isGoto_ = false;
  bool hasProtocol_ = false;
  bool triedProtocolMatch_ = false;
  int writtenProtocol_ = 0;  // also when it is negated
  std::optional<std::size_t> sourceToken_;
  std::optional<std::size_t> destinationToken_;
};

ParsedRuleLine LineReader::read() {
  while (true) {
    const OptionReader::Item item = reader_.next();
    if (item.kind == OptionReader::Kind::End) {
      break;
    }
    if (item.kind == OptionReader::Kind::Word) {
      if (item.text != "!") {
        throw ParameterProblem("Bad argument " + quoted(item.text));
      }
      if (negated_) {
        throw ParameterProblem("multiple consecutive ! not allowed");
      }
      negated_ = true;
      continue;
    }
    if (item.kind == OptionReader::Kind::Unknown) {
      if (!loadProtocolMatch()) {
        throw ParameterProblem("unknown option \"" + std::string(item.text) + "\"");
      }
      continue;
    }
    if (item.kind == OptionReader::Kind::ExtensionOption) {
      readExtensionOption(item);
    } else if (!readBaseOption(item)) {
      // A rule of the other family: of all that the line holds only the target so far counts.
      checkTargetIsKnown();
      return {};
    }
    negated_ = false;
  }
  if (negated_) {
    throw ParameterProblem("nothing appropriate following !");
  }
  for (const LoadedExtension& loaded : extensions_) {
    checkOptionsTogether(useOf(loaded), *loaded.known);
  }
  if (!hasCommand_) {
    throw ParameterProblem("no command specified");
  }
  checkInterfaces();
  checkAddresses();
  resolveTarget();
  result_.rules = expandAddresses();
  if (table_.findChain(result_.chain) == nullptr) {
    result_.refusedByTable = true;
  }
  return std::move(result_);
}

// False when the line is for the other family.
bool LineReader::readBaseOption(const OptionReader::Item& item) {
  const char letter = item.base->letter;
  if (negated_ && std::string_view("psdiof46").find(letter) == std::string_view::npos) {
    throw ParameterProblem(letter == 'j' || letter == 'g'
                               ? std::string("cannot have ! before -") + letter
                               : "unexpected ! flag before --" + std::string(item.base->longName));
  }
  switch (letter) {
    case 'A':
      readChain(item);
      break;
    case '4':
    case '6':
      if ((letter == '4') != (table_.family() == Family::Ipv4)) {
        return false;
      }
      text_.dropOption(item, 0);
      if (negated_) {
        text_.dropToken(item.token - 1);
      }
      break;
    case 'p':
      readProtocol(item);
      break;
    case 's':
    case 'd':
    case 'i':
    case 'o':
    case 'f':
      readSelector(item);
      break;
    case 'm':
      loadMatch(item.argument);
      break;
    case 'j':
    case 'g':
      readJump(item);
      break;
    case 'c':
      readCounters(item);
      break;
    case 'v':
      text_.dropOption(item, 0);
      break;
    case 't':
      throw ParameterProblem("The -t option cannot be used in " +
                             std::string(toolFamilyName(table_.family())) + "-restore.");
    case 'w':
      throw ParameterProblem("You cannot use `-w' from " +
                             std::string(toolFamilyName(table_.family())) + "-restore");
    case 'n':
    case 'x':
      throw ParameterProblem(std::string("Illegal option `-") + letter + "' with this command");
    default:
      throw ParameterProblem(std::string("the command -") + letter +
                             " is not supported in a restore text, only -A");
  }
  return true;
}

void LineReader::readChain(const OptionReader::Item& item) {
  if (hasCommand_) {
    throw ParameterProblem("Cannot use -A with -A");
  }
  if (item.argument.size() > kLongestChainName) {
    throw ParameterProblem("chain name " + quoted(item.argument) +
                           " too long (must be under 29 chars)");
  }
  hasCommand_ = true;
  result_.chain = item.argument;
  text_.dropOption(item, 1);
}

void LineReader::readCounters(const OptionReader::Item& item) {
  std::string_view packets = item.argument;
  std::string_view bytes;
  std::size_t argumentCount = 1;
  const std::size_t comma = packets.find(',');
  if (comma != std::string_view::npos) {
    bytes = packets.substr(comma + 1);
    packets = packets.substr(0, comma);
  } else {
    const std::string_view following = reader_.peek();
    if (following.empty() || following[0] == '-' || following[0] == '!') {
      throw ParameterProblem("-c requires packet and byte counter");
    }
    bytes = reader_.takeArgument(item);
    ++argumentCount;
  }
  const auto isCount = [](std::string_view text) {
    return parseNumber(text, 0, UINT64_MAX).has_value();
  };
  if (!isCount(packets)) {
    throw ParameterProblem("-c packet counter not numeric");
  }
  if (!isCount(bytes)) {
    throw ParameterProblem("-c byte counter not numeric");
  }
  text_.dropOption(item, argumentCount);
}

void LineReader::addSelector(std::string name, std::string_view argument) {
  OptionUse use{std::move(name), negated_, {}};
  if (use.name != "fragments") {
    use.arguments.emplace_back(argument);
  }
  rule_.selectors.push_back(std::move(use));
}

void LineReader::readProtocol(const OptionReader::Item& item) {
  if (hasProtocol_) {
    throw ParameterProblem("multiple -p flags not allowed");
  }
  const auto protocol = parseProtocol(item.argument);
  if (!protocol) {
    throw ParameterProblem("unknown protocol \"" + std::string(item.argument) + "\" specified");
  }
  if (*protocol == 0 && negated_) {
    throw ParameterProblem("rule would never match protocol");
  }
  hasProtocol_ = true;
  writtenProtocol_ = *protocol;
  rule_.protocol = negated_ ? 0 : *protocol;
  addSelector("protocol", item.argument);
}

void LineReader::readSelector(const OptionReader::Item& item) {
  static constexpr std::array<std::pair<char, std::string_view>, 5> kNames{{{'s', "source"},
                                                                            {'d', "destination"},
                                                                            {'i', "in-interface"},
                                                                            {'o', "out-interface"},
                                                                            {'f', "fragments"}}};
  const char letter = item.base->letter;
  const std::string name(std::find_if(kNames.begin(), kNames.end(), [&](const auto& pair) {
                           return pair.first == letter;
                         })->second);
  if (rule_.findSelector(name) != nullptr) {
    throw ParameterProblem(std::string("multiple -") + letter + " flags not allowed");
  }
  if (letter == 'f' && table_.family() == Family::Ipv6) {
    throw ParameterProblem("unknown option \"" + std::string(item.text) + "\"");
  }
  if (letter == 'i' || letter == 'o') {
    checkInterfaceName(item.argument);
  }
  // Only a list is noted here. The addresses are checked when the line has been read, since a
  // line of the other family may hold any.
  const bool isAddress = letter == 's' || letter == 'd';
  if (isAddress && !item.argumentIsJoined && item.argument.find(',') != std::string_view::npos) {
    (letter == 's' ? sourceToken_ : destinationToken_) = item.token + 1;
  }
  addSelector(name, item.argument);
}

void LineReader::readJump(const OptionReader::Item& item) {
  if (hasJump_) {
    throw ParameterProblem("multiple -j flags not allowed");
  }
  const std::string_view name = item.argument;
  checkTargetName(name);
  hasJump_ = true;
  isGoto_ = item.base->letter == 'g';
  rule_.target.name = name;
  // A chain that bears the name of a target takes its place.
  const ExtensionRule* target =
      isGoto_ || table_.findChain(name) != nullptr ? nullptr : findTarget(name, table_.family());
  if (target != nullptr) {
    extensions_.push_back({target, std::nullopt});
    reader_.addExtension(target->options);
  }
}

void LineReader::loadMatch(std::string_view name) {
  const ExtensionRule* match = findMatch(name, table_.family());
  if (match == nullptr) {
    throw ParameterProblem("Couldn't load match " + quoted(name) + ":No such file or directory");
  }
  if (match == findProtocolMatch(writtenProtocol_, table_.family())) {
    triedProtocolMatch_ = true;
  }
  extensions_.push_back({match, rule_.matches.size()});
  rule_.matches.push_back({std::string(name), {}});
  reader_.addExtension(match->options);
}

// An option that nothing knows may belong to the protocol's match, which needs no "-m".
bool LineReader::loadProtocolMatch() {
  if (!hasProtocol_ || triedProtocolMatch_) {
    return false;
  }
  triedProtocolMatch_ = true;
  const ExtensionRule* match = findProtocolMatch(writtenProtocol_, table_.family());
  if (match == nullptr) {
    return false;
  }
  loadMatch(match->name);
  return true;
}

void LineReader::readExtensionOption(const OptionReader::Item& item) {
  const LoadedExtension& loaded = extensions_[item.extension];
  OptionUse use{std::string(item.option->fullName()), negated_, {}};
  if (item.option->argumentCount() > 0) {
    use.arguments.emplace_back(item.argument);
  }
  if (item.option->argumentCount() > 1) {
    use.arguments.emplace_back(reader_.takeArgument(item));
  }
  addOption(useOf(loaded), *loaded.known, *item.option, std::move(use), table_.family(),
            writtenProtocol_, writtenProtocol_ != rule_.protocol);
}

void LineReader::checkInterfaces() const {
  const std::string& chain = result_.chain;
  if (rule_.findSelector("in-interface") != nullptr &&
      (chain == "OUTPUT" || chain == "POSTROUTING")) {
    throw ParameterProblem("Can't use -i with " + chain);
  }
  if (rule_.findSelector("out-interface") != nullptr &&
      (chain == "INPUT" || chain == "PREROUTING")) {
    throw ParameterProblem("Can't use -o with " + chain);
  }
}

void LineReader::checkAddresses() const {
  for (const OptionUse& selector : rule_.selectors) {
    if (selector.name != "source" && selector.name != "destination") {
      continue;
    }
    const std::vector<std::string> addresses = splitAtCommas(selector.arguments.front());
    for (const std::string& address : addresses) {
      checkAddress(address, table_.family());
    }
    if (selector.negated && addresses.size() > 1) {
      throw ParameterProblem("! not allowed with multiple source or destination IP addresses");
    }
  }
}

void LineReader::resolveTarget() {
  if (!hasJump_) {
    return;
  }
  const std::string& name = rule_.target.name;
  const Chain* chain = isVerdictName(name) ? nullptr : table_.findChain(name);
  if (chain != nullptr) {
    rule_.targetKind = isGoto_ ? TargetKind::Goto : TargetKind::Chain;
    // Nothing jumps to a built-in chain.
    result_.refusedByTable = chain->isBuiltIn();
    return;
  }
  if (isGoto_) {
    throw ParameterProblem("goto '" + name + "' is not a chain");
  }
  checkTargetIsKnown();
  if (name == "DROP" && table_.name() == "nat") {
    throw ParameterProblem(
        "The \"nat\" table is not intended for filtering, the use of DROP is therefore inhibited.");
  }
  rule_.targetKind = isVerdictName(name) ? TargetKind::Verdict : TargetKind::Extension;
}

void LineReader::checkTargetIsKnown() const {
  const std::string& name = rule_.target.name;
  const bool isKnown = !hasJump_ || isVerdictName(name) || table_.findChain(name) != nullptr ||
                       findTarget(name, table_.family()) != nullptr;
  if (!isKnown) {
    throw ParameterProblem("Couldn't load target " + quoted(name) + ":No such file or directory");
  }
}

// The kernel has no address lists: one rule per pair, sources outside.
std::vector<Rule> LineReader::expandAddresses() {
  const auto listAt = [&](const std::optional<std::size_t>& token) {
    return token ? splitAtCommas(tokens_[*token].value) : std::vector<std::string>{""};
  };
  const auto choose = [&](Rule& rule, const std::optional<std::size_t>& token,
                          std::string_view selectorName, const std::string& address) {
    if (!token) {
      return;
    }
    text_.replaceToken(*token, address);
    for (OptionUse& selector : rule.selectors) {
      if (selector.name == selectorName) {
        selector.arguments.front() = address;
      }
    }
  };
  std::vector<Rule> rules;
  for (const std::string& source : listAt(sourceToken_)) {
    for (const std::string& destination : listAt(destinationToken_)) {
      Rule rule = rule_;
      choose(rule, sourceToken_, "source", source);
      choose(rule, destinationToken_, "destination", destination);
      rule.text = text_.text();
      rules.push_back(std::move(rule));
    }
  }
  return rules;
}

}  // namespace

ParsedRuleLine parseRuleLine(std::string_view line, const Table& table) {
  return LineReader(line, table).read();
}

}  // namespace file_tables
