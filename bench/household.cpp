// Prints the configuration of a household: print_household USERS.
#include "tests/support/household.h"

#include <iostream>
#include <string>

int main(int argc, char** argv) {
  if (argc != 2) return 2;
  std::cout << test_support::household(std::stoi(argv[1]));
}
