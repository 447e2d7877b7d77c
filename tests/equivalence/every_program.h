// Every program of a number of tokens.
#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

namespace test_support {

using Tokens = std::vector<std::string>;
using UseTokens = std::function<void(const Tokens& tokens)>;

// Every condition or program that the readers take and that has `size` tokens, each once. Operands
// are the texts, their negations and "NOT" alone; targets are "-j T1", "-j T2" and so on, in their
// order. The token that closes a block after "ELSEIF" is always "FI", others mean the same.
void eachCondition(std::size_t size, const std::vector<std::string>& texts, const UseTokens& use);
void eachProgram(std::size_t size, const std::vector<std::string>& texts, const UseTokens& use);

}  // namespace test_support
