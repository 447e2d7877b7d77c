// Households of any size: what growth is measured on.
#pragma once

#include <string>

namespace test_support {

// The text of a file that configures that many users. Every fourth is blocked as a whole, one has
// devices with statistics, one has blacklists, classes and keywords, and one blacklists, classes
// with an exception, and keywords. It makes about 70 rules per user.
std::string household(int users);

}  // namespace test_support
