// Loading of the configuration store; uci_config.h says how it is read.
#include "wrt_cppwrap/uci_config.h"

#include <string>

#include "wrt_cppwrap/blob_msg_parser.h"

namespace tavrix {

using wrt_cppwrap::BlobMsg;
using wrt_cppwrap::BlobMsgParser;
using wrt_cppwrap::Ubus;

namespace {

constexpr int kNoTimeLimit = 0;
constexpr int kNoDescriptor = -1;

}  // namespace

UciConfig::UciConfig(std::string_view package) {
  std::uint32_t object = 0;
  Ubus::checkStatus(ubus_lookup_id(ubus.context(), "uci", &object));
  BlobMsg request;
  request.addString("config", std::string(package));
  Ubus::checkStatus(ubus_invoke_fd(ubus.context(), object, "get", request.head(), &UciReplyHandler,
                                   this, kNoTimeLimit, kNoDescriptor));
}

// Runs inside ubus_invoke_fd, once per reply. An exception must not pass through the library's C
// frames, so it ends the process here.
// NOLINTNEXTLINE(bugprone-exception-escape)
void UciConfig::UciReplyHandler(ubus_request* request, int /*type*/, blob_attr* message) noexcept {
  static_cast<UciConfig*>(request->priv)->readReply(message);
}

void UciConfig::readReply(blob_attr* message) {
  // The service replies once. Should it reply twice, the storage holds both tables, and the first
  // one counts. It is read anew, since adding the second may have moved it in memory.
  clear();
  storage.addBlob(BlobMsgParser(message).find("values"));
  const BlobMsgParser sections(
      BlobMsgParser(storage.head()).find("values", wrt_cppwrap::kBlobTable));
  for (blob_attr* section : sections.elements()) readSection(section);
}

void UciConfig::readSection(blob_attr* section) {
  const BlobMsgParser members(section, wrt_cppwrap::kBlobTable);
  const char* const name =
      BlobMsgParser::getString(members.find(".name", wrt_cppwrap::kBlobString));
  // A second section of the same name adds to the first.
  Section& options = try_emplace(name).first->second;
  for (blob_attr* member : members.elements()) {
    const std::string_view option = BlobMsgParser::nameOf(member);
    if (blob_id(member) == wrt_cppwrap::kBlobString) {
      options.try_emplace(option).first->second.emplace_back(BlobMsgParser::getString(member));
    } else if (blob_id(member) == wrt_cppwrap::kBlobArray) {
      const BlobMsgParser items(member);
      for (blob_attr* item : items.elements()) {
        const char* const value = BlobMsgParser::getString(item);
        options.try_emplace(option).first->second.emplace_back(value);
      }
    }
  }
}

}  // namespace tavrix
