// The description of a packet on the command line.
#pragma once

#include <span>
#include <stdexcept>
#include <string_view>

#include "inspect/packet.h"

namespace tavrix::inspect {

// what() says what is wrong with a word, for the user.
class WrongWord : public std::invalid_argument {
 public:
  using std::invalid_argument::invalid_argument;
};

// A packet of the words that say what holds for it: match texts ("-p tcp", "! -i eth0"), and short
// words with a value ("label=2"). Throws WrongWord.
Packet readPacket(std::span<const std::string_view> words);

}  // namespace tavrix::inspect
