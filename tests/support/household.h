// Households of any size: what growth is measured on.
#pragma once

#include <string>

namespace test_support {

// The text of a file that configures that many users. Of every four, one is blocked as a whole, one
// has devices with statistics, and two have blacklists, keywords and blocked classes: one of them
// with statistics by class, the other with an exception. It makes about 70 rules per user.
std::string household(int users);

}  // namespace test_support
