// Any bytes as what the bus daemon sends, through the bus library's reader into the configuration
// store, without a bus: a status or an error, never a read outside the message.
#include <stdexcept>

#include "testbed/libubus/request.h"
#include "tests/fuzz/fuzz_input.h"
#include "tests/support/configuration.h"
#include "wrt_cppwrap/blob_msg_parser.h"
#include "wrt_cppwrap/uci_config.h"

namespace {

void readInto(tavrix::UciConfig& store, blob_attr* reply) {
  try {
    store.readReply(reply);
  } catch (const std::invalid_argument& error) {
    fuzz::require(std::string_view(error.what()).starts_with("BlobMsgParser: "), error.what());
  } catch (const std::runtime_error& error) {
    fuzz::require(std::string_view(error.what()) == "BlobMsg: failed to add blob.", error.what());
  }
  // Every view can be read.
  std::size_t length = 0;
  for (const auto& [name, section] : store) {
    length += name.size();
    for (const auto& [option, values] : section) {
      length += option.size();
      for (const std::string_view value : values) length += value.find('\0') != value.npos ? 1 : 0;
    }
  }
  fuzz::require(length < std::size_t{1} << 40U, "lengths are of this message");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  tavrix::UciConfig store("firewall_cpp");
  testbed::MessageReader reader;
  const std::string bytes = fuzz::textOf(data, size);
  reader.append(bytes);
  testbed::PendingRequest request(1, 0, [&store](const testbed::MessageBody& body) {
    if (body.data == nullptr) return false;
    readInto(store, body.data);
    return true;
  });
  handleAvailable(reader, request);
  return 0;
}
