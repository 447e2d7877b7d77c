// Turns an error into its text, so that a test can compare the whole message.
#pragma once

#include <exception>
#include <string>
#include <typeinfo>

namespace test_support {

// Runs the call and returns what() of the error that it throws, which must be exactly of the type
// Error. Anything else comes back as a text that no message equals.
template <class Error, class Call>
std::string errorText(Call&& call) {
  try {
    call();
  } catch (const std::exception& error) {
    if (typeid(error) == typeid(Error)) return error.what();
    return std::string("(another type: ") + typeid(error).name() + ") " + error.what();
  }
  return "(no error)";
}

}  // namespace test_support
