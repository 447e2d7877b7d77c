// Messages and conditions stand side by side here; the data they judge by is in the tables of
// matches and targets.
#include "testbed/file_tables/option_checks.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cstddef>
#include <utility>
#include <vector>

#include "testbed/file_tables/rule_tokens.h"

namespace file_tables {
namespace {

void refuseIf(const char* objection) {
  if (objection != nullptr) {
    throw ParameterProblem(objection);
  }
}

// 'comment: option "--comment"', how most messages begin.
std::string optionOf(const ExtensionRule& known, std::string_view option) {
  return std::string(known.name) + ": option \"--" + std::string(option) + "\"";
}

}  // namespace

std::string quoted(std::string_view text) {
  return "`" + std::string(text) + "'";
}

void checkAddress(const std::string& text, Family family) {
  if (isAddressWithMask(text, {}, family)) {
    return;
  }
  const std::size_t slash = text.find('/');
  if (isAddress(text.substr(0, slash), {}, family)) {
    throw ParameterProblem("invalid mask " + quoted(text.substr(slash + 1)) + " specified");
  }
  throw ParameterProblem("host/network " + quoted(text) + " not found");
}

void checkInterfaceName(std::string_view name) {
  constexpr std::size_t kLongestInterfaceName = 15;
  if (name.empty()) {
    throw ParameterProblem("Empty interface is likely to be undesired");
  }
  if (name.size() > kLongestInterfaceName) {
    throw ParameterProblem("interface name " + quoted(name) +
                           " must be shorter than IFNAMSIZ (15)");
  }
}

void checkTargetName(std::string_view name) {
  if (name.empty()) {
    throw ParameterProblem("Invalid target name (too short)");
  }
  if (name.size() > kLongestChainName) {
    throw ParameterProblem("Invalid target name " + quoted(name) + " (28 chars max)");
  }
  if (std::any_of(name.begin(), name.end(), [](char character) {
        return std::isspace(static_cast<unsigned char>(character)) != 0;
      })) {
    throw ParameterProblem("Invalid target name " + quoted(name));
  }
}

void addOption(ExtensionUse& use, const ExtensionRule& known, const OptionRule& option,
               OptionUse optionUse, Family family, int protocol, bool protocolNegated) {
  if (optionUse.negated && !option.negatable) {
    throw ParameterProblem(optionOf(known, option.fullName()) + " cannot be inverted.");
  }
  if (use.find(option.fullName()) != nullptr) {
    throw ParameterProblem(optionOf(known, option.fullName()) + " can only be used once.");
  }
  const std::array<Shape, 2> shapes{option.shape, option.secondShape};
  for (std::size_t index = 0; index < optionUse.arguments.size(); ++index) {
    const std::string& argument = optionUse.arguments[index];
    if (!shapes[index](argument, option.limits, family)) {
      throw ParameterProblem(std::string(known.name) + ": bad value for option \"--" +
                             std::string(option.fullName()) + "\": " + quoted(argument));
    }
  }
  if (known.objectionToOption != nullptr) {
    refuseIf(known.objectionToOption(optionUse, protocol, protocolNegated));
  }
  use.options.push_back(std::move(optionUse));
}

void checkOptionsTogether(const ExtensionUse& use, const ExtensionRule& known) {
  std::vector<const OptionRule*> grouped;
  for (const OptionRule& option : known.options) {
    const bool isAlias = !option.canonical.empty();
    const bool isUsed = use.find(option.name) != nullptr;
    if (!isAlias && option.required && !isUsed) {
      throw ParameterProblem(optionOf(known, option.name) + " must be specified");
    }
    if (isAlias || !isUsed || option.exclusiveGroup == 0) {
      continue;
    }
    for (const OptionRule* other : grouped) {
      if (other->exclusiveGroup == option.exclusiveGroup) {
        throw ParameterProblem(optionOf(known, option.name) + " cannot be used together with \"--" +
                               std::string(other->name) + "\".");
      }
    }
    grouped.push_back(&option);
  }
  if (!known.needsAnOption.empty() && use.options.empty()) {
    throw ParameterProblem(std::string(known.needsAnOption));
  }
  if (known.objection != nullptr) {
    refuseIf(known.objection(use));
  }
}

}  // namespace file_tables
