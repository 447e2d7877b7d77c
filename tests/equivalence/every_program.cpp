#include "tests/equivalence/every_program.h"

#include <utility>

namespace test_support {
namespace {

// The grammar, a function for each of its rules: puts every sequence of `size` tokens that the rule
// has after those that are there, calls `next` for each and takes it away again.
class Grammar {
 public:
  using Next = std::function<void()>;

  explicit Grammar(const std::vector<std::string>& texts) {
    for (const std::string& text : texts) operands_.insert(operands_.end(), {text, "NOT" + text});
    operands_.emplace_back("NOT");
  }

  const Tokens& tokens() const { return tokens_; }

  void statements(std::size_t size, const Next& next) {
    if (size == 0) return next();
    ++targetCount_;
    with("-j T" + std::to_string(targetCount_), [&] { statements(size - 1, next); });
    --targetCount_;
    for (std::size_t own = 1; own <= size; ++own) {
      with("IF", [&] { blockAfterIf(own - 1, [&] { statements(size - own, next); }); });
    }
  }

  void condition(std::size_t size, const Next& next) {
    if (size == 0) return next();
    disjunction(size, next);
    // An operator at the end, which has no right side.
    for (const char* last : {"AND", "OR"}) {
      disjunction(size - 1, [&] { with(last, next); });
    }
  }

 private:
  void with(std::string token, const Next& next) {
    tokens_.push_back(std::move(token));
    next();
    tokens_.pop_back();
  }

  void disjunction(std::size_t size, const Next& next) {
    conjunction(size, next);
    for (std::size_t left = 1; left + 1 < size; ++left) {
      conjunction(left, [&] { with("OR", [&] { disjunction(size - left - 1, next); }); });
    }
  }

  void conjunction(std::size_t size, const Next& next) {
    operand(size, next);
    for (std::size_t left = 1; left + 1 < size; ++left) {
      operand(left, [&] { with("AND", [&] { conjunction(size - left - 1, next); }); });
    }
  }

  void operand(std::size_t size, const Next& next) {
    if (size == 1) {
      for (const std::string& token : operands_) with(token, next);
    } else if (size > 1) {
      with("(", [&] { condition(size - 2, [&] { with(")", next); }); });
    }
  }

  void blockAfterIf(std::size_t size, const Next& next) {
    for (std::size_t tested = 0; tested < size; ++tested) {
      condition(tested, [&] {
        with("THEN", [&] {
          for (std::size_t left = size - tested - 1, done = 0; done < left; ++done) {
            statements(done, [&] { tail(left - done, next); });
          }
        });
      });
    }
  }

  void tail(std::size_t size, const Next& next) {
    if (size == 1) return with("FI", next);
    const Next close = [&] { with("FI", next); };
    with("ELSE", [&] { statements(size - 2, close); });
    with("ELSEIF", [&] { blockAfterIf(size - 2, close); });
  }

  std::vector<std::string> operands_;
  Tokens tokens_;
  std::size_t targetCount_ = 0;
};

}  // namespace

void eachCondition(std::size_t size, const std::vector<std::string>& texts, const UseTokens& use) {
  Grammar grammar(texts);
  grammar.condition(size, [&] { use(grammar.tokens()); });
}

void eachProgram(std::size_t size, const std::vector<std::string>& texts, const UseTokens& use) {
  Grammar grammar(texts);
  grammar.statements(size, [&] { use(grammar.tokens()); });
}

}  // namespace test_support
