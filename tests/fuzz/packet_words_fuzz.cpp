// Any words for a packet, one in a line: refused, or a packet for which every text that was told of
// it holds. It then goes through any conditions and targets, which are the same lines.
#include "inspect/packet_words.h"
#include "tests/fuzz/fuzz_input.h"

namespace {

using namespace tavrix::inspect;

void checkTold(const std::string& word) {
  const std::string_view words[] = {word};
  const Packet packet = readPacket(words);
  if (packet.texts.size() != 1) return;  // of two options one may be the opposite of the other
  const auto& [text, isTrue] = *packet.texts.begin();
  fuzz::require(holds(packet, text) == (isTrue ? Answer::kYes : Answer::kNo), "what is told holds");
  fuzz::require(holds(packet, "! " + text) == (isTrue ? Answer::kNo : Answer::kYes),
                "its opposite does not");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::vector<std::string> lines = fuzz::linesOf(fuzz::textOf(data, size));
  std::vector<std::string_view> good;
  for (const std::string& line : lines) {
    try {
      checkTold(line);
      good.push_back(line);
    } catch (const WrongWord& error) {
      fuzz::require(
          std::string_view(error.what()).starts_with("\"" + line.substr(0, line.find('\0'))),
          "the error quotes the word");
    }
  }
  Packet packet;
  try {
    packet = readPacket(good);
  } catch (const WrongWord&) {  // two of them say different families
  }
  for (const std::string& line : lines) {
    for (const std::string& option : optionsIn(line)) {
      holds(packet, option);
      meet(packet, option);
      tell(packet, option);
      fuzz::require(holds(packet, option) == Answer::kYes, "what is told last holds");
    }
  }
  return 0;
}
