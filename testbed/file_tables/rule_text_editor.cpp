// Edits happen per token; text() puts the tokens together with the blanks between them.
#include "testbed/file_tables/rule_text_editor.h"

namespace file_tables {

RuleTextEditor::RuleTextEditor(std::string_view line, const std::vector<RuleToken>& tokens)
    : line_(line), tokens_(tokens) {
  for (const RuleToken& token : tokens_) {
    kept_.emplace_back(line.substr(token.begin, token.end - token.begin));
  }
}

void RuleTextEditor::dropOption(const OptionReader::Item& item, std::size_t argumentCount) {
  std::string& kept = kept_[item.token];
  const std::size_t letter = kept.find(item.base->letter);
  if (item.text[1] == '-' || letter == std::string::npos) {
    kept.clear();
  } else {
    kept.erase(letter, item.argumentIsJoined ? std::string::npos : 1);
    if (kept.find_first_not_of("-\"") == std::string::npos) {
      kept.clear();
    }
  }
  const std::size_t apart = argumentCount - (item.argumentIsJoined ? 1 : 0);
  for (std::size_t offset = 1; offset <= apart; ++offset) {
    dropToken(item.token + offset);
  }
}

std::string RuleTextEditor::text() const {
  std::string text;
  std::size_t previousEnd = 0;
  for (std::size_t index = 0; index < tokens_.size(); ++index) {
    const RuleToken& token = tokens_[index];
    if (!kept_[index].empty()) {
      if (!text.empty()) {
        text.append(line_.substr(previousEnd, token.begin - previousEnd));
      }
      text.append(kept_[index]);
    }
    previousEnd = token.end;
  }
  return text;
}

}  // namespace file_tables
