// Any bytes as what the bus daemon sends, through the bus library's reader into the configuration
// store, without a bus: an error or a store that can be read, never a read outside the message.
#include <algorithm>
#include <cstddef>
#include <stdexcept>
#include <string>
#include <string_view>

#include "testbed/libubus/message.h"
#include "tests/fuzz/fuzz_input.h"
#include "tests/support/fake_bus.h"
#include "wrt_cppwrap/uci_config.h"

namespace {

class Store : public tavrix::UciConfig {
 public:
  using UciConfig::readReply;
  using UciConfig::UciConfig;
};

// said: how many bytes the bus has said in all.
void readInto(Store& store, blob_attr* reply, std::size_t said) {
  try {
    store.readReply(reply);
  } catch (const std::invalid_argument& error) {
    fuzz::require(std::string_view(error.what()).starts_with("BlobMsgParser: "), error.what());
  } catch (const std::runtime_error& error) {
    fuzz::require(std::string_view(error.what()) == "BlobMsg: failed to add blob.", error.what());
  }
  // Every view can be read, and none has more than there was.
  std::string all;
  for (const auto& [name, section] : store) {
    all += name;
    for (const auto& [option, values] : section) {
      all += option;
      for (const std::string_view value : values) all += value;
    }
  }
  fuzz::require(all.size() <= said, "the store is longer than what the bus said");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  // Without a reply before: the first one counts.
  test_support::fakeBus() = {};
  Store store("firewall_cpp");
  const std::string bytes = fuzz::textOf(data, size);
  std::string_view rest = bytes;
  const auto read = [&rest](std::span<char> place) {
    if (rest.size() < place.size()) return false;
    std::copy_n(rest.begin(), place.size(), place.begin());
    rest.remove_prefix(place.size());
    return true;
  };
  const testbed::MessageHeader request{
      .type = testbed::MessageType::Invoke, .sequence = 1, .peer = 0};
  testbed::readAnswer(read, request, [&](const testbed::MessageBody& body) {
    if (body.data == nullptr) return false;
    readInto(store, body.data, bytes.size());
    return true;
  });
  return 0;
}
