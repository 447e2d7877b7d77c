#include "testbed/uci/uci_parser.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <unordered_map>
#include <utility>
#include <vector>

namespace testbed {
namespace {

bool isNameCharacter(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_';
}

bool isName(std::string_view text) {
  return !text.empty() && std::all_of(text.begin(), text.end(), isNameCharacter);
}

bool isPackageName(std::string_view text) {
  return !text.empty() && std::all_of(text.begin(), text.end(),
                                      [](char c) { return isNameCharacter(c) || c == '-'; });
}

// A type may hold any printable character but the blank.
bool isTypeName(std::string_view text) {
  return !text.empty() &&
         std::all_of(text.begin(), text.end(), [](char c) { return c > ' ' && c <= '~'; });
}

std::string makeAnonymousName(std::size_t position, std::string_view type) {
  std::uint32_t hash = 5381;
  for (const char c : type) hash = hash * 33 + static_cast<unsigned char>(c);
  std::array<char, 32> name{};
  std::snprintf(name.data(), name.size(), "cfg%02zx%04x", position, hash & 0xffffU);
  return name.data();
}

// The parser's state: the package so far and where each name stands in it.
class Parser {
 public:
  Parser(std::string_view text, std::string fileName)
      : file_(std::move(fileName)), lexer_(text, file_) {}

  UciPackage parse();

 private:
  using Indexes = std::unordered_map<std::string, std::size_t>;

  void package();
  void config();
  void option();
  void list();

  void openSection(UciSection section);
  // The option named in the statement, made empty if the section has none yet.
  UciOption& namedOption();
  void expectWords(std::size_t atLeast, std::size_t atMost, std::string_view form) const;
  [[noreturn]] void fail(const std::string& message) const {
    throw UciSyntaxError(file_, statement_.line, message);
  }

  std::string file_;
  UciLexer lexer_;
  UciStatement statement_;
  UciPackage package_;
  Indexes sectionIndexes_;
  std::vector<Indexes> optionIndexes_;  // one for each section
  std::size_t current_ = 0;             // the open section; none while there are no sections
};

UciPackage Parser::parse() {
  static constexpr std::array<std::pair<std::string_view, void (Parser::*)()>, 4> keywords = {{
      {"package", &Parser::package},
      {"config", &Parser::config},
      {"option", &Parser::option},
      {"list", &Parser::list},
  }};
  while (lexer_.next(statement_)) {
    const std::string& word = statement_.words.front();
    const auto* const keyword =
        std::find_if(keywords.begin(), keywords.end(),
                     [&word](const auto& candidate) { return candidate.first == word; });
    if (keyword == keywords.end()) {
      fail("unknown keyword \"" + word + "\"; expected package, config, option or list");
    }
    (this->*keyword->second)();
  }
  return std::move(package_);
}

void Parser::package() {
  expectWords(2, 2, "package NAME");
  if (!isPackageName(statement_.words[1])) {
    fail("invalid package name \"" + statement_.words[1] + "\"");
  }
}

void Parser::config() {
  expectWords(2, 3, "config TYPE [NAME]");
  UciSection section;
  section.type = std::move(statement_.words[1]);
  if (!isTypeName(section.type)) fail("invalid section type \"" + section.type + "\"");
  if (statement_.words.size() == 3) section.name = std::move(statement_.words[2]);
  section.anonymous = section.name.empty();
  if (section.anonymous) {
    section.name = makeAnonymousName(package_.sections.size() + 1, section.type);
  } else if (!isName(section.name)) {
    fail("invalid section name \"" + section.name + "\"");
  }
  openSection(std::move(section));
}

void Parser::openSection(UciSection section) {
  const auto [place, isNew] = sectionIndexes_.try_emplace(section.name, package_.sections.size());
  current_ = place->second;
  if (isNew) {
    package_.sections.push_back(std::move(section));
    optionIndexes_.emplace_back();
    return;
  }
  const std::string& type = package_.sections[current_].type;
  if (type != section.type) {
    fail("section \"" + section.name + "\" of type \"" + section.type + "\" was of type \"" + type +
         "\" before");
  }
}

void Parser::option() {
  expectWords(3, 3, "option NAME VALUE");
  UciOption& option = namedOption();
  option.isList = false;
  option.values.clear();
  option.values.push_back(std::move(statement_.words[2]));
}

void Parser::list() {
  expectWords(3, 3, "list NAME VALUE");
  UciOption& option = namedOption();
  option.isList = true;
  option.values.push_back(std::move(statement_.words[2]));
}

UciOption& Parser::namedOption() {
  const std::string& name = statement_.words[1];
  if (package_.sections.empty()) {
    fail(statement_.words[0] + " \"" + name + "\" stands before the first section");
  }
  if (!isName(name)) fail("invalid option name \"" + name + "\"");
  std::vector<UciOption>& options = package_.sections[current_].options;
  const auto [place, isNew] = optionIndexes_[current_].try_emplace(name, options.size());
  if (isNew) options.push_back({.name = name, .isList = false, .values = {}});
  return options[place->second];
}

void Parser::expectWords(std::size_t atLeast, std::size_t atMost, std::string_view form) const {
  const std::size_t count = statement_.words.size();
  if (count < atLeast) fail("too few words; expected " + std::string(form));
  if (count > atMost) {
    fail("\"" + statement_.words[atMost] + "\" is too much; expected " + std::string(form));
  }
}

}  // namespace

UciPackage parseUci(std::string_view text, const std::string& fileName) {
  return Parser(text, fileName).parse();
}

}  // namespace testbed
