// uci_parser.h says what this stands in for.
#include "testbed/uci/uci_parser.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <unordered_map>
#include <utility>

namespace testbed {
namespace {

// Cuts the text into statements: the words of one line, with quotes and escapes resolved.
class Lexer {
 public:
  Lexer(std::string_view text, const std::string& fileName) : text_(text), file_(fileName) {}

  // Reads the next statement that has a word; false at the end of the text.
  bool next() {
    words_.clear();
    while (!atEnd()) {
      const char c = text_[position_];
      if (c == '#') {
        position_ = std::min(text_.find('\n', position_), text_.size());
      } else if (c == '\n') {
        take();
        if (!words_.empty()) return true;
      } else if (isBlank(c)) {
        take();
      } else {
        if (words_.empty()) statementLine_ = line_;
        words_.push_back(readWord());
      }
    }
    return !words_.empty();
  }

  const std::vector<std::string>& words() const { return words_; }
  [[noreturn]] void fail(const std::string& message) const { failAt(statementLine_, message); }

 private:
  // Blanks inside a line. The carriage return makes files with CRLF line ends read the same.
  static bool isBlank(char c) { return c == ' ' || c == '\t' || c == '\r'; }

  [[noreturn]] void failAt(std::size_t line, const std::string& message) const {
    throw UciSyntaxError(file_, line, message);
  }

  bool atEnd() const { return position_ == text_.size(); }

  char take() {
    const char c = text_[position_++];
    if (c == '\0') failAt(line_, "NUL byte");
    if (c == '\n') ++line_;
    return c;
  }

  // One word of adjacent bare and quoted pieces.
  std::string readWord() {
    std::string word;
    char quote = '\0';  // the open one
    std::size_t quoteLine = 0;
    while (!atEnd()) {
      const char next = text_[position_];
      if (quote == '\0' && (next == '\n' || next == '#' || isBlank(next))) return word;
      const char c = take();
      if (c == quote) {
        quote = '\0';
      } else if (quote == '\0' && (c == '\'' || c == '"')) {
        quote = c;
        quoteLine = line_;
      } else if (c == '\\' && quote != '\'') {
        if (atEnd()) failAt(line_, "nothing follows the backslash");
        word += take();  // stands for itself
      } else {
        word += c;
      }
    }
    if (quote != '\0') failAt(quoteLine, std::string("the quote ") + quote + " is not closed");
    return word;
  }

  std::string_view text_;
  const std::string& file_;
  std::size_t position_ = 0;
  std::size_t line_ = 1;
  std::vector<std::string> words_;
  std::size_t statementLine_ = 1;
};

bool isName(std::string_view text) {
  return !text.empty() && std::all_of(text.begin(), text.end(), [](char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_';
  });
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

class Parser {
 public:
  Parser(std::string_view text, const std::string& fileName) : lexer_(text, fileName) {}

  UciPackage parse() {
    while (lexer_.next()) {
      const std::string& keyword = lexer_.words().front();
      if (keyword == "package") {
        expectWords(2, 2, "package NAME");
      } else if (keyword == "config") {
        expectWords(2, 3, "config TYPE [NAME]");
        openSection();
      } else if (keyword == "option") {
        expectWords(3, 3, "option NAME VALUE");
        UciOption& option = namedOption();
        option.isList = false;
        option.values = {lexer_.words()[2]};
      } else if (keyword == "list") {
        expectWords(3, 3, "list NAME VALUE");
        UciOption& option = namedOption();
        option.isList = true;
        option.values.push_back(lexer_.words()[2]);
      } else {
        lexer_.fail("unknown keyword \"" + keyword +
                    "\"; expected package, config, option or list");
      }
    }
    return std::move(package_);
  }

 private:
  void expectWords(std::size_t atLeast, std::size_t atMost, const std::string& form) const {
    const std::vector<std::string>& words = lexer_.words();
    if (words.size() < atLeast) lexer_.fail("too few words; expected " + form);
    if (words.size() > atMost) {
      lexer_.fail("\"" + words[atMost] + "\" is too much; expected " + form);
    }
  }

  void openSection() {
    const std::vector<std::string>& words = lexer_.words();
    const std::string& type = words[1];
    if (!isTypeName(type)) lexer_.fail("invalid section type \"" + type + "\"");
    std::string name = words.size() == 3 ? words[2] : "";
    const bool anonymous = name.empty();
    if (anonymous) name = makeAnonymousName(package_.sections.size() + 1, type);
    if (!isName(name)) lexer_.fail("invalid section name \"" + name + "\"");
    const auto [place, isNew] = indexes_.try_emplace(name, package_.sections.size());
    current_ = place->second;
    if (isNew) {
      package_.sections.push_back({type, name, anonymous, {}});
    } else if (const std::string& before = package_.sections[current_].type; before != type) {
      lexer_.fail("section \"" + name + "\" of type \"" + type + "\" was of type \"" + before +
                  "\" before");
    }
  }

  // The option that the statement names, made empty if the section has none yet.
  UciOption& namedOption() {
    const std::string& name = lexer_.words()[1];
    if (package_.sections.empty()) {
      lexer_.fail(lexer_.words()[0] + " \"" + name + "\" stands before the first section");
    }
    if (!isName(name)) lexer_.fail("invalid option name \"" + name + "\"");
    UciSection& section = package_.sections[current_];
    const auto [place, isNew] =
        indexes_.try_emplace(section.name + "." + name, section.options.size());
    if (isNew) section.options.push_back({name, false, {}});
    return section.options[place->second];
  }

  Lexer lexer_;
  UciPackage package_;
  // Where a section stands in the package, by its name, and an option in its section, by
  // "SECTION.OPTION".
  std::unordered_map<std::string, std::size_t> indexes_;
  std::size_t current_ = 0;  // the open section; none while there are no sections
};

}  // namespace

UciPackage parseUci(std::string_view text, const std::string& fileName) {
  return Parser(text, fileName).parse();
}

}  // namespace testbed
